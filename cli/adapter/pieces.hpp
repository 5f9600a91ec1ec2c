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

// Reads `length` bytes, the same way for every bus: `read` gets `count` bytes from the position `done` on, and `take`
// gets each piece as it comes. `label` is for the progress.
using ReadPiece = std::function<Bytes(std::uint64_t done, std::size_t count)>;
void forEachPiece(Context& context, const std::string& label, std::uint64_t length, const Carriage& carriage,
                  const ReadPiece& read, const std::function<void(const Bytes&)>& take);

// All of it at once.
Bytes readInPieces(Context& context, const std::string& label, std::uint64_t length, const Carriage& carriage,
                   const ReadPiece& read);

// The same, printed as Output::printData does. Raw, each piece is written as soon as it is there: what ends the command
// early leaves what was read, and standard error says how much that is.
void printInPieces(Context& context, const std::string& label, std::uint64_t length, const Carriage& carriage,
                   const ReadPiece& read, std::uint64_t firstOffset, const Json& fields, bool raw);

// Runs `job`. When a failure or Ctrl-C ends it early, standard error says how far it came.
void runTelling(Context& context, const std::function<void()>& job, const std::function<std::string()>& describe);

} // namespace tool
