// What the adapter says of a request, bytes 4..5 of its response. The high byte tells where to look for the fault.
// Every value stays clear of those that the host's library uses itself (0x2000, 0x4000, ... 0xA000).
#pragma once

#include <cstdint>

namespace sim {

enum class DeviceStatus : std::uint16_t {
    SUCCESS = 0x0000,

    UNKNOWN_COMMAND = 0x0101, // the adapter has no command with this code
    MALFORMED_FRAME = 0x0102, // shorter or longer than its fields, or a count that disagrees with what follows
    BAD_PARAMETER = 0x0103,   // a field holds a value that the command does not take
    BAD_BUS = 0x0104,         // no I2C port with this index
    BAD_PIN = 0x0105,         // no pin with this number
    NOT_INITIALISED = 0x0106, // the port, controller or I3C bus was not initialised

    VOLTAGE_OUT_OF_RANGE = 0x0201, // the rail cannot produce this voltage
    PIN_IS_INPUT = 0x0202,         // an input cannot be driven

    NACK = 0x0301,           // nobody acknowledged on the bus
    ADDRESS_IN_USE = 0x0302, // another I3C target or group has this address
    UNKNOWN_TARGET = 0x0303, // the device table has no target with this address
    BUS_STUCK = 0x0304,      // a line of the I2C bus is held low
};

} // namespace sim
