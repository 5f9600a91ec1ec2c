#include "i2c/session_i2c.hpp"

#include <fmt/format.h>

#include "cuse/open_file.hpp"

namespace bridge {

namespace {

void require(StatusCode status)
{
    if (const int number = errnoOf(status); number != 0) {
        throw Errno{number};
    }
}

} // namespace

SessionI2c::SessionI2c(AdapterLink& link, const tool::I2cPortOptions& port) : link_(link), port_(port)
{
    link.context().check(setUp(), fmt::format("setting up I2C bus {}", port.bus));
}

void SessionI2c::write(std::uint8_t address, std::span<const std::uint8_t> bytes)
{
    setUpAgain();
    require(link_.sdk().i2cWrite(port_.index(), address, {}, {bytes.begin(), bytes.end()}, false));
}

tool::Bytes SessionI2c::read(std::uint8_t address, std::span<const std::uint8_t> sent, std::uint16_t length)
{
    setUpAgain();
    tool::Bytes received;
    require(link_.sdk().i2cRead(port_.index(), address, {sent.begin(), sent.end()}, length, received, false));
    return received;
}

StatusCode SessionI2c::setUp()
{
    const StatusCode status = tool::initialisePort(link_.sdk(), port_);
    if (status == StatusCode::SUCCESS) {
        generation_ = link_.generation();
    }
    return status;
}

void SessionI2c::setUpAgain()
{
    if (generation_ != link_.generation()) {
        require(setUp());
    }
}

} // namespace bridge
