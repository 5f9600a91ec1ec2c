#include "ports/run/node.hpp"

#include <algorithm>
#include <array>
#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <fmt/format.h>
#include <fstream>
#include <iterator>
#include <linux/sockios.h>
#include <sys/epoll.h>
#include <sys/ioctl.h>
#include <system_error>
#include <vector>

#include "ports/run/socket.hpp"
#include "ports/run/sysfs.hpp"
#include "ports/shared/identity.hpp"

namespace sim {

namespace {

namespace fs = std::filesystem;

constexpr int QUEUED_REPORTS = 63;
constexpr auto PATIENCE_WITH_HANDLE = std::chrono::milliseconds(200);
constexpr int MESSAGES_PER_ROUND = 64; // then the other descriptors have their turn

int unreadBytes(int socket)
{
    int bytes = 0;
    return ::ioctl(socket, SIOCOUTQ, &bytes) == 0 ? bytes : 0;
}

// What SIOCOUTQ counts for one unread report: not only its bytes but the kernel's own around them, too.
int measureReport(std::size_t reportSize)
{
    std::array<int, 2> ends{};
    if (::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends.data()) != 0) {
        throw std::system_error(errno, std::generic_category(), "socketpair");
    }
    const FileDescriptor sender(ends[0]);
    const FileDescriptor receiver(ends[1]);
    const Report report(reportSize);
    ::send(sender.get(), report.data(), report.size(), MSG_NOSIGNAL);
    return unreadBytes(sender.get());
}

} // namespace

RunNode::RunNode(EventLoop& loop, AdapterSource& source, const UsbIdentity& identity, std::size_t index,
                 const std::string& directory, Changed changed)
    : loop_(loop),
      path_(fmt::format("{}/{}{}", directory, NODE_NAME, index)),
      usbPath_(sysPath(directory, SysDevice::USB_DEVICE, unsigned(index), productId(identity.reportSize))),
      hidrawPath_(sysPath(directory, SysDevice::HIDRAW, unsigned(index), productId(identity.reportSize))),
      changed_(std::move(changed)),
      bytesOfOneReport_(measureReport(identity.reportSize)),
      adapter_(source.make(loop, index, *this))
{
}

RunNode::~RunNode()
{
    pullOut();
}

void RunNode::addHandle(FileDescriptor connection)
{
    // The kernel calls a socket writable while at most a quarter of its buffer is in use: here, half the queue. It
    // doubles the size that is set.
    const int size = 2 * (QUEUED_REPORTS / 2) * bytesOfOneReport_;
    ::setsockopt(connection.get(), SOL_SOCKET, SO_SNDBUF, &size, sizeof size);
    const int descriptor = connection.get();
    handles_[descriptor].connection = std::move(connection);
    loop_.watch(descriptor, EPOLLIN, [this, descriptor](std::uint32_t events) { serve(descriptor, events); });
    sendFields(handles_[descriptor].connection, {OK}, MSG_DONTWAIT);
    adapter_->opened();
}

void RunNode::close(int descriptor)
{
    loop_.forget(descriptor);
    loop_.cancel(handles_[descriptor].patience);
    handles_.erase(descriptor);
}

void RunNode::makeFiles()
{
    const UsbIdentity& identity = adapter_->identity();
    if (!FileDescriptor(::open(path_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600))) {
        throw std::system_error(errno, std::generic_category(), fmt::format("cannot create {}", path_));
    }
    fs::create_directories(hidrawPath_);
    fs::create_symlink("../..", hidrawPath_ + "/device");
    std::ofstream(hidrawPath_ + "/device/uevent") << hidUevent(
        productId(identity.reportSize), hidName(identity.manufacturer, identity.product), identity.serialNumber);
    const auto descriptor = reportDescriptor(identity.reportSize);
    std::ofstream(hidrawPath_ + "/device/report_descriptor", std::ios::binary)
        .write(reinterpret_cast<const char*>(descriptor.data()), descriptor.size());
}

void RunNode::removeFiles()
{
    std::error_code ignored;
    fs::remove(path_, ignored);
    fs::remove(path_ + NODE_SOCKET_SUFFIX, ignored);
    fs::remove_all(usbPath_, ignored);
}

void RunNode::plugIn()
{
    makeFiles();
    FileDescriptor socket = listenOn(path_ + NODE_SOCKET_SUFFIX);
    if (!socket) {
        throw std::system_error(errno, std::generic_category(), fmt::format("cannot listen beside {}", path_));
    }
    listener_.emplace(loop_, std::move(socket),
                      [this](FileDescriptor connection) { addHandle(std::move(connection)); });
    changed_(*this, ADDED);
}

void RunNode::pullOut()
{
    if (!listener_) {
        return;
    }
    listener_.reset();
    removeFiles();
    while (!handles_.empty()) {
        close(handles_.begin()->first);
    }
    changed_(*this, REMOVED);
}

void RunNode::serve(int descriptor, std::uint32_t events)
{
    if (events & EPOLLOUT) {
        Handle& handle = handles_[descriptor];
        loop_.cancel(handle.patience);
        handle.state = Handle::TAKES;
        loop_.change(descriptor, EPOLLIN);
    }
    for (int i = 0; i < MESSAGES_PER_ROUND && receive(descriptor); ++i) {
    }
    adapter_->pump();
}

// False when there is nothing more to receive.
bool RunNode::receive(int descriptor)
{
    std::array<std::uint8_t, LARGEST_OUTPUT_REPORT> buffer;
    const auto size = receiveMessage(descriptor, buffer.data(), buffer.size(), MSG_DONTWAIT);
    if (size > 0) {
        const auto written = std::span(buffer).first(static_cast<std::size_t>(size));
        adapter_->outputReport(written.subspan(written.front() == 0 ? 1 : 0)); // no report id travels
        return handles_.contains(descriptor);                                  // the report may have reset the adapter
    }
    if (size < 0 && (errno == EAGAIN || errno == EINTR)) {
        return false;
    }
    close(descriptor);
    return false;
}

void RunNode::drain()
{
    std::vector<int> descriptors;
    std::ranges::transform(handles_, std::back_inserter(descriptors), [](const auto& entry) { return entry.first; });
    for (const int descriptor : descriptors) {
        while (handles_.contains(descriptor) && receive(descriptor)) {
        }
    }
}

bool RunNode::hasRoom(const Handle& handle) const
{
    return unreadBytes(handle.connection.get()) < QUEUED_REPORTS * bytesOfOneReport_;
}

void RunNode::becomeFull(int descriptor, Handle& handle)
{
    handle.state = Handle::FULL;
    loop_.change(descriptor, EPOLLIN | EPOLLOUT);
    handle.patience = loop_.after(PATIENCE_WITH_HANDLE, [this, &handle] {
        handle.state = Handle::STUCK;
        adapter_->pump();
    });
}

bool RunNode::accepts()
{
    bool accepts = true;
    for (auto& [descriptor, handle] : handles_) {
        if (handle.state == Handle::TAKES && !hasRoom(handle)) {
            becomeFull(descriptor, handle);
        }
        accepts = accepts && handle.state != Handle::FULL;
    }
    return accepts;
}

void RunNode::carry(std::span<const std::uint8_t> report)
{
    for (const auto& [descriptor, handle] : handles_) {
        if (hasRoom(handle)) {
            ::send(descriptor, report.data(), report.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
        }
    }
}

} // namespace sim
