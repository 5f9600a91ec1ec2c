// One adapter behind hidapi: finding and opening it, writing reports, and the thread that reads them.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <mutex>
#include <shared_mutex>
#include <span>
#include <string>
#include <thread>
#include <vector>

#include "transport/device_catalogue.hpp"

struct hid_device_;

class HidTransport {
public:
    // Takes each received report, whole (reportSize bytes). Runs on the reader thread.
    using ReportHandler = std::function<void(std::span<const std::uint8_t> report)>;

    explicit HidTransport(ReportHandler onReport);
    ~HidTransport();
    HidTransport(const HidTransport&) = delete;
    HidTransport& operator=(const HidTransport&) = delete;

    // Opens the first supported device that passes the filters; an empty filter passes all. True, and nothing changed,
    // when a device is open already.
    bool open(const std::string& path, const std::string& serial);

    // Stops the reader and closes the device; nothing when closed. On the reader thread itself it raises
    // resource_deadlock_would_occur, and the reader ends when its handler returns.
    void close();

    // Size of the open device's reports.
    std::size_t reportSize() const { return kind_->reportSize; }

    // The reusable buffer of the next report to write, reportSize bytes; the open device's.
    std::span<std::uint8_t> outgoing() { return std::span(outgoing_).subspan(1); }

    // Writes the buffer as one output report. False when closed or when the write failed.
    bool write();

private:
    template <typename Call>
    int guarded(Call call);
    void readReports();

    const ReportHandler onReport_;
    const DeviceKind* kind_ = nullptr; // null while closed
    hid_device_* device_ = nullptr;    // null while closed
    std::vector<std::uint8_t> outgoing_;

    std::shared_mutex callMutex_;       // see guarded()
    std::atomic<bool> failing_ = false; // a hidapi call failed and none has succeeded since

    std::thread reader_;
    std::atomic<bool> running_ = false;
    std::mutex pauseMutex_;
    std::condition_variable pause_; // wakes a reader that waits before trying again
};
