#include "trace/lines/lines.hpp"

#include <algorithm>
#include <ctime>
#include <iterator>

#include <fmt/chrono.h>
#include <fmt/format.h>

#include "common/terminal.hpp"
#include "trace/protocol/text.hpp"

namespace trace {

namespace {

template <typename... Arguments>
void print(std::string& text, fmt::format_string<Arguments...> format, Arguments&&... arguments)
{
    fmt::format_to(std::back_inserter(text), format, std::forward<Arguments>(arguments)...);
}

// "02:11:04.123456"
void appendClock(std::string& text, std::int64_t time)
{
    const std::int64_t ofDay = (time / SECOND % 86'400 + 86'400) % 86'400;
    print(text, "{:02}:{:02}:{:02}.{:06}", ofDay / 3600, ofDay / 60 % 60, ofDay % 60,
          (time % SECOND + SECOND) % SECOND / MICROSECOND);
}

// "412us", "12.3ms", "1.2s", in a column.
void appendLatency(std::string& text, std::optional<std::int64_t> latency)
{
    constexpr std::int64_t LONGEST_IN_MICROSECONDS = 10 * MILLISECOND;
    constexpr std::int64_t LONGEST_IN_MILLISECONDS = 10 * SECOND;
    if (!latency) {
        print(text, "{:8}", "");
    } else if (*latency < LONGEST_IN_MICROSECONDS) {
        print(text, "{:6}us", *latency / MICROSECOND);
    } else if (*latency < LONGEST_IN_MILLISECONDS) {
        print(text, "{:6.1f}ms", static_cast<double>(*latency) / 1e6);
    } else {
        print(text, "{:7.1f}s", static_cast<double>(*latency) / 1e9);
    }
}

// What carried bytes of the frame: the padding left out.
Bytes contentOf(Bytes report)
{
    if (report.size() < 2) {
        return report;
    }
    const std::size_t count = (report[0] | static_cast<std::size_t>(report[1]) << 8) >> 2 & 0x3FF;
    return report.first(std::min(report.size(), 2 + count));
}

void appendTextOfBytes(std::string& text, const Frame& frame, char direction, bool frames, bool reports)
{
    if (frames) {
        print(text, "    {} ", direction);
        appendHex(text, frame.bytes);
        text += '\n';
    }
    if (reports) {
        for (const Segment& segment : frame.segments) {
            print(text, "    {} ", direction);
            appendClock(text, segment.time);
            text += "  ";
            appendHex(text, contentOf(segment.report));
            text += '\n';
        }
    }
}

void appendMember(std::string& json, std::string_view name, std::string_view value)
{
    if (!value.empty()) {
        print(json, ",\"{}\":", name);
        appendQuoted(json, value);
    }
}

void appendJsonOfBytes(std::string& json, const Frame& frame, std::string_view name, bool frames, bool reports)
{
    if (frames) {
        print(json, ",\"{}_frame\":\"", name);
        appendHex(json, frame.bytes);
        json += '"';
    }
    if (reports) {
        print(json, ",\"{}_reports\":[", name);
        for (const Segment& segment : frame.segments) {
            print(json, "{}{{\"time\":\"{}\",\"data\":\"", &segment == frame.segments.data() ? "" : ",",
                  timeText(segment.time));
            appendHex(json, segment.report);
            json += "\"}";
        }
        json += ']';
    }
}

void appendProgram(std::string& text, const Note& note)
{
    if (!note.program.empty() || note.process != 0) {
        print(text, " by {} ({})", note.program.empty() ? "a program" : terminal::printable(note.program),
              note.process);
    }
}

void appendError(std::string& text, const Event& event)
{
    print(text, "{} failed: {}", event.note.doing.empty() ? "something" : terminal::printable(event.note.doing),
          terminal::printable(event.note.error));
    if (!event.note.path.empty()) {
        print(text, ", {}", terminal::printable(event.note.path));
    }
    appendProgram(text, event.note);
}

void appendTorn(std::string& text, const Event& event)
{
    constexpr std::size_t SHOWN = 32; // bytes
    const Frame& frame = event.request != nullptr ? *event.request : *event.response;
    print(text, "torn {} of {} bytes: ", event.request != nullptr ? "request" : "response", frame.bytes.size());
    appendHex(text, Bytes(frame.bytes).first(std::min(frame.bytes.size(), SHOWN)));
    text += frame.bytes.size() > SHOWN ? " ..." : "";
}

double secondsOf(std::int64_t nanoseconds)
{
    return static_cast<double>(nanoseconds) / 1e9;
}

} // namespace

std::string timeText(std::int64_t time)
{
    const std::int64_t seconds = time / SECOND;
    return fmt::format("{:%Y-%m-%dT%H:%M:%S}.{:06}Z", fmt::gmtime(static_cast<std::time_t>(seconds)),
                       (time - seconds * SECOND) / MICROSECOND);
}

void LineWriter::appendLine(std::string& text, const Described& described) const
{
    const Event& event = *described.event;
    switch (event.kind) {
    case EventKind::NOTIFICATION:
        text += "notification: ";
        appendNotification(text, described.notification, event.response->bytes, described.response);
        return;
    case EventKind::TORN:
        return appendTorn(text, event);
    case EventKind::OPEN:
    case EventKind::CLOSE:
        print(text, "{} {}", nameOf(event.kind), terminal::printable(event.note.path));
        appendProgram(text, event.note);
        if (event.kind == EventKind::OPEN && !event.adapter->serial.empty()) {
            print(text, ", serial number {}", terminal::printable(event.adapter->serial));
        }
        return;
    case EventKind::ERROR:
        return appendError(text, event);
    default:
        break;
    }
    if (event.request != nullptr) {
        appendRequest(text, described.meaning, event.request->bytes, described.request);
    } else {
        print(text, "{}", described.meaning.known() ? described.meaning.form->name : "unknown command");
    }
    if (event.response != nullptr) {
        text += " -> ";
        appendResponse(text, table_, described.meaning, event.response->bytes, described.response);
    }
    switch (event.kind) {
    case EventKind::UNANSWERED:
        text += " -> no response";
        break;
    case EventKind::LATE:
        text += " (late)";
        break;
    case EventKind::UNMATCHED:
        print(text, " (no request {} is open)", headOf(event.response->bytes).id);
        break;
    default:
        break;
    }
}

void LineWriter::appendText(std::string& text, const Described& described)
{
    const Event& event = *described.event;
    if (event.kind != EventKind::ERROR) { // what cannot be opened is not one more
        first_ = first_ != nullptr ? first_ : event.adapter;
        several_ = several_ || event.adapter != first_;
    }
    appendClock(text, event.time);
    text += ' ';
    appendLatency(text, event.latency());
    text += "  ";
    if (several_) {
        print(text, "[{}] ", terminal::printable(event.adapter->name()));
    }
    appendLine(text, described);
    text += '\n';
    if (event.request != nullptr) {
        appendTextOfBytes(text, *event.request, '>', options_.frames, options_.reports);
    }
    if (event.response != nullptr) {
        appendTextOfBytes(text, *event.response, '<', options_.frames, options_.reports);
    }
}

void LineWriter::appendJson(std::string& json, const Described& described)
{
    const Event& event = *described.event;
    begin_ = begin_.value_or(event.moment);
    print(json, R"({{"schema":1,"event":"{}","time":"{}","at":{:.6f})", nameOf(event.kind), timeText(event.time),
          secondsOf(event.moment - *begin_));
    if (const auto latency = event.latency()) {
        print(json, ",\"latency\":{:.6f}", secondsOf(*latency));
    }
    appendMember(json, "adapter", event.adapter->name());
    if (described.code && event.kind != EventKind::NOTIFICATION) {
        print(json, ",\"id\":{}", headOf(event.request != nullptr ? event.request->bytes : event.response->bytes).id);
    }
    if (described.code) {
        json += ",\"code\":\"";
        appendCode(json, *described.code);
        json += '"';
    }
    appendMember(json, "family", described.family);
    appendMember(json, "command", described.command);
    if (described.code && event.request != nullptr) {
        json += ",\"request\":";
        appendFields(json, described.request);
    }
    if (described.status) {
        print(json, R"(,"status":{},"status_name":"{}")", *described.status, statusName(table_, *described.status));
    }
    if (described.code && event.response != nullptr) {
        json += event.kind == EventKind::NOTIFICATION ? ",\"fields\":" : ",\"response\":";
        appendFields(json, described.response);
    }
    appendMember(json, "path", event.note.path);
    appendMember(json, "program", event.note.program);
    if (event.note.process != 0) {
        print(json, ",\"process\":{}", event.note.process);
    }
    appendMember(json, "doing", event.note.doing);
    appendMember(json, "error", event.note.error);
    if (event.request != nullptr) {
        appendJsonOfBytes(json, *event.request, "request", options_.frames, options_.reports);
    }
    if (event.response != nullptr) {
        appendJsonOfBytes(json, *event.response, "response", options_.frames, options_.reports);
    }
    std::string line;
    appendLine(line, described);
    appendMember(json, "line", line);
    json += "}\n";
}

} // namespace trace
