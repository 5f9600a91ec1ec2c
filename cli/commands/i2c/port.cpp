#include "commands/i2c/port.hpp"

#include <string>

#include <fmt/format.h>

#include "adapter/statuses.hpp"

namespace tool {

const char* const I2C_ADDRESS_ADVICE =
    "run 'tarvix i2c scan' to see which targets answer, 'tarvix rail show' to check the supply";

void addPortOptions(CLI::App& app, I2cPortOptions& options)
{
    addNumber(app, "-b,--bus", options.bus, {0, 1}, "I2C port");
    addPortSettings(app, options);
}

void addPortSettings(CLI::App& app, I2cPortOptions& options)
{
    addFrequency(app, "-c,--clock", options.clock, {1, 3'400'000}, "Clock frequency: 100k, 400k, 1M");
    addNumber(app, "--pull-up", options.pullUp, {0, 3},
              "Pull-up setting, numbered by the firmware, 0 for none; unchanged by default");
    addNumber(app, "--init-option", options.initOption, BYTE,
              "Option byte for initialising the port, defined by the firmware");
}

void addTargetAddress(CLI::App& app, std::uint8_t& address)
{
    addNumber(app, "ADDRESS", address, ADDRESS, "7-bit address of the target").required();
}

void setUpPort(Context& context, const I2cPortOptions& options)
{
    const std::string pullUp = options.pullUp ? fmt::format(", pull-up {}", *options.pullUp) : "";
    const std::string option = options.initOption != 0 ? fmt::format(", option {}", options.initOption) : "";
    context.setUp(fmt::format("I2C bus {}", options.bus), fmt::format("{} Hz{}{}", options.clock, pullUp, option),
                  [&](TarvixSDK& sdk) { return initialisePort(sdk, options); });
}

StatusCode initialisePort(TarvixSDK& sdk, const I2cPortOptions& options)
{
    const StatusCode status = sdk.i2cControllerInit(options.index(), options.clock, options.initOption);
    return status == StatusCode::SUCCESS && options.pullUp
               ? sdk.i2cSetPullUpResistors(options.index(), static_cast<std::uint8_t>(*options.pullUp))
               : status;
}

Carriage carriageOf(const I2cPortOptions& port)
{
    constexpr unsigned CLOCKS_PER_BYTE = 9; // with the acknowledge
    constexpr std::size_t ANSWER_OVERHEAD = 9;
    return {port.clock, CLOCKS_PER_BYTE, ANSWER_OVERHEAD};
}

void checkRead(Context& context, StatusCode status, const I2cPortOptions& port, std::uint8_t address)
{
    context.checkTransfer(status, fmt::format("reading from 0x{:02x} on bus {}", address, port.bus),
                          I2C_ADDRESS_ADVICE);
}

void checkWrite(Context& context, StatusCode status, const I2cPortOptions& port, std::uint8_t address)
{
    context.checkTransfer(status, fmt::format("writing to 0x{:02x} on bus {}", address, port.bus), I2C_ADDRESS_ADVICE);
}

Bytes readTarget(Context& context, const I2cPortOptions& port, std::uint8_t address, const Bytes& registerAddress,
                 std::uint64_t length, std::chrono::steady_clock::time_point busyUntil)
{
    for (;;) {
        const bool late = std::chrono::steady_clock::now() >= busyUntil;
        Bytes bytes;
        const StatusCode status = context.sdk().i2cRead(port.index(), address, registerAddress,
                                                        static_cast<std::uint16_t>(length), bytes, false);
        if (late || !isStatus(status, DeviceStatus::NACK)) {
            checkRead(context, status, port, address);
            return bytes;
        }
    }
}

void writeTarget(Context& context, const I2cPortOptions& port, std::uint8_t address, const Bytes& registerAddress,
                 const Bytes& data)
{
    checkWrite(context, context.sdk().i2cWrite(port.index(), address, registerAddress, data, false), port, address);
}

} // namespace tool
