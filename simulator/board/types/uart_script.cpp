#include "board/types/uart_script.hpp"

#include <regex>

#include <fmt/format.h>

#include "devices/uart_script.hpp"

namespace sim {

namespace {

constexpr std::size_t MOST_ENTRIES = 1000;
constexpr std::size_t MOST_BYTES = 0xFFFF;

std::string textOf(const std::vector<std::uint8_t>& bytes)
{
    return {bytes.begin(), bytes.end()};
}

// A line, or a regex between slashes. Without back-references it is matched without backtracking: the host could
// otherwise choose lines that take forever.
std::function<bool(const std::string&)> readPattern(const Node& node)
{
    const std::string text = node.text();
    if (text.size() < 2 || text.front() != '/' || text.back() != '/') {
        return [text](const std::string& line) { return line == text; };
    }
    try {
        const std::regex regex(text.substr(1, text.size() - 2),
                               std::regex::ECMAScript | std::regex_constants::__polynomial);
        return [regex](const std::string& line) { return std::regex_match(line, regex); };
    } catch (const std::regex_error& error) {
        node.fail(fmt::format("'{}' is not a regex that can be used: {}; write one in ECMAScript's syntax without "
                              "back-references",
                              text, error.what()));
    }
}

// What is sent: `lines` with the line ending after each, or `send` as it is.
std::string readText(Object& object, const std::string& lineEnd)
{
    const auto lines = object.find("lines");
    const auto send = object.find("send");
    if (lines.has_value() == send.has_value()) {
        object.node().fail("give either 'lines' or 'send'");
    }
    if (send) {
        return textOf(send->bytes(MOST_BYTES));
    }
    std::string text;
    for (const Node& line : lines->items(0, MOST_ENTRIES)) {
        text += line.text() + lineEnd;
    }
    return text;
}

UartScript::Duration readTime(Object& object, const std::string& key)
{
    constexpr double LONGEST_MS = 3'600'000;
    const auto time = object.find(key);
    return time ? time->milliseconds(LONGEST_MS) : UartScript::Duration{};
}

UartScript::Reply readReply(const Node& node, const std::string& lineEnd)
{
    Object object(node);
    UartScript::Reply reply{.fits = readPattern(object.get("to")), .text = {}, .after = readTime(object, "after_ms")};
    reply.text = readText(object, lineEnd);
    object.end();
    return reply;
}

UartScript::Timer readTimer(const Node& node, const std::string& lineEnd)
{
    Object object(node);
    const auto every = readTime(object, "every_ms");
    if (const auto given = object.find("every_ms"); given && every < std::chrono::milliseconds(1)) {
        given->fail("the shortest period is 1 ms");
    }
    const auto after = object.find("after_ms") ? readTime(object, "after_ms") : every;
    UartScript::Timer timer{.first = after, .every = every, .text = readText(object, lineEnd)};
    object.end();
    return timer;
}

} // namespace

void readUartScript(Object& object, DeviceBoard<UartPeer>& board)
{
    const auto script = std::make_shared<UartScript::Script>();
    const auto ends = object.find("ends");
    script->ends = ends ? textOf(ends->bytes(256)) : "\r\n";
    const auto given = object.find("line_end");
    const std::string lineEnd = given ? given->text() : "\r\n";
    const auto echoes = object.find("echo");
    script->echoes = echoes && echoes->flag();
    if (const auto replies = object.find("replies")) {
        for (const Node& reply : replies->items(0, MOST_ENTRIES)) {
            script->replies.push_back(readReply(reply, lineEnd));
        }
    }
    if (const auto timers = object.find("timers")) {
        for (const Node& timer : timers->items(0, MOST_ENTRIES)) {
            script->timers.push_back(readTimer(timer, lineEnd));
        }
    }
    board.make = [script](World& world) { return std::make_unique<UartScript>(script, world); };
}

} // namespace sim
