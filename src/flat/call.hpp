// How a flat function calls its method: the order of the tests, and the way of each kind of argument into C++ and back.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <type_traits>
#include <utility>
#include <vector>

#include "flat/handle.hpp"
#include "tarvixsdk/flat.h"
#include "tarvixsdk/sdk.hpp"

// An argument that does not go to the method as it stands. The derived class says how: valid() is the flat function's
// own check, pass() yields the method's argument, finish() takes results out once the method has returned. Whatever
// reads the caller's memory happens in pass(), so after all checks.
struct Conversion {
    bool valid() const { return true; }
    void finish(StatusCode) const {}
};

template <typename Argument>
concept Converted = std::is_base_of_v<Conversion, std::remove_cvref_t<Argument>>;

template <typename Argument>
bool isValid(const Argument& argument)
{
    if constexpr (Converted<Argument>) {
        return argument.valid();
    } else {
        return true;
    }
}

template <typename Argument>
decltype(auto) passed(Argument&& argument)
{
    if constexpr (Converted<Argument>) {
        return argument.pass();
    } else {
        return std::forward<Argument>(argument);
    }
}

template <typename Argument>
void finished(const Argument& argument, StatusCode status)
{
    if constexpr (Converted<Argument>) {
        argument.finish(status);
    }
}

// The rules of every command in their order: null handle, the function's own checks, the method, the results.
template <typename Method, typename... Arguments>
StatusCode call(TarvixSDK_Handle* handle, Method method, Arguments&&... arguments)
{
    if (handle == nullptr) {
        return StatusCode::NOT_CONNECTED;
    }
    if (!(isValid(arguments) && ...)) {
        return StatusCode::INVALID_ARGUMENT;
    }
    const StatusCode status = ((*handle->sdk).*method)(passed(std::forward<Arguments>(arguments))...);
    (finished(arguments, status), ...);
    return status;
}

/* ---- Inputs ----------------------------------------------------------------------------------------- */

using Bytes = std::vector<std::uint8_t>;

template <typename Item>
std::vector<Item> copied(const Item* items, std::size_t count)
{
    return {items, items + count};
}

// A variable with the condition under which the function goes on.
template <typename Value>
class Checked : public Conversion {
public:
    Checked(Value& value, bool condition) : value_(value), condition_(condition) {}

    bool valid() const { return condition_; }
    Value& pass() const { return value_; }

private:
    Value& value_;
    bool condition_;
};

// An array whose pointer is not tested.
class UntestedBytesIn : public Conversion {
public:
    UntestedBytesIn(const std::uint8_t* data, std::size_t count) : data_(data), count_(count) {}

    Bytes pass() const { return copied(data_, count_); }

protected:
    bool consistent() const { return data_ != nullptr || count_ == 0; }

    const std::uint8_t* data_;
    std::size_t count_;
};

class BytesIn : public UntestedBytesIn {
public:
    using UntestedBytesIn::UntestedBytesIn;

    bool valid() const { return consistent(); }
};

class RegisterAddressIn : public UntestedBytesIn {
public:
    using UntestedBytesIn::UntestedBytesIn;

    bool valid() const { return count_ <= LONGEST && consistent(); }

private:
    static constexpr std::size_t LONGEST = 4;
};

class OptionalBytesIn : public UntestedBytesIn {
public:
    using UntestedBytesIn::UntestedBytesIn;

    bool valid() const { return consistent(); }
    std::optional<Bytes> pass() const { return data_ == nullptr ? std::nullopt : std::optional(copied(data_, count_)); }
};

inline std::optional<std::uint8_t> optionalIn(bool present, std::uint8_t value)
{
    return present ? std::optional(value) : std::nullopt;
}

/* ---- Outputs ---------------------------------------------------------------------------------------- */

// A single value, which the method writes by its own rule. The pointer is not tested.
template <typename Value>
class UntestedValueOut : public Conversion {
public:
    explicit UntestedValueOut(Value* value) : value_(value) {}

    Value& pass() const { return *value_; }

protected:
    Value* value_;
};

template <typename Value>
class ValueOut : public UntestedValueOut<Value> {
public:
    using UntestedValueOut<Value>::UntestedValueOut;

    bool valid() const { return this->value_ != nullptr; }
};

template <typename Value>
ValueOut(Value*) -> ValueOut<Value>;

// An optional value and its presence byte, either of which the caller may leave out. Like a single value it is written
// whenever the method yields one, whatever the status.
class OptionalValueOut : public Conversion {
public:
    OptionalValueOut(std::uint8_t* value, std::uint8_t* present) : value_(value), present_(present) {}

    std::optional<std::uint8_t>& pass()
    {
        setPresent(0);
        return result_;
    }

    void finish(StatusCode) const
    {
        if (!result_) {
            return;
        }
        setPresent(1);
        if (value_ != nullptr) {
            *value_ = *result_;
        }
    }

private:
    void setPresent(std::uint8_t present) const
    {
        if (present_ != nullptr) {
            *present_ = present;
        }
    }

    std::uint8_t* value_;
    std::uint8_t* present_;
    std::optional<std::uint8_t> result_;
};

// A caller's buffer, which must hold whatever comes: written on status 0 only.
class DiscardableBytesOut : public Conversion {
public:
    explicit DiscardableBytesOut(std::uint8_t* buffer) : buffer_(buffer) {}

    Bytes& pass() { return result_; }

    void finish(StatusCode status) const
    {
        if (status == StatusCode::SUCCESS && buffer_ != nullptr) {
            std::copy(result_.begin(), result_.end(), buffer_);
        }
    }

protected:
    std::uint8_t* buffer_;
    Bytes result_;
};

class BytesOut : public DiscardableBytesOut {
public:
    using DiscardableBytesOut::DiscardableBytesOut;

    bool valid() const { return buffer_ != nullptr; }
};

// The same with the number of bytes.
template <typename Length>
class CountedBytesOut : public BytesOut {
public:
    CountedBytesOut(std::uint8_t* buffer, Length* length) : BytesOut(buffer), length_(length) {}

    bool valid() const { return BytesOut::valid() && length_ != nullptr; }

    void finish(StatusCode status) const
    {
        BytesOut::finish(status);
        if (status == StatusCode::SUCCESS) {
            *length_ = static_cast<Length>(result_.size());
        }
    }

private:
    Length* length_;
};
