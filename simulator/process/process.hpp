// The conversation of a device with its program. Whatever the program does, the adapter lives on: a program that
// breaks a rule is ended, one line says why, and the next power cycle starts it again.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "devices/world.hpp"
#include "process/child.hpp"
#include "process/protocol.hpp"

namespace sim {

class Process {
public:
    struct Settings {
        std::string name; // of the device
        std::string bus;
        Child::Command command;
        std::chrono::milliseconds timeout; // of each answer but the first
    };
    // What the program says unasked; never called from within another call of it.
    using Hear = std::function<void(const protocol::Message& message)>;

    Process(Settings settings, World& world, Hear hear);
    ~Process();
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;

    // Starts a program that does not run, and tells one that does.
    void powerCycle();
    void reset();

    // Wait for the answer to one request. False or nothing: the device did not acknowledge, or its program failed.
    bool acknowledges(const std::string& request);
    std::optional<std::vector<std::uint8_t>> bytesFor(const std::string& request, std::size_t least, std::size_t most);

private:
    using Clock = std::chrono::steady_clock;
    using Fits = std::function<bool(const protocol::Message& answer)>;

    struct Answer {
        protocol::Message message;
        std::string line;
    };

    void start();
    std::optional<protocol::Message> ask(const std::string& request, const std::string& expected, const Fits& fits);
    protocol::Message exchange(const std::string& request, const Fits& fits);
    void greet();
    void limit(std::chrono::milliseconds time);
    void write(std::string_view bytes);
    Answer await();
    void waitFor(bool toWrite);
    void take();
    void sort(const std::string& line);
    void listen();
    void tellWhatWasHeard();
    void fail(const std::string& why);

    const Settings settings_;
    World& world_;
    const Hear hear_;
    std::optional<Child> child_;
    World::Subscription subscription_; // to what the child says
    bool failed_ = false;
    bool greeted_ = false;
    bool used_ = false;               // since it was started
    std::chrono::milliseconds limit_; // for the current exchange
    Clock::time_point deadline_;
    protocol::Lines lines_;
    std::deque<Answer> answers_;
    std::deque<protocol::Message> heard_;
    bool telling_ = false;
    Clock::time_point second_; // in which is counted what it says
    std::size_t saidInSecond_ = 0;
};

} // namespace sim
