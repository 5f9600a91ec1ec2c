// What every flat function shares: the order of the checks, and how arguments get into C++ and results out of it.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <utility>
#include <vector>

#include "flat/handle.hpp"
#include "sync/session.hpp"
#include "tarvixsdk/flat.h"
#include "tarvixsdk/sdk.hpp"

using Bytes = std::vector<std::uint8_t>;

// The handle first, then the function's own checks, then the method. A body that touches the caller's memory therefore
// never runs on arguments that were refused.
template <typename Body>
StatusCode call(TarvixSDK_Handle* handle, bool argumentsAreValid, Body body)
{
    if (handle == nullptr) {
        return StatusCode::NOT_CONNECTED;
    }
    if (!argumentsAreValid) {
        return StatusCode::INVALID_ARGUMENT;
    }
    return body(*handle->sdk);
}

// For a function that has no checks and hands its arguments on as they are.
template <typename... Parameters, typename... Arguments>
StatusCode call(TarvixSDK_Handle* handle, StatusCode (TarvixSDK::*method)(Parameters...), Arguments&&... arguments)
{
    return call(handle, true, [&](TarvixSDK& sdk) { return (sdk.*method)(std::forward<Arguments>(arguments)...); });
}

// For a function with bytes that may be many: they go to and from the caller's memory without a vector between.
using Session = TarvixSDK_Handle::Session;

template <typename Body>
StatusCode transfer(TarvixSDK_Handle* handle, bool argumentsAreValid, Body body)
{
    return call(handle, argumentsAreValid, [&](TarvixSDK&) { return body(handle->session()); });
}

// One that reads nothing.
template <typename... Parameters, typename... Arguments>
StatusCode transfer(TarvixSDK_Handle* handle, bool argumentsAreValid,
                    RequestFrame (*request)(TransactionId, Parameters...), Arguments&&... arguments)
{
    return transfer(handle, argumentsAreValid, [&](Session& session) {
        return session.exchange(request, std::forward<Arguments>(arguments)...).status();
    });
}

inline bool isArray(const std::uint8_t* data, std::size_t count)
{
    return data != nullptr || count == 0;
}

inline bool isRegisterAddress(const std::uint8_t* data, std::size_t count)
{
    return count <= 4 && isArray(data, count);
}

template <typename Item>
std::vector<Item> copied(const Item* items, std::size_t count)
{
    return {items, items + count};
}

inline std::optional<Bytes> optionalBytes(const std::uint8_t* data, std::size_t count)
{
    return data == nullptr ? std::nullopt : std::optional(copied(data, count));
}

inline std::optional<std::uint8_t> optionalByte(bool present, std::uint8_t value)
{
    return present ? std::optional(value) : std::nullopt;
}

// Copies what a transfer read to the caller, on status 0 only. A null buffer discards it; so does a null length.
template <typename Length = std::uint16_t>
StatusCode deliver(const Session::Reading& read, std::uint8_t* buffer, Length* length = nullptr)
{
    const StatusCode status = read.status();
    if (status == StatusCode::SUCCESS && length != nullptr) {
        *length = static_cast<Length>(read.size());
    }
    if (status == StatusCode::SUCCESS && buffer != nullptr) {
        read.copyTo(buffer);
    }
    return status;
}

// Copies what a method read to the caller, on status 0 only. A null buffer discards it.
inline StatusCode deliver(StatusCode status, const Bytes& read, std::uint8_t* buffer)
{
    if (status == StatusCode::SUCCESS && buffer != nullptr) {
        std::copy(read.begin(), read.end(), buffer);
    }
    return status;
}

template <typename Length>
StatusCode deliver(StatusCode status, const Bytes& read, std::uint8_t* buffer, Length* length)
{
    if (status == StatusCode::SUCCESS) {
        *length = static_cast<Length>(read.size());
    }
    return deliver(status, read, buffer);
}
