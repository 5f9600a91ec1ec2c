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

#include <signal.h>

#include "home_process.hpp"
#include "tarvixsdk/adapters.hpp"
#include "transport/enumeration.hpp"
#include "transport/node_lock.hpp"

struct hid_device_;

class HidTransport {
public:
    // Takes each received report, whole (reportSize bytes). Runs on the reader thread.
    using ReportHandler = std::function<void(std::span<const std::uint8_t> report)>;
    // The adapter is lost. Runs on the reader thread, once per loss.
    using LossHandler = std::function<void()>;

    HidTransport(ReportHandler onReport, LossHandler onLoss);
    ~HidTransport();
    HidTransport(const HidTransport&) = delete;
    HidTransport& operator=(const HidTransport&) = delete;

    // Opens the first supported device that passes the filters; an empty filter passes all. Not to be called while one
    // is open, like the next.
    bool open(const std::string& path, const std::string& serial);

    // Opens the device that the options choose.
    OpenResult open(const OpenOptions& options);

    // Stops the reader and closes the device; nothing when closed or inherited. On the reader thread itself it raises
    // resource_deadlock_would_occur, and the reader ends when its handler returns.
    void close();

    bool isOpen() const { return device_ != nullptr && home_.isHere(); }

    // Whether the process that forked this one had it open. Then it is not open here, cannot be opened, and must not be
    // destroyed: see HomeProcess.
    bool isInherited() const { return device_ != nullptr && !home_.isHere(); }

    // Whether the open device's session, or the last one, is strict.
    bool isStrict() const { return strict_; }

    // Whether an open strict session is over because its adapter is gone. A plain session goes on trying.
    bool isLost() const { return isOpen() && strict_ && lost_; }

    // Whether a device is open, reads have come through lately, and its reader is not about to end after a refused
    // close(). When not, opening again begins with closing it.
    bool isAlive() const { return isOpen() && !lost_ && running_; }

    // The same for a strict session. A plain one is connected while its device is open.
    bool isConnected() const { return strict_ ? isAlive() : isOpen(); }

    // Whether this is the thread that the handlers run on.
    bool isReaderThread() const { return reader() == this; }

    // Of the open device, or of the one that was open last.
    const std::string& path() const { return path_; }
    std::size_t reportSize() const { return reportSize_; }

    // The reusable buffer of the next report to write, reportSize bytes.
    std::span<std::uint8_t> outgoing() { return std::span(outgoing_).subspan(1); }

    // Writes the buffer as one output report. False when closed or when the write failed.
    bool write();

private:
    static const HidTransport*& reader(); // the transport that the calling thread reads for, null on other threads

    bool start(const FoundDevice& found, bool strict);
    template <typename Call>
    int guarded(Call call);
    void readReports(sigset_t applicationSignals) noexcept; // what a handler throws ends the program
    bool pauseAfterFailure(int failures);

    const ReportHandler onReport_;
    const LossHandler onLoss_;
    std::atomic<hid_device_*> device_ = nullptr; // null while closed
    HomeProcess home_;                           // of the device and its reader
    std::string path_;
    std::size_t reportSize_ = 0;
    std::vector<std::uint8_t> outgoing_;
    std::vector<std::uint8_t> incoming_; // the reader thread's, made by the one that opens
    NodeLock nodeLock_;

    std::shared_mutex callMutex_;           // see guarded()
    std::atomic<bool> failing_ = false;     // a hidapi call failed and none has succeeded since
    std::atomic<bool> writeFailed_ = false; // since the reader looked last

    std::atomic<bool> strict_ = false;
    std::atomic<bool> lost_ = false;

    std::thread reader_;
    std::atomic<bool> running_ = false;
    std::mutex pauseMutex_;
    std::condition_variable pause_; // wakes a reader that waits before trying again
};
