#include "model/voltage.hpp"

#include <cstddef>

#include "model/refusal.hpp"

namespace sim {

namespace {

constexpr std::size_t SHARED = 6;
constexpr std::size_t I3C_PINS = 8;
constexpr std::size_t I3C_REGULATOR = 10;
constexpr std::size_t MEASUREMENTS_END = 12;

bool readFlag(Request& request)
{
    const std::uint8_t flag = request.u8();
    request.end();
    return asFlag(flag);
}

void set(Voltage::Rail& rail, std::uint16_t millivolts)
{
    require(millivolts >= rail.minimum && millivolts <= rail.maximum, DeviceStatus::VOLTAGE_OUT_OF_RANGE);
    rail.regulator = millivolts;
}

std::uint16_t atPins(const Voltage::Rail& rail)
{
    return rail.usesExternal ? rail.external : rail.regulator;
}

void setI3c(Voltage& voltage, Request& request, OutputFrame&)
{
    const std::uint16_t millivolts = request.u16();
    request.end();
    set(voltage.i3c, millivolts);
}

void setShared(Voltage& voltage, Request& request, OutputFrame&)
{
    const std::uint16_t millivolts = request.u16();
    readFlag(request); // without effect here
    set(voltage.shared, millivolts);
}

void useExternalI3c(Voltage& voltage, Request& request, OutputFrame&)
{
    voltage.i3c.usesExternal = readFlag(request);
}

void useExternalShared(Voltage& voltage, Request& request, OutputFrame&)
{
    voltage.shared.usesExternal = readFlag(request);
}

void measure(Voltage& voltage, Request& request, OutputFrame& response)
{
    request.end();
    response.setU16(SHARED, atPins(voltage.shared));
    response.setU16(I3C_PINS, atPins(voltage.i3c));
    response.setU16(I3C_REGULATOR, voltage.i3c.regulator);
}

} // namespace

void addVoltageCommands(CommandTable& table, Voltage& voltage)
{
    table.add(CommandCode::SET_I3C_VOLTAGE, voltage, setI3c);
    table.add(CommandCode::SET_SHARED_VOLTAGE, voltage, setShared);
    table.add(CommandCode::USE_EXTERNAL_I3C_VOLTAGE, voltage, useExternalI3c);
    table.add(CommandCode::USE_EXTERNAL_SHARED_VOLTAGE, voltage, useExternalShared);
    table.add(CommandCode::GET_ANALOG_MEASUREMENTS, voltage, measure, MEASUREMENTS_END);
}

} // namespace sim
