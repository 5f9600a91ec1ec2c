// What the transfers of all buses have in common: register addresses, and where bytes that were read go.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "context.hpp"
#include "data.hpp"
#include "device_status.hpp"
#include "errors.hpp"
#include "numbers.hpp"

namespace tool {

// The adapter counts the bytes of a transfer in 16 bits.
inline constexpr std::uint64_t MAX_TRANSFER = 0xFFFF;

inline bool isStatus(StatusCode status, std::string_view name)
{
    const DeviceStatusInfo* const info = findDeviceStatus(status);
    return info != nullptr && info->name == name;
}

// Checks a transfer: `advice` is for a target that does not acknowledge, other refusals have their own.
inline void checkTransfer(Context& context, StatusCode status, std::string_view action, std::string_view advice)
{
    context.check(status, action, isStatus(status, "NACK") ? advice : std::string_view{});
}

// A register of a target: a number that goes out before the data, most significant byte first.
struct RegisterOptions {
    std::string text; // as given; empty for none
    unsigned bytes = 1;
};

inline void addRegisterOptions(CLI::App& app, RegisterOptions& options)
{
    app.add_option("REGISTER", options.text, "Register to begin at; without it the target goes on where it stands");
    addNumber(app, "--reg-bytes", options.bytes, {1, 4}, "Bytes of the register address");
}

inline std::uint64_t registerNumber(const RegisterOptions& options)
{
    const std::uint64_t value = parseNumber("REGISTER", options.text, {0, 0xFFFFFFFF});
    if (value >> (8 * options.bytes) != 0) {
        throw UsageError(fmt::format("REGISTER: {} does not fit in {} byte{}", options.text, options.bytes,
                                     options.bytes == 1 ? "" : "s"),
                         "raise --reg-bytes");
    }
    return value;
}

inline Bytes encodeRegister(std::uint64_t value, unsigned count)
{
    Bytes bytes;
    for (unsigned shift = 8 * count; shift > 0;) {
        shift -= 8;
        bytes.push_back(static_cast<std::uint8_t>(value >> shift));
    }
    return bytes;
}

// A read: from which register, if any, and the offset that its first byte has in a hexdump.
struct ReadPosition {
    Bytes registerAddress;
    std::uint64_t offset = 0;

    explicit ReadPosition(const RegisterOptions& options)
    {
        if (!options.text.empty()) {
            offset = registerNumber(options);
            registerAddress = encodeRegister(offset, options.bytes);
        }
    }
};

// REGISTER and DATA of a write; with --reg-bytes 0 the words are all data.
struct WriteOptions {
    RegisterOptions reg;
    std::vector<std::string> data;
};

inline void addWriteOptions(CLI::App& app, WriteOptions& options)
{
    app.add_option("REGISTER", options.reg.text, "Register to begin at")->required();
    app.add_option("DATA", options.data, std::string("What to write: ") + DATA_HELP);
    addNumber(app, "--reg-bytes", options.reg.bytes, {0, 4},
              "Bytes of the register address; with 0 there is no REGISTER, only DATA");
}

struct Written {
    std::uint64_t reg = 0;
    Bytes registerAddress;
    Bytes data;

    explicit Written(const WriteOptions& options)
    {
        std::vector<std::string> words = options.data;
        if (options.reg.bytes == 0) {
            words.insert(words.begin(), options.reg.text);
        } else {
            reg = registerNumber(options.reg);
            registerAddress = encodeRegister(reg, options.reg.bytes);
        }
        data = readData("DATA", words, MAX_TRANSFER);
    }
};

inline void addRaw(CLI::App& app, bool& raw)
{
    app.add_flag("--raw", raw, "Write the bytes as they are to standard output");
}

inline void printRead(Context& context, bool raw, std::span<const std::uint8_t> bytes, std::uint64_t offset,
                      const Json& fields)
{
    if (raw) {
        context.output().write(bytes);
    } else {
        context.output().printData(bytes, offset, fields);
    }
}

} // namespace tool
