// The UART as a pseudo-terminal.
#pragma once

#include <chrono>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "session/bridge.hpp"
#include "uart/pseudo_terminal.hpp"

namespace bridge {

struct UartOptions {
    tool::LineOptions line;          // until a program sets its own
    std::optional<std::string> link; // a symbolic link to the terminal
};

// A symbolic link that is there as long as this is.
class Link {
public:
    // Replaces one that leads to a pseudo-terminal that is gone, as a bridge that was killed has left it. Throws
    // tool::Failure.
    Link(std::string path, std::string target);
    ~Link();
    Link(const Link&) = delete;
    Link& operator=(const Link&) = delete;

private:
    const std::string path_;
    const std::string target_;
};

// What the line receives, on its way to programs. Shared with the handler, which may still be running on the reader
// thread when the bridge ends.
class Incoming {
public:
    explicit Incoming(const tool::LineOptions& line) : terminal(line) {}

    const PseudoTerminal terminal;

    void receive(const Notification& notification);

    bool isEmpty();
    void deliver(); // what the terminal had no room for
    void drop();
    void clear(); // the terminal, too
    std::uint64_t takeLost();

private:
    std::mutex mutex_;
    std::vector<std::uint8_t> waiting_;
    std::uint64_t lost_ = 0; // bytes
};

class UartBridge final : public Bridge {
public:
    UartBridge(AdapterLink& link, const UartOptions& options);
    ~UartBridge() override;

    std::string kind() const override { return "uart"; }
    std::string device() const override { return terminal_.path(); }
    pollfd awaited() override;
    std::optional<std::chrono::milliseconds> period() const override;
    void serve(short events) override;
    void finish() override;

private:
    void deliver();
    void followTerminal();
    bool isSetUp() const { return generation_ == link_.generation(); }
    StatusCode setUp(const tool::LineOptions& line);
    bool transmit(std::size_t most = SIZE_MAX); // false when nothing is left to send, or it cannot be sent

    AdapterLink& link_;
    const std::shared_ptr<Incoming> incoming_;
    const PseudoTerminal& terminal_;
    std::optional<Link> name_;
    tool::LineOptions line_;
    std::optional<TerminalSettings> seen_;
    std::size_t meantForLine_ = 0;             // bytes that waited when the terminal had these settings
    unsigned generation_ = 0;                  // of the adapter that was set up, 0 for none
    StatusCode failure_ = StatusCode::SUCCESS; // why it was not
    std::chrono::steady_clock::time_point nextAttempt_;
    bool closed_ = true; // by all programs
};

} // namespace bridge
