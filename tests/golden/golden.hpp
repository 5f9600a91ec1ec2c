// The golden table: for each command the bytes on the wire, written by hand, and how each face of the library calls it.
// One set of loops goes over all rows, so a row proves a command in both classes, the flat interface and the virtual
// adapter at once.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "support/bytes.hpp"
#include "tarvixsdk/async_sdk.hpp"
#include "tarvixsdk/flat.h"
#include "tarvixsdk/sdk.hpp"

namespace golden {

inline constexpr std::uint8_t UNTOUCHED = 0xEE;

// Everything that a command can write. The vectors are the blocking class's, the buffers the flat interface's.
struct Outputs {
    std::uint8_t byte1 = UNTOUCHED;
    std::uint16_t word1 = 0xEEEE;
    std::uint16_t word2 = 0xEEEE;
    std::uint8_t byte2 = UNTOUCHED;
    GpioLogicLevel level{0xEEEEEEEE};
    std::optional<std::uint8_t> optional = UNTOUCHED;

    Bytes bytes{UNTOUCHED};
    std::vector<I3cTargetInfo> table{1};
    TarvixSDK::DeviceInfo info{"?", "", "", "", ""};

    Bytes buffer = Bytes(65'535, UNTOUCHED); // as large as the documentation asks for
    std::uint8_t length8 = UNTOUCHED;
    std::uint16_t length16 = 0xEEEE;
    std::size_t length = 0xEEEE;
    std::array<I3cTargetInfo, 8> records{};
    TarvixSDK_DeviceInfo flatInfo{};

    Outputs() = default;
    ~Outputs() { TarvixSDK_FreeDeviceInfo(&flatInfo); }
    Outputs(const Outputs&) = delete;
    Outputs& operator=(const Outputs&) = delete;

    // What was written, as hexadecimal text: the single values, and the data.
    std::string values() const;
    std::string data() const;
};

// What a flat function is given. Everything that it tests can be spoilt; `Arguments{}` is wrong throughout.
struct Arguments {
    const std::uint8_t* in = nullptr; // A1 A2 A3
    std::uint8_t registerLength = 9;
    std::uint8_t bus = 7;
    std::uint8_t* byte1 = nullptr;
    std::uint8_t* byte2 = nullptr;
    std::uint16_t* word1 = nullptr;
    std::uint16_t* word2 = nullptr;
    GpioLogicLevel* level = nullptr;
    std::uint8_t* buffer = nullptr;
    std::uint8_t* length8 = nullptr;
    std::uint16_t* length16 = nullptr;
    std::size_t* length = nullptr;
    I3cTargetInfo* records = nullptr;
    TarvixSDK_DeviceInfo* info = nullptr;
};

Arguments argumentsFor(Outputs& outputs);

// The wrong arguments that a flat function refuses by itself, one bit each.
enum Refusal : unsigned {
    NO_VALUE = 1U << 0,        // null for the (first) single value
    NO_SECOND_VALUE = 1U << 1, // null for the second
    BAD_BUS = 1U << 2,         // index 2
    BAD_REGISTER = 1U << 3,    // five bytes, or null with a length
    NO_DATA = 1U << 4,         // null with a length
    NO_BUFFER = 1U << 5,
    NO_LENGTH = 1U << 6,
};

// What an asynchronous method is given: a number, or bytes.
struct Argument {
    std::uint64_t number = 0;
    Bytes bytes{};
};

inline Argument argument(const std::vector<std::uint8_t>& bytes)
{
    return {0, bytes};
}

inline Argument argument(const std::vector<I3cTargetInfo>& targets)
{
    const auto* const first = reinterpret_cast<const std::uint8_t*>(targets.data());
    return {0, Bytes(first, first + targets.size() * sizeof(I3cTargetInfo))};
}

inline Argument argument(I3cTargetConfiguration configuration)
{
    return {configuration.raw, {}};
}

template <typename Value>
Argument argument(const Value& value)
{
    return {static_cast<std::uint64_t>(value), {}};
}

template <typename Value>
Argument argument(const std::optional<Value>& value)
{
    return value ? argument(*value) : Argument{};
}

template <typename Method>
struct ArgumentsOf;

// Takes what the method takes, behind the transaction id.
template <typename... Parameters>
struct ArgumentsOf<StatusCode (TarvixAsyncSDK::*)(TransactionId, Parameters...)> {
    static std::vector<Argument> list(TransactionId, Parameters... values) { return {argument(values)...}; }
};

using AsyncCall = StatusCode (*)(TarvixAsyncSDK& sdk, TransactionId id);
using BlockingCall = StatusCode (*)(TarvixSDK& sdk, Outputs& o);
using FlatCall = StatusCode (*)(TarvixSDK_Handle* h, const Arguments& a);

inline constexpr StatusCode ADAPTER_ERROR{0x0123};

// A call is null where the face lacks the command or where another row has it.
struct Row {
    std::string name = ""; // of the methods; the flat function's in its own column
    std::string function = "";
    AsyncCall send = nullptr;
    std::vector<Argument> (*sends)(TransactionId id) = nullptr; // what that call is given
    BlockingCall block = nullptr;
    FlatCall flat = nullptr;
    std::string request = "";                 // from the command code on
    std::string answer = "";                  // behind the status
    std::string values = "";                  // what that decodes to: single values ...
    std::string data = "";                    // ... and data, which the flat interface delivers on success only
    unsigned refuses = 0;                     // Refusals of the flat function
    StatusCode statusOnError = ADAPTER_ERROR; // what the blocking faces return when the adapter reports that
    bool malformed = false;                   // sent as given, though the adapter will not take it
};

// The calls of one command, side by side: (arguments of the asynchronous method), (of the blocking one), (of the flat
// function).
#define ASYNC(method, arguments)                                                                                       \
    .send = [](TarvixAsyncSDK& sdk, [[maybe_unused]] TransactionId id) { return sdk.method arguments; },               \
    .sends = []([[maybe_unused]] TransactionId id) {                                                                   \
        return ArgumentsOf<decltype(&TarvixAsyncSDK::method)>::list arguments;                                         \
    }
#define BLOCKING(method, arguments)                                                                                    \
    .block = [](TarvixSDK& sdk, [[maybe_unused]] Outputs& o) { return sdk.method arguments; }
#define FLAT(Function, arguments)                                                                                      \
    .flat = [](TarvixSDK_Handle* h, [[maybe_unused]] const Arguments& a) { return TarvixSDK_##Function arguments; }

#define CALLS(method, Function, asyncArguments, blockingArguments, flatArguments)                                      \
    .name = #method, .function = #Function, ASYNC(method, asyncArguments), BLOCKING(method, blockingArguments),        \
    FLAT(Function, flatArguments)
#define SAME_CALLS(method, Function, ...)                                                                              \
    CALLS(method, Function, (id __VA_OPT__(, ) __VA_ARGS__), (__VA_ARGS__), (h __VA_OPT__(, ) __VA_ARGS__))
#define ASYNC_CALL(method, arguments) .name = #method, ASYNC(method, arguments)
#define BLOCKING_CALL(method, arguments) .name = #method, BLOCKING(method, arguments)
#define CLASS_CALLS(method, asyncArguments, blockingArguments)                                                         \
    .name = #method, ASYNC(method, asyncArguments), BLOCKING(method, blockingArguments)
#define BLOCKING_FLAT_CALLS(method, Function, blockingArguments, flatArguments)                                        \
    .name = #method, .function = #Function, BLOCKING(method, blockingArguments), FLAT(Function, flatArguments)
#define FLAT_CALL(Function, arguments) .name = #Function, .function = #Function, FLAT(Function, arguments)

// The data that rows send, and its length as an argument of a flat function.
inline const Bytes REGISTER{0xA1, 0xA2};
inline const Bytes FOUR{0x01, 0x02, 0x03, 0x04};
inline Bytes DATA{0xA1, 0xA2, 0xA3}; // the SPI methods take it by reference
inline Bytes NOTHING;
inline const I3cTargetInfo TARGETS[]{{0x50, 0x08, {1, 2, 3, 4, 5, 6}, 7, 0x0A, 0x1234, 0x5678, 0x0B, 0x0C},
                                     {0x51, 0x09, {}, 0, 0, 0, 0, 0, 0}};

std::span<const Row> busRows(); // the adapter itself, rails, GPIO, I2C, SPI, UART
std::span<const Row> i3cRows();
std::span<const Row> cccRows();
std::vector<Row> everyRow();

// The rows that have this face's call.
template <typename Call>
std::vector<Row> rowsWith(Call Row::*call)
{
    std::vector<Row> rows = everyRow();
    std::erase_if(rows, [call](const Row& row) { return row.*call == nullptr; });
    return rows;
}

} // namespace golden
