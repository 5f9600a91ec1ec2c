// An event with its frames decoded: what filters, lines and statistics look at.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "trace/conversation/conversation.hpp"
#include "trace/protocol/decoder.hpp"

namespace trace {

struct Described {
    const Event* event = nullptr;
    Meaning meaning;                            // of requests and responses
    const Notification* notification = nullptr; // null also for one that the table does not have
    Decoded request;
    Decoded response; // or the notification
    std::optional<std::uint16_t> code{};
    std::optional<std::uint16_t> status{}; // of responses
    std::string_view family{};             // empty for what has none
    std::string_view command{};            // likewise: "i2c read", "gpio interrupt", "unknown"

    // Anything but an exchange that went well, what the adapter says unasked, and opening and closing.
    bool failed() const;
};

// Decodes into `described`, whose memory is used again. It points into the event.
void describe(const Table& table, const Event& event, Described& described);

} // namespace trace
