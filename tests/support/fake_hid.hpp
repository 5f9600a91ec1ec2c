// A scripted stand-in for hidapi: defines the hid_ functions, so that the shipped library talks to it instead of the
// system's hidapi when both are in one program. It keeps its own account of what the library may and may not do.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include <signal.h>

#include "support/bytes.hpp"

namespace fake_hid {

// What enumeration shows of one device.
struct Entry {
    std::string path = "/dev/hidraw0"; // empty: null
    std::uint16_t vendorId = 0x1FC9;
    std::uint16_t productId = 0x82FC;
    std::optional<std::wstring> serial = L"TVX0000001";
    bool openable = true;
};

inline constexpr std::uint16_t SMALL_REPORTS = 0x82FC; // product with reports of 64 bytes
inline constexpr std::uint16_t LARGE_REPORTS = 0x82FD; // product with reports of 1024 bytes

// One attached device. Every function may be called from any thread.
class Device {
public:
    explicit Device(Entry entry);

    const Entry& entry() const { return entry_; }
    std::size_t reportSize() const { return entry_.productId == LARGE_REPORTS ? 1024 : 64; }

    // Called with each whole frame that the library wrote, on the writing thread; usually answers it.
    void onFrame(std::function<void(const Bytes& frame)> handler) { set(handler_, std::move(handler)); }

    // The reports of one frame from the adapter.
    std::vector<Bytes> cut(const Bytes& frame) const;

    // Queues input for the library's reader.
    void deliverReport(Bytes report);
    void deliverFrame(const Bytes& frame);

    void failWrites(bool fail) { set(failWrites_, fail); }
    void failWrite(int number) { set(failingWrite_, number); }         // that one only, counting from 1 and from now
    void shortenWrites(bool shorten) { set(shortenWrites_, shorten); } // they report fewer bytes than they were given
    void holdWrites(bool hold) { set(holdWrites_, hold); }             // they block
    void hiccup(int reads) { set(failingReads_, reads); }              // that many reads fail
    void unplug() { set(unplugged_, true); }                           // reads and writes fail from now on
    void replug() { set(unplugged_, false); }
    void forbid() { forbidden_ = true; } // ends the process when it is used or closed

    std::vector<Bytes> reports() const { return get(reports_); } // each written report, report ID included
    std::vector<Bytes> frames() const { return get(frames_); }   // each whole frame written
    void forget();                                               // empties both lists, counts reads anew

    int opens() const { return get(opens_); }   // handles opened
    int closes() const { return get(closes_); } // handles closed
    int reads() const { return get(reads_); }
    int failedReads() const { return get(failedReads_); }
    int failedWrites() const { return get(failedWrites_); }
    int heldWrites() const { return get(heldWrites_); }
    int readTimeouts() const { return get(readTimeouts_); }        // of the reads begun since forget(), added up, in ms
    sigset_t readerSignals() const { return get(readerSignals_); } // blocked while the library reads

    // Times a call began while another was running and an error string was stored: in hidapi before 0.15 both may free
    // that string.
    int overlaps() const { return get(overlaps_); }

    // Waits until the library has dealt with everything that was delivered and reads again; false after a generous
    // limit.
    bool settle() const
    {
        return waitUntil([](const Device& device) { return device.idle_; });
    }

    // Waits until `condition` holds of this device; false after a generous limit.
    bool waitUntil(const std::function<bool(const Device&)>& condition) const;

    // The hidapi side; each call passes enter() first.
    void enter() const;
    int write(const std::uint8_t* data, std::size_t length);
    int read(std::uint8_t* data, std::size_t length, std::chrono::milliseconds timeout);
    void opened() { set(opens_, opens() + 1); }
    void closed() { set(closes_, closes() + 1); }

private:
    template <typename Body>
    int call(Body body);

    template <typename Value>
    Value get(const Value& value) const
    {
        const std::lock_guard lock(mutex_);
        return value;
    }

    template <typename Value, typename Source>
    void set(Value& value, Source&& source)
    {
        const std::lock_guard lock(mutex_);
        value = std::forward<Source>(source);
        changed_.notify_all();
    }

    const Entry entry_;
    std::atomic<bool> forbidden_ = false;
    mutable std::recursive_mutex mutex_;
    mutable std::condition_variable_any changed_;
    std::function<void(const Bytes&)> handler_;
    std::deque<Bytes> input_;
    std::vector<Bytes> reports_;
    std::vector<Bytes> frames_;
    Bytes partial_;
    sigset_t readerSignals_{};
    int failingWrite_ = 0;
    int failingReads_ = 0;
    bool idle_ = false;
    bool failWrites_ = false;
    bool shortenWrites_ = false;
    bool holdWrites_ = false;
    bool unplugged_ = false;
    bool errorStored_ = false;
    int running_ = 0;
    int overlaps_ = 0;
    int opens_ = 0;
    int closes_ = 0;
    int reads_ = 0;
    int failedReads_ = 0;
    int failedWrites_ = 0;
    int heldWrites_ = 0;
    int readTimeouts_ = 0;
};

// The machine's HID devices. Reset it at the beginning of each test.
struct Bus {
    std::vector<std::shared_ptr<Device>> devices;
    int inits = 0;
    int exits = 0;
    int enumerations = 0; // lists handed out and not freed again

    // Times one of hidapi's functions for the whole process (init, enumerate, open, exit) began while another was
    // running: it has no lock of its own. If it `lingers`, each waits a while for another to make that mistake.
    int overlaps = 0;
    bool lingers = false;
};

// Whether this thread is inside the double just now.
bool isInside();

// Whether this thread is one on which the library reads, and not inside the double just now.
bool onReaderThread();

Bus& bus();
void reset();
std::shared_ptr<Device> attach(Entry entry = {});

} // namespace fake_hid
