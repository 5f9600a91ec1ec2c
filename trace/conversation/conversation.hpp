// What a capture's records add up to: who asked which adapter what, and what came of it. Records go in one by one,
// events come out as soon as they are certain; what is kept meanwhile is what is open.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "trace/capture/record.hpp"
#include "trace/conversation/frames.hpp"
#include "trace/protocol/table.hpp"

namespace trace {

enum class EventKind {
    EXCHANGE,     // a request and its response, or a request that gets none
    NOTIFICATION, // what the adapter said unasked
    UNANSWERED,   // a request that was given up: see Conversation
    LATE,         // the response to such a request
    UNMATCHED,    // a response to no request that is open
    TORN,         // segments that do not make a frame
    OPEN,         // a program opened the adapter ...
    CLOSE,        // ... or closed it
    ERROR,        // opening, reading or writing failed
};

const char* nameOf(EventKind kind);

// An adapter, by its place on the bus.
struct Adapter {
    std::uint16_t bus = 0;
    std::uint8_t device = 0;
    std::string serial;         // empty until it is known
    std::string manufacturer{}; // likewise
    std::string product{};      // likewise
    std::size_t reportSize = 0; // 0 until it is known

    std::string place() const; // bus and device: "1-5"

    // The serial number or, as long as that is not known, the place.
    std::string name() const { return serial.empty() ? place() : serial; }
};

// What a note says of a program; empty where it does not.
struct Note {
    std::string path;
    std::string program;
    std::int64_t process = 0;
    std::string doing; // with ERROR: "open", "read" or "write"
    std::string error; // likewise, its text
    bool lost = false; // likewise: the adapter is gone
};

struct Event {
    EventKind kind;
    const Adapter* adapter;
    std::int64_t time = 0;           // wall clock: when it began
    std::int64_t moment = 0;         // the same in the clock for differences
    const Frame* request = nullptr;  // null for none
    const Frame* response = nullptr; // likewise; also a notification, and what is torn on the way to the host
    Note note{};

    // From the request's first segment to the response's last; with both only.
    std::optional<std::int64_t> latency() const
    {
        return request != nullptr && response != nullptr ? std::optional(response->end - request->begin) : std::nullopt;
    }
};

// A request counts as given up when a response to a later request comes first, when the program sends another after it
// has heard nothing for `patience`, when its adapter is closed, and at the end. If its response comes after all, that
// is late.
class Conversation {
public:
    struct Options {
        std::int64_t patience = 100 * MILLISECOND;
        bool keepSegments = false;
    };
    // Gets each event; what it points to is valid during the call only, but for the adapter, which stays as long as the
    // conversation.
    using Sink = std::function<void(const Event& event)>;

    Conversation(const Table& table, Options options, Sink sink);
    ~Conversation();
    Conversation(const Conversation&) = delete;
    Conversation& operator=(const Conversation&) = delete;

    void take(const Record& record);

    // Nothing more is to come.
    void end();

    // Whether there was any traffic of an adapter.
    bool hasAdapters() const;

private:
    class Device;

    Device& deviceOf(const Record& record);

    const Table& table_;
    const Options options_;
    const Sink sink_;
    std::map<std::pair<std::uint16_t, std::uint8_t>, std::unique_ptr<Device>> devices_;
};

} // namespace trace
