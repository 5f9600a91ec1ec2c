// What all commands that print events as they arrive have in common.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string_view>

#include "adapter/notifications.hpp"
#include "arguments/options.hpp"

namespace tool {

struct StreamOptions {
    std::optional<std::uint64_t> count;
    std::optional<std::chrono::milliseconds> idleTimeout;
    bool banner = false;
};

void addStreamOptions(CLI::App& app, StreamOptions& options);

// Where the events come from: NotificationStream::next, as a rule.
using NextEvent = std::function<std::optional<Event>(std::optional<std::chrono::milliseconds> idleTimeout)>;

// Hands events over until `print` has printed `count` of them or none came for the idle timeout. `print` returns
// whether the event was one of its own. `banner` says what is armed ("watching pin 3").
void follow(const NextEvent& next, const StreamOptions& options, std::string_view banner,
            const std::function<bool(const Event&)>& print);

void follow(NotificationStream& stream, const StreamOptions& options, std::string_view banner,
            const std::function<bool(const Event&)>& print);

} // namespace tool
