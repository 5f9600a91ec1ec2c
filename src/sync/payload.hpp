// What a response must hold besides its status for a strict session to believe it.
#pragma once

#include <cstddef>
#include <cstdint>

#include "sync/response_frame.hpp"

// The part of a response that a command reads: `declared` bytes from `offset` on. Each function below describes one
// layout; applied to a response it yields this.
struct Payload {
    static constexpr std::size_t ANY = SIZE_MAX;

    std::size_t offset;
    std::size_t declared;
    std::size_t least; // bytes that the command's outputs need
    std::size_t most;  // bytes that were asked for

    StatusCode check(const ResponseFrame& response) const
    {
        if (response.size() < offset) { // the number that declares may be missing
            return StatusCode::RESPONSE_TOO_SHORT;
        }
        const std::size_t held = response.size() - offset;
        if (declared > most || held > most) {
            return StatusCode::UNEXPECTED_RESPONSE;
        }
        if (declared < least || held < declared) {
            return StatusCode::RESPONSE_TOO_SHORT;
        }
        return StatusCode::SUCCESS;
    }
};

// For a command that reads nothing.
inline Payload anything(const ResponseFrame&)
{
    return {0, 0, 0, Payload::ANY};
}

// Fields of fixed size that end at byte `end`; firmware may put more after them.
inline auto fieldsUpTo(std::size_t end)
{
    return [end](const ResponseFrame&) { return Payload{0, end, end, Payload::ANY}; };
}

// Exactly `count` bytes, which nothing in the response counts.
inline auto exactly(std::size_t count, std::size_t offset)
{
    return [=](const ResponseFrame&) { return Payload{offset, count, count, count}; };
}

// Those of an I2C read. The request decides how many; the firmware defines what bytes 6 to 8 of the response say.
inline auto i2cReadBytes(std::size_t count)
{
    return exactly(count, 9);
}

// As many bytes as the number at `countAt` says, `least` to `most`.
inline auto counted8(std::size_t countAt, std::size_t offset, std::size_t least, std::size_t most)
{
    return [=](const ResponseFrame& response) { return Payload{offset, response.u8(countAt), least, most}; };
}

inline auto counted16(std::size_t countAt, std::size_t offset, std::size_t least, std::size_t most)
{
    return [=](const ResponseFrame& response) { return Payload{offset, response.u16(countAt), least, most}; };
}
