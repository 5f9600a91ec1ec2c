#include "ports/gadget/node.hpp"

#include <array>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <fmt/format.h>
#include <fstream>
#include <stdexcept>
#include <sys/epoll.h>
#include <system_error>

#include "common/terminal.hpp"

namespace sim {

namespace {

constexpr auto RETRY = std::chrono::milliseconds(100);
constexpr auto PATIENCE_WITH_GADGET = std::chrono::seconds(1);
constexpr std::size_t LARGEST_REPORT = 1024;

} // namespace

GadgetNode::GadgetNode(EventLoop& loop, const HostOptions& options, std::size_t index, std::string node,
                       std::string udcFile)
    : loop_(loop),
      path_(std::move(node)),
      udcFile_(std::move(udcFile)),
      adapter_(loop, options, AbsenceTimes{}, index, *this)
{
}

GadgetNode::~GadgetNode()
{
    closeNode();
    loop_.cancel(retry_);
    if (!controller_.empty()) {
        bind();
    }
}

void GadgetNode::start()
{
    const auto refuse = [this](const std::string& why) {
        throw std::runtime_error(fmt::format("cannot open {}: {}; configure a USB HID gadget first, with reports of {} "
                                             "bytes, and run as root (or use 'tarvix-sim run')",
                                             path_, why, adapter_.reportSize()));
    };
    try {
        if (!openNode()) {
            refuse(std::strerror(errno));
        }
    } catch (const std::system_error&) { // a file that nobody can wait for
        refuse("not a node of a gadget");
    }
    if (!udcFile_.empty() && !std::ifstream(udcFile_)) {
        throw std::runtime_error(fmt::format("cannot read {}: give the attribute UDC of the gadget's directory in "
                                             "configfs, such as /sys/kernel/config/usb_gadget/NAME/UDC",
                                             udcFile_));
    }
    adapter_.plugIn();
}

bool GadgetNode::openNode()
{
    node_ = FileDescriptor(::open(path_.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC));
    if (node_) {
        loop_.watch(node_.get(), EPOLLIN, [this](std::uint32_t events) { serve(events); });
    }
    return static_cast<bool>(node_);
}

void GadgetNode::closeNode()
{
    if (node_) {
        loop_.forget(node_.get());
        node_.reset();
    }
    loop_.cancel(patience_);
    busy_ = false;
    deaf_ = false;
}

// The node is made anew some time after its gadget was bound to a controller again.
void GadgetNode::reopenLater()
{
    loop_.cancel(retry_);
    retry_ = loop_.after(RETRY, [this] {
        if (openNode()) {
            adapter_.pump();
        } else {
            reopenLater();
        }
    });
}

void GadgetNode::plugIn()
{
    bind();
    if (!node_ && !openNode()) {
        reopenLater();
    }
}

void GadgetNode::pullOut()
{
    if (udcFile_.empty()) {
        return; // stays open: what the host sends meanwhile is taken and ignored
    }
    closeNode(); // before its gadget goes: the kernel's driver waits for the last user of the node
    loop_.cancel(retry_);
    unbind();
}

void GadgetNode::unbind()
{
    std::ifstream(udcFile_) >> controller_;
    if (!(std::ofstream(udcFile_) << '\n' << std::flush)) {
        terminal::tell(fmt::format("tarvix-sim: cannot unbind the gadget: {} is not writable", udcFile_));
    }
}

void GadgetNode::bind()
{
    if (!controller_.empty() && !(std::ofstream(udcFile_) << controller_ << '\n' << std::flush)) {
        terminal::tell(
            fmt::format("tarvix-sim: cannot bind the gadget to {} again: {} is not writable", controller_, udcFile_));
    }
    controller_.clear();
}

void GadgetNode::serve(std::uint32_t events)
{
    if (events & EPOLLOUT) {
        writeReport();
    }
    if (events & EPOLLIN) {
        std::array<std::uint8_t, LARGEST_REPORT> buffer;
        const auto size = ::read(node_.get(), buffer.data(), adapter_.reportSize());
        if (size > 0) {
            adapter_.outputReport(std::span(buffer).first(static_cast<std::size_t>(size)));
            return;
        }
        if (size < 0 && (errno == EAGAIN || errno == EINTR)) {
            return;
        }
    }
    if (events & (EPOLLIN | EPOLLERR | EPOLLHUP)) { // the gadget was unbound by somebody else, or its cable pulled
        closeNode();
        adapter_.discardReports();
        reopenLater();
    }
}

void GadgetNode::carry(std::span<const std::uint8_t> report)
{
    if (!deaf_) {
        report_.assign(report.begin(), report.end());
        writeReport();
    }
}

// One report waits in the kernel until the USB host fetches it; the next one waits here until the node is writable.
void GadgetNode::writeReport()
{
    const auto written = ::write(node_.get(), report_.data(), report_.size());
    const bool wasBusy = busy_;
    busy_ = written < 0 && (errno == EAGAIN || errno == EINTR); // other errors: no host is attached, the report is lost
    if (busy_ == wasBusy) {
        return;
    }
    loop_.cancel(patience_);
    loop_.change(node_.get(), busy_ ? EPOLLIN | EPOLLOUT : EPOLLIN);
    if (busy_) {
        patience_ = loop_.after(PATIENCE_WITH_GADGET, [this] {
            deaf_ = true;
            adapter_.pump();
        });
    } else {
        deaf_ = false;
        adapter_.pump();
    }
}

} // namespace sim
