#include "devices/gpio_expander.hpp"

#include <charconv>

namespace sim {

namespace {

// Kinds of registers, in the order of their addresses.
enum class Kind : std::size_t { INPUT, OUTPUT, POLARITY, CONFIGURATION };

constexpr std::size_t KINDS = 4;

bool bitOf(std::uint8_t byte, std::size_t bit)
{
    return (byte >> bit & 1) != 0;
}

} // namespace

bool GpioExpander::write(std::span<const std::uint8_t> stream)
{
    if (stream.empty()) {
        return true;
    }
    command_ = stream.front() % (KINDS * ports_);
    for (const std::uint8_t byte : stream.subspan(1)) {
        writeRegister(command_, byte);
        command_ = partner(command_);
    }
    drive();
    return true;
}

void GpioExpander::writeRegister(std::size_t address, std::uint8_t value)
{
    Port& port = port_[address % ports_];
    switch (static_cast<Kind>(address / ports_)) {
    case Kind::INPUT:
        break;
    case Kind::OUTPUT:
        port.output = value;
        break;
    case Kind::POLARITY:
        port.polarity = value;
        break;
    case Kind::CONFIGURATION:
        port.configuration = value;
        break;
    }
}

std::optional<std::size_t> GpioExpander::read(std::span<std::uint8_t> into)
{
    for (std::uint8_t& byte : into) {
        byte = static_cast<std::uint8_t>(peek(command_));
        if (static_cast<Kind>(command_ / ports_) == Kind::INPUT) {
            port_[command_].seen = levels(command_);
        }
        command_ = partner(command_);
    }
    updateInterrupt();
    return into.size();
}

std::uint32_t GpioExpander::peek(std::size_t address) const
{
    const Port& port = port_[address % ports_];
    switch (static_cast<Kind>(address / ports_)) {
    case Kind::INPUT:
        return unsigned{levels(address % ports_)} ^ port.polarity;
    case Kind::OUTPUT:
        return port.output;
    case Kind::POLARITY:
        return port.polarity;
    case Kind::CONFIGURATION:
        break;
    }
    return port.configuration;
}

void GpioExpander::poke(std::size_t address, std::uint32_t value)
{
    writeRegister(address, static_cast<std::uint8_t>(value));
    drive();
}

Device::Cells GpioExpander::cells() const
{
    return {.count = KINDS * ports_};
}

bool GpioExpander::isHigh(std::size_t line) const
{
    if (lines_[line].isConnected()) {
        return lines_[line].isHigh();
    }
    const Port& port = port_[line / 8];
    return bitOf(port.configuration, line % 8) ? pullUps_ : bitOf(port.output, line % 8);
}

std::uint8_t GpioExpander::levels(std::size_t port) const
{
    unsigned levels = 0;
    for (std::size_t bit = 0; bit < 8; ++bit) {
        levels |= unsigned{isHigh(8 * port + bit)} << bit;
    }
    return static_cast<std::uint8_t>(levels);
}

void GpioExpander::powerCycle()
{
    port_ = {};
    command_ = 0;
    drive();
    for (std::size_t port = 0; port < ports_; ++port) {
        port_[port].seen = levels(port);
    }
    updateInterrupt();
}

void GpioExpander::connect(std::string_view line, WireEnd end)
{
    if (line == "interrupt") {
        interrupt_ = end;
        return;
    }
    std::size_t number = 0;
    std::from_chars(line.data(), line.data() + line.size(), number);
    lines_[number] = end;
    end.onChange([this](bool) { updateInterrupt(); });
}

void GpioExpander::drive()
{
    for (std::size_t line = 0; line < 8 * ports_; ++line) {
        const Port& port = port_[line / 8];
        if (!bitOf(port.configuration, line % 8)) {
            lines_[line].hold(bitOf(port.output, line % 8) ? Hold::DRIVE_HIGH : Hold::DRIVE_LOW);
        } else {
            lines_[line].hold(pullUps_ ? Hold::PULL_HIGH : Hold::NOTHING);
        }
    }
    updateInterrupt();
}

void GpioExpander::updateInterrupt() const
{
    bool changed = false;
    for (std::size_t port = 0; port < ports_; ++port) {
        changed |= ((levels(port) ^ port_[port].seen) & port_[port].configuration) != 0;
    }
    interrupt_.hold(changed && !isInReset() ? Hold::DRIVE_LOW : Hold::NOTHING);
}

} // namespace sim
