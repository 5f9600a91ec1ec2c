// An I2C port, and the transfers on it as commands make them.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>

#include "adapter/context.hpp"
#include "adapter/pieces.hpp"
#include "arguments/data.hpp"
#include "arguments/options.hpp"

namespace tool {

struct I2cPortOptions {
    unsigned bus = 0;
    std::uint32_t clock = 100'000;
    std::optional<unsigned> pullUp;
    std::uint8_t initOption = 0;

    std::uint8_t index() const { return static_cast<std::uint8_t>(bus); }
};

void addPortOptions(CLI::App& app, I2cPortOptions& options);
void addPortSettings(CLI::App& app, I2cPortOptions& options); // those of any port

// ADDRESS
void addTargetAddress(CLI::App& app, std::uint8_t& address);

void setUpPort(Context& context, const I2cPortOptions& options);
StatusCode initialisePort(TarvixSDK& sdk, const I2cPortOptions& options);

// How reads from it are carried, for pieces.
Carriage carriageOf(const I2cPortOptions& port);

// What to do when a target does not acknowledge.
extern const char* const I2C_ADDRESS_ADVICE;

void checkRead(Context& context, StatusCode status, const I2cPortOptions& port, std::uint8_t address);
void checkWrite(Context& context, StatusCode status, const I2cPortOptions& port, std::uint8_t address);

// A memory that is still busy with what it got does not acknowledge: until `busyUntil` that is no failure.
Bytes readTarget(Context& context, const I2cPortOptions& port, std::uint8_t address, const Bytes& registerAddress,
                 std::uint64_t length, std::chrono::steady_clock::time_point busyUntil = {});
void writeTarget(Context& context, const I2cPortOptions& port, std::uint8_t address, const Bytes& registerAddress,
                 const Bytes& data);

} // namespace tool
