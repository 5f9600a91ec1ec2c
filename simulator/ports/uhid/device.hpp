// One adapter as a HID device of this machine's kernel.
#pragma once

#include <linux/uhid.h>
#include <string>

#include "common/file_descriptor.hpp"
#include "ports/shared/adapter_host.hpp"

namespace sim {

class UhidDevice final : public Cable {
public:
    // `channel` is /dev/uhid, opened for this device alone without blocking.
    UhidDevice(EventLoop& loop, const HostOptions& options, std::size_t index, FileDescriptor channel);
    ~UhidDevice() override;

    AdapterHost& adapter() { return adapter_; }

    void plugIn() override;
    void pullOut() override;
    bool accepts() override;
    void carry(std::span<const std::uint8_t> report) override;

private:
    bool receive();
    void output(std::span<const std::uint8_t> data);
    void refuseGetReport(const uhid_get_report_req& request);
    void setReport(const uhid_set_report_req& request);
    void write(const uhid_event& event, const char* purpose);

    EventLoop& loop_;
    FileDescriptor channel_;
    bool created_ = false;
    int reportsLeft_; // in this millisecond
    EventLoop::Timer nextMillisecond_;
    AdapterHost adapter_;
};

} // namespace sim
