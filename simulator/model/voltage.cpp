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

} // namespace

Voltage::Voltage(CommandTable& table)
{
    table.add(CommandCode::SET_I3C_VOLTAGE, *this, &Voltage::setI3c);
    table.add(CommandCode::SET_SHARED_VOLTAGE, *this, &Voltage::setShared);
    table.add(CommandCode::USE_EXTERNAL_I3C_VOLTAGE, *this, &Voltage::useExternalI3c);
    table.add(CommandCode::USE_EXTERNAL_SHARED_VOLTAGE, *this, &Voltage::useExternalShared);
    table.add(CommandCode::GET_ANALOG_MEASUREMENTS, *this, &Voltage::measure, MEASUREMENTS_END);
}

void Voltage::Rail::set(std::uint16_t voltage)
{
    require(voltage >= minimum && voltage <= maximum, DeviceStatus::VOLTAGE_OUT_OF_RANGE);
    regulator = voltage;
}

void Voltage::setI3c(Request& request, OutputFrame&)
{
    const std::uint16_t voltage = request.u16();
    request.end();
    i3c_.set(voltage);
}

void Voltage::setShared(Request& request, OutputFrame&)
{
    const std::uint16_t voltage = request.u16();
    readFlag(request); // without effect here
    shared_.set(voltage);
}

void Voltage::useExternalI3c(Request& request, OutputFrame&)
{
    i3c_.usesExternal = readFlag(request);
}

void Voltage::useExternalShared(Request& request, OutputFrame&)
{
    shared_.usesExternal = readFlag(request);
}

void Voltage::measure(Request& request, OutputFrame& response)
{
    request.end();
    response.setU16(SHARED, shared_.atPins());
    response.setU16(I3C_PINS, i3c_.atPins());
    response.setU16(I3C_REGULATOR, i3c_.regulator);
}

} // namespace sim
