#include "ports/uhid/device.hpp"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fmt/format.h>
#include <stdexcept>
#include <sys/epoll.h>
#include <system_error>
#include <tuple>

#include "common/terminal.hpp"
#include "ports/shared/identity.hpp"

namespace sim {

namespace {

// The kernel hands each report on at once and keeps 63 for a reader. The adapter must not be faster than the reader
// can be, so it keeps to the pace of a high-speed USB device: one report in each microframe.
constexpr int REPORTS_PER_MILLISECOND = 8;

constexpr int KERNEL_QUEUE = 32; // events that may wait; all are taken at once

template <std::size_t SIZE>
void copyText(__u8 (&field)[SIZE], const std::string& text)
{
    std::copy_n(text.begin(), std::min(text.size(), SIZE - 1), field); // the event is zero: a terminator follows
}

} // namespace

UhidDevice::UhidDevice(EventLoop& loop, const HostOptions& options, std::size_t index, FileDescriptor channel)
    : loop_(loop),
      channel_(std::move(channel)),
      reportsLeft_(REPORTS_PER_MILLISECOND),
      adapter_(loop, options, AbsenceTimes{}, index, *this)
{
    loop_.watch(channel_.get(), EPOLLIN, [this](std::uint32_t) {
        for (int i = 0; i < KERNEL_QUEUE && receive(); ++i) {
        }
    });
}

UhidDevice::~UhidDevice()
{
    loop_.forget(channel_.get());
    loop_.cancel(nextMillisecond_);
    if (created_) {
        pullOut();
    }
}

void UhidDevice::plugIn()
{
    uhid_event event{};
    event.type = UHID_CREATE2;
    auto& create = event.u.create2;
    copyText(create.name, adapter_.identity().product); // there is no other field for the strings
    copyText(create.phys, physicalPath(adapter_.serialNumber()));
    copyText(create.uniq, adapter_.serialNumber());
    const auto descriptor = reportDescriptor(adapter_.reportSize());
    create.rd_size = static_cast<__u16>(descriptor.size());
    std::ranges::copy(descriptor, create.rd_data);
    create.bus = BUS_USB;
    create.vendor = VENDOR_ID;
    create.product = productId(adapter_.reportSize());
    create.version = RELEASE_NUMBER;
    write(event, "create the HID device");
    created_ = true;
}

void UhidDevice::pullOut()
{
    uhid_event event{};
    event.type = UHID_DESTROY;
    if (::write(channel_.get(), &event, sizeof event) < 0) {
        terminal::tell(fmt::format("tarvix-sim: cannot destroy the HID device of {}: {}", adapter_.serialNumber(),
                                   std::strerror(errno)));
    }
    created_ = false;
}

bool UhidDevice::accepts()
{
    return reportsLeft_ > 0;
}

void UhidDevice::carry(std::span<const std::uint8_t> report)
{
    if (reportsLeft_ == REPORTS_PER_MILLISECOND) {
        nextMillisecond_ = loop_.after(std::chrono::milliseconds(1), [this] {
            reportsLeft_ = REPORTS_PER_MILLISECOND;
            adapter_.pump();
        });
    }
    --reportsLeft_;
    uhid_event event{};
    event.type = UHID_INPUT2;
    event.u.input2.size = static_cast<__u16>(report.size());
    std::ranges::copy(report, event.u.input2.data);
    // Fails while no driver is bound to the device, when nobody could read the report.
    std::ignore = ::write(channel_.get(), &event, sizeof event);
}

void UhidDevice::write(const uhid_event& event, const char* purpose)
{
    if (::write(channel_.get(), &event, sizeof event) < 0) {
        throw std::system_error(errno, std::generic_category(), fmt::format("cannot {}", purpose));
    }
}

// False when there is no event.
bool UhidDevice::receive()
{
    uhid_event event{}; // the kernel may write less than a whole one; the rest counts as zero
    const auto size = ::read(channel_.get(), &event, sizeof event);
    if (size < 0 && (errno == EAGAIN || errno == EINTR)) {
        return false;
    }
    if (size <= 0) {
        throw std::runtime_error("the kernel closed the HID device");
    }
    switch (event.type) {
    case UHID_OUTPUT:
        output({event.u.output.data, std::min<std::size_t>(event.u.output.size, UHID_DATA_MAX)});
        break;
    case UHID_SET_REPORT:
        setReport(event.u.set_report);
        break;
    case UHID_GET_REPORT:
        refuseGetReport(event.u.get_report);
        break;
    default: // UHID_START, UHID_STOP, UHID_OPEN, UHID_CLOSE: the adapter doesn't care who listens
        break;
    }
    return true;
}

// hidraw passes on what its user wrote: the report id, which is 0 as there are none, and the report, perhaps a short
// one. The kernel's own drivers pass the bare report.
void UhidDevice::output(std::span<const std::uint8_t> data)
{
    const bool withReportId = data.size() != adapter_.reportSize() && !data.empty() && data[0] == 0;
    adapter_.outputReport(data.subspan(withReportId ? 1 : 0));
}

void UhidDevice::setReport(const uhid_set_report_req& request)
{
    uhid_event reply{};
    reply.type = UHID_SET_REPORT_REPLY;
    reply.u.set_report_reply.id = request.id;
    reply.u.set_report_reply.err = request.rtype == UHID_OUTPUT_REPORT ? 0 : EIO;
    write(reply, "answer the kernel");
    if (request.rtype == UHID_OUTPUT_REPORT) {
        output({request.data, std::min<std::size_t>(request.size, UHID_DATA_MAX)});
    }
}

void UhidDevice::refuseGetReport(const uhid_get_report_req& request)
{
    uhid_event reply{};
    reply.type = UHID_GET_REPORT_REPLY;
    reply.u.get_report_reply.id = request.id;
    reply.u.get_report_reply.err = EIO;
    write(reply, "answer the kernel");
}

} // namespace sim
