// A UART peer that answers lines with what a script has for them, and speaks of its own accord.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "devices/uart_peer.hpp"
#include "devices/world.hpp"

namespace sim {

class UartScript final : public UartPeer {
public:
    using Duration = World::Clock::duration;

    struct Reply {
        std::function<bool(const std::string& line)> fits;
        std::string text;
        Duration after{};
    };

    struct Timer {
        Duration first;
        Duration every; // zero: once
        std::string text;
    };

    struct Script {
        std::string ends; // bytes, each of which ends a line
        bool echoes = false;
        std::vector<Reply> replies; // of which the first that fits is sent
        std::vector<Timer> timers;  // which start when the peer does
    };

    static constexpr std::size_t LONGEST_LINE = 1024; // what exceeds it is lost

    UartScript(std::shared_ptr<const Script> script, World& world);

    // Empty lines are ignored.
    void receive(std::span<const std::uint8_t> bytes) override;
    // Forgets the line that has begun and the replies that wait, and starts the timers again.
    void powerCycle() override;

private:
    static constexpr std::size_t MOST_WAITING = 1000; // replies; further ones are lost

    void answer(const std::string& line);
    void sendAfter(Duration delay, const std::string& text, Duration every);
    void sendText(std::string_view text) const;

    const std::shared_ptr<const Script> script_;
    World& world_;
    std::string line_;
    std::map<std::uint64_t, World::Subscription> waiting_;
    std::uint64_t next_ = 0;
};

} // namespace sim
