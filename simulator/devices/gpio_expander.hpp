// A GPIO expander of the common kind: registers for input, output, polarity and configuration, with 8 lines one of
// each, with 16 lines two.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include "devices/bus_device.hpp"
#include "devices/wire.hpp"

namespace sim {

class GpioExpander final : public BusDevice {
public:
    // 8 or 16 lines. A line that no wire leads to is pulled up, or low; with pull-ups every input is pulled up.
    GpioExpander(std::size_t lines, bool pullUps) : ports_(lines / 8), pullUps_(pullUps) {}

    // The first byte is the command, which names the register; the data goes to it and to its partner by turns.
    bool write(std::span<const std::uint8_t> stream) override;
    std::optional<std::size_t> read(std::span<std::uint8_t> into) override;
    void powerCycle() override;
    // Its lines are "0" and so on, and "interrupt": an open drain, low from when an input changes until it is read or
    // is again as it was read.
    void connect(std::string_view line, WireEnd end) override;
    void begin() override { powerCycle(); }

    // The input cannot be set: its wires say what it is.
    Cells cells() const override;
    std::uint32_t peek(std::size_t address) const override;
    void poke(std::size_t address, std::uint32_t value) override;
    std::vector<Fact> facts() const override { return {{"command", static_cast<std::int64_t>(command_)}}; }

private:
    struct Port {
        std::uint8_t output = 0xFF;
        std::uint8_t polarity = 0x00;      // 1: the input is inverted
        std::uint8_t configuration = 0xFF; // 1: input
        std::uint8_t seen = 0x00;          // the input as it was read last
    };

    bool isHigh(std::size_t line) const;
    std::uint8_t levels(std::size_t port) const;
    void writeRegister(std::size_t address, std::uint8_t value);
    void drive();
    void updateInterrupt() const;
    std::size_t partner(std::size_t address) const { return ports_ == 1 ? address : address ^ 1; }

    const std::size_t ports_;
    const bool pullUps_;
    std::array<Port, 2> port_{};
    std::size_t command_ = 0;
    std::array<WireEnd, 16> lines_;
    WireEnd interrupt_;
};

} // namespace sim
