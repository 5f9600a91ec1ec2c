// A strict session with the virtual adapter that checks the content of every answer and notification, whatever the
// adapter's faults do to them.
#pragma once

#include <atomic>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "checks.hpp"
#include "tarvixsdk/sdk.hpp"

namespace soak {

// What programs that take turns at the same adapters know of each other.
struct Shared {
    std::atomic<int> ready;
    std::atomic<int> refusals;
    std::atomic<int> named; // refusals that told who holds the lock
};

// Each operation writes what no other does and reads it back, so that another command's answer shows, and needs nothing
// that an earlier one left behind: answers get lost, and other programs use the adapter meanwhile.
class Client {
public:
    using Bytes = std::vector<std::uint8_t>;

    // `program` tells programs with the same adapter apart.
    Client(const Options& options, Shared& shared, long adapter, std::uint32_t program);

    // Opens the adapter, once there is one that nobody else uses, and sets it up.
    void start();

    // One of all operations at random; one to five commands.
    void perform();

    struct Counts {
        long commands = 0;
        long opened = 0;
        long noResponses = 0;
        long tooShort = 0;
        long lost = 0;    // sessions, with their adapters
        long dropped = 0; // answers that were late or double
        long told = 0;    // messages that should be notified of
        long heard = 0;   // those that were, whole

        long faults() const { return noResponses + tooShort + lost + dropped; }
        Counts& operator+=(const Counts& other);
    };
    Counts counts() const;
    long commands() const { return counts_.commands; }

private:
    void open();
    bool trySetUp();

    // Counts a command, and compares what it read. False when it lost the adapter, which is open and set up again then.
    template <typename Read, typename Wanted>
    bool check(StatusCode status, const Read& read, const Wanted& wanted)
    {
        if (status == StatusCode::SUCCESS && !(read == wanted)) {
            fail("wrong data with SUCCESS after " + std::to_string(counts_.commands) + " commands");
        }
        return check(status);
    }
    bool check(StatusCode status, StatusCode expected = StatusCode::SUCCESS);

    // The operations. What a command wrote counts, whatever becomes of its answer.
    void strings();
    void voltages();
    void pins();
    void sensor();
    void eeprom();
    void scan();
    void loopback();
    void flash();
    void uart();
    void privateTransfer();
    void hdrDdr();
    void legacy();
    void interrupt();
    void deviceTable();
    void targetFacts();
    void lengths();

    void hear(const Notification& notification); // on the reader thread

    StatusCode select(SpiChipSelect line);
    std::uint32_t nextMessage();
    Bytes bytes(std::size_t count);

    const Options& options_;
    Shared& shared_;
    const std::uint32_t firstMessage_;
    const std::string serialNumber_;
    std::mt19937 random_;
    Counts counts_;
    std::atomic<std::uint32_t> told_ = 0;
    std::atomic<std::uint32_t> heard_ = 0;
    std::uint32_t lastHeard_ = 0;
    TarvixSDK sdk_; // its reader thread uses the others and ends first
};

} // namespace soak
