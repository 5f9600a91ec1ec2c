// Who watches what happens on the buses and pins of one adapter.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "model/spi.hpp"
#include "model/uart.hpp"

namespace sim {

// From one start condition to the next, or to the stop.
struct I2cMessage {
    std::uint8_t address;
    bool reads;
    std::span<const std::uint8_t> bytes;
    std::optional<std::size_t> acknowledged; // so many bytes of a write; none: not even the address
};

// Commands tell of what they did while the arguments live, in the order in which it happened.
class Probe {
public:
    Probe() = default;
    virtual ~Probe() = default;
    Probe(const Probe&) = delete;
    Probe& operator=(const Probe&) = delete;

    // From start to stop, with a repeated start before each message but the first.
    virtual void i2c(std::size_t port, std::uint32_t frequency, std::span<const I2cMessage> messages) = 0;

    // From select to deselect; as many bytes each way, as they stand on the wire, most significant bit first.
    virtual void spi(const Spi::Settings& settings, std::span<const std::uint8_t> sent,
                     std::span<const std::uint8_t> received) = 0;

    virtual void uartSent(const Uart::Settings& settings, std::span<const std::uint8_t> bytes) = 0;
    virtual void uartReceived(const Uart::Settings& settings, std::span<const std::uint8_t> bytes) = 0;

    // When it changes, and each at power-up.
    virtual void pin(std::size_t pin, bool high) = 0;

    // A command, or whatever else happened, is over, and real time passes again.
    virtual void settle() = 0;
};

} // namespace sim
