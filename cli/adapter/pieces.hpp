// Long reads, cut into pieces that keep the link busy and still let Ctrl-C and the progress in.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

#include "adapter/context.hpp"
#include "arguments/data.hpp"

namespace tool {

// How a bus and its commands carry the bytes of a read.
struct Carriage {
    std::uint32_t clock;        // Hz
    unsigned clocksPerByte;     // on the bus
    std::size_t answerOverhead; // bytes of an answer that are not the read's
};

// The most bytes to ask for at once: their answer fills whole reports, not more than an operating system keeps unread,
// and their time on the bus is short beside human patience and `timeout`.
std::size_t pieceSize(const Carriage& carriage, std::size_t reportSize, std::chrono::milliseconds timeout);

// Reads `length` bytes, the same way for every bus: `read` gets `count` bytes from the position `done` on. `label` is
// for the progress.
Bytes readInPieces(Context& context, const std::string& label, std::uint64_t length, const Carriage& carriage,
                   const std::function<Bytes(std::uint64_t done, std::size_t count)>& read);

} // namespace tool
