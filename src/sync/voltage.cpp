#include "sync/session.hpp"

namespace {

// Offsets in the answer to getAnalogMeasurements.
constexpr std::size_t SHARED_RAIL = 6;
constexpr std::size_t I3C_RAIL_1 = 8;
constexpr std::size_t I3C_RAIL_2 = 10;

auto sharedRailInto(std::uint16_t& voltage)
{
    return [&voltage](const ResponseFrame& response) { voltage = response.u16(SHARED_RAIL); };
}

} // namespace

StatusCode TarvixSDK::gpioSetVoltage(std::uint16_t voltage, bool flag)
{
    return session_->exchange(&TarvixAsyncSDK::gpioSetVoltage, voltage, flag).status();
}

StatusCode TarvixSDK::i2cSetBusVoltage(std::uint16_t voltage, bool flag)
{
    return session_->exchange(&TarvixAsyncSDK::i2cSetBusVoltage, voltage, flag).status();
}

StatusCode TarvixSDK::spiSetBusVoltage(std::uint16_t voltage, bool flag)
{
    return session_->exchange(&TarvixAsyncSDK::spiSetBusVoltage, voltage, flag).status();
}

StatusCode TarvixSDK::uartSetBusVoltage(std::uint16_t voltage, bool flag)
{
    return session_->exchange(&TarvixAsyncSDK::uartSetBusVoltage, voltage, flag).status();
}

StatusCode TarvixSDK::gpioUseExternalVoltage(bool useExternal)
{
    return session_->exchange(&TarvixAsyncSDK::gpioUseExternalVoltage, useExternal).status();
}

StatusCode TarvixSDK::i2cUseExternalVoltage(bool useExternal)
{
    return session_->exchange(&TarvixAsyncSDK::i2cUseExternalVoltage, useExternal).status();
}

StatusCode TarvixSDK::spiUseExternalVoltage(bool useExternal)
{
    return session_->exchange(&TarvixAsyncSDK::spiUseExternalVoltage, useExternal).status();
}

StatusCode TarvixSDK::uartUseExternalVoltage(bool useExternal)
{
    return session_->exchange(&TarvixAsyncSDK::uartUseExternalVoltage, useExternal).status();
}

StatusCode TarvixSDK::gpioGetVoltage(std::uint16_t& voltage)
{
    return session_->exchange(&TarvixAsyncSDK::getAnalogMeasurements)
        .then(fieldsUpTo(SHARED_RAIL + 2), sharedRailInto(voltage));
}

StatusCode TarvixSDK::i2cGetBusVoltage(std::uint16_t& voltage)
{
    return session_->exchange(&TarvixAsyncSDK::getAnalogMeasurements)
        .then(fieldsUpTo(SHARED_RAIL + 2), sharedRailInto(voltage));
}

StatusCode TarvixSDK::spiGetBusVoltage(std::uint16_t& voltage)
{
    return session_->exchange(&TarvixAsyncSDK::getAnalogMeasurements)
        .then(fieldsUpTo(SHARED_RAIL + 2), sharedRailInto(voltage));
}

StatusCode TarvixSDK::uartGetBusVoltage(std::uint16_t& voltage)
{
    return session_->exchange(&TarvixAsyncSDK::getAnalogMeasurements)
        .then(fieldsUpTo(SHARED_RAIL + 2), sharedRailInto(voltage));
}

StatusCode TarvixSDK::i3cSetBusVoltage(std::uint16_t voltage)
{
    return session_->exchange(&TarvixAsyncSDK::i3cSetBusVoltage, voltage).status();
}

StatusCode TarvixSDK::i3cUseExternalVoltage(bool useExternal)
{
    return session_->exchange(&TarvixAsyncSDK::i3cUseExternalVoltage, useExternal).status();
}

StatusCode TarvixSDK::i3cGetBusVoltage(std::uint16_t& voltage1, std::uint16_t& voltage2)
{
    return session_->exchange(&TarvixAsyncSDK::getAnalogMeasurements)
        .then(fieldsUpTo(I3C_RAIL_2 + 2), [&](const ResponseFrame& response) {
            voltage1 = response.u16(I3C_RAIL_1);
            voltage2 = response.u16(I3C_RAIL_2);
        });
}
