// A port of the adapter as a bus.
#pragma once

#include "commands/i2c/port.hpp"
#include "i2c/i2c_bus.hpp"
#include "session/adapter_link.hpp"

namespace bridge {

class SessionI2c final : public I2cBus {
public:
    // Sets the port up. Throws tool::Failure.
    SessionI2c(AdapterLink& link, const tool::I2cPortOptions& port);

    void write(std::uint8_t address, std::span<const std::uint8_t> bytes) override;
    tool::Bytes read(std::uint8_t address, std::span<const std::uint8_t> sent, std::uint16_t length) override;

private:
    StatusCode setUp();
    void setUpAgain();

    AdapterLink& link_;
    const tool::I2cPortOptions port_;
    unsigned generation_ = 0; // of the adapter that is set up
};

} // namespace bridge
