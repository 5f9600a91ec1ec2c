// A device of registers behind a register address: sensors, converters and most else that sits on I2C.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include "devices/bus_device.hpp"
#include "devices/wire.hpp"
#include "devices/world.hpp"

namespace sim {

class RegisterMap final : public BusDevice {
public:
    // Whether the register address moves on after each register.
    enum class Increment {
        ALWAYS,
        NEVER,
        TOP_BIT, // of the address byte says so; it is no part of the address
    };

    struct Register {
        std::uint16_t reset = 0;
        std::uint16_t readOnly = 0;    // bits that a write leaves as they are
        std::uint16_t clearOnOne = 0;  // bits that a write of 1 clears, and a write of 0 leaves
        std::uint16_t clearOnRead = 0; // bits that are 0 once they have been read
    };

    struct Bits {
        std::size_t address;
        std::uint16_t mask; // any of them
    };

    // What a converter delivers: one row after the other, each value into its registers.
    struct Samples {
        std::vector<std::size_t> registers; // where each value of a row begins
        std::size_t registersEach;          // that a value occupies
        std::vector<std::uint32_t> values;  // row by row
        World::Clock::duration period{};    // zero: the next row comes when the last register of a row has been read
        bool repeats = true;                // else the last row stays
        std::optional<Bits> ready{};        // set with each row, cleared when the row's last register has been read
        std::optional<Bits> runsWhile{};    // else always
    };

    struct Interrupt {
        Bits follows;
        std::optional<Bits> enabledBy{};
        Hold active;
        Hold inactive;
    };

    struct Layout {
        std::size_t addressBytes = 1;
        std::size_t registerBytes = 1; // or 2
        bool littleEndian = false;     // the bytes of a register, and the registers of a sample
        Increment increment = Increment::ALWAYS;
        std::vector<Register> registers; // all that there are; the address wraps at their end
        std::vector<Samples> samples{};
        std::optional<Interrupt> interrupt{};
    };

    RegisterMap(std::shared_ptr<const Layout> layout, World& world);

    // The register address, high byte first, and then the registers from there on. Half a register is not written.
    bool write(std::span<const std::uint8_t> stream) override;
    // From the register address on. A register is read once its first byte is.
    std::optional<std::size_t> read(std::span<std::uint8_t> into) override;
    void powerCycle() override;
    // Its only line is the interrupt.
    void connect(std::string_view line, WireEnd end) override;

    // Who sets a register sets all of its bits; samples and the interrupt line follow.
    Cells cells() const override { return {.count = values_.size(), .bytes = layout_->registerBytes}; }
    std::uint32_t peek(std::size_t address) const override { return values_[address]; }
    void poke(std::size_t address, std::uint32_t value) override;
    std::vector<Fact> facts() const override { return {{"pointer", static_cast<std::int64_t>(address_)}}; }

private:
    // How far the rows of Layout::samples have come.
    struct Progress {
        std::size_t row = 0;
        bool running = false;
        World::Clock::time_point due{};
        World::Subscription timer;
    };

    bool isSet(const Bits& bits) const { return (values_[bits.address] & bits.mask) != 0; }
    void next();
    void writeRegister(std::uint16_t value);
    std::uint16_t readRegister();
    void startAndStop();
    void waitForRow(std::size_t index);
    void skipMissedRows(std::size_t index);
    void showRow(std::size_t index);
    void wasRead(std::size_t address);
    void updateInterrupt() const;

    const std::shared_ptr<const Layout> layout_;
    World& world_;
    WireEnd interrupt_;
    std::vector<std::uint16_t> values_;
    std::vector<Progress> progress_;
    std::size_t address_ = 0;
    bool increments_ = true;
};

} // namespace sim
