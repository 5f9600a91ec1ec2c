// What a capture says of its adapters, in the order in which it can be played back.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "model/frame.hpp"
#include "ports/shared/identity.hpp"

namespace sim {

// Something that the adapter did.
struct Deed {
    enum { ANSWER, SEND, LEAVE } kind; // SEND: a notification, or an answer to no request that was open
    Frame frame{};
    std::chrono::nanoseconds after{};                   // after the end of the request, or the opening
    std::optional<std::chrono::milliseconds> absence{}; // of LEAVE; nothing for it never came back
};

// A request and what followed it. The last one of a recording has no request: only what followed an opening after all
// others.
struct Step {
    std::vector<Deed> atOpening; // by a program, before the request
    Frame request;
    bool torn = false;     // the request is only the beginning of what was to be sent, and may not come at all
    std::int64_t time = 0; // wall clock, nanoseconds since 1970
    std::vector<Deed> deeds;
};

struct Recording {
    UsbIdentity identity;
    std::vector<Step> steps; // at least the last one
};

// One for each adapter, in the order in which the capture names them. What was read before the capture's end was found
// damaged counts; `damage` then says what is wrong. Throws std::runtime_error for a file that holds no recording.
std::vector<Recording> readRecordings(const std::string& capture, std::string& damage);

} // namespace sim
