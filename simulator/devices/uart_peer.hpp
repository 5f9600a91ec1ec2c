// Who is at the other end of the UART.
#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <utility>

#include "devices/device.hpp"

namespace sim {

class UartPeer : public Device {
public:
    using Send = std::function<void(std::span<const std::uint8_t> bytes)>;

    // Where what the peer sends goes; set before anything else happens.
    void onSend(Send send) { send_ = std::move(send); }

    // What the adapter sent in one message.
    virtual void receive(std::span<const std::uint8_t> bytes) = 0;

protected:
    void send(std::span<const std::uint8_t> bytes) const { send_(bytes); }

private:
    Send send_ = [](auto) {};
};

// The adapter's output, wired back to its input.
class UartEcho final : public UartPeer {
public:
    void receive(std::span<const std::uint8_t> bytes) override { send(bytes); }
    void powerCycle() override {}
};

} // namespace sim
