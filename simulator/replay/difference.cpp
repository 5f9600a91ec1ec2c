#include "replay/difference.hpp"

#include <algorithm>
#include <fmt/format.h>
#include <iterator>

#include "trace/lines/lines.hpp"
#include "trace/protocol/text.hpp"

namespace sim {

namespace {

constexpr std::size_t BYTES_IN_ROW = 16;
constexpr std::size_t MOST_ROWS = 4;

bool differsAt(const Frame& expected, const Frame& received, std::size_t index)
{
    const bool inBoth = index < expected.size() && index < received.size();
    return index >= ID_SIZE && (!inBoth || expected[index] != received[index]);
}

void appendRow(std::string& text, const char* title, const Frame& frame, std::size_t begin)
{
    text += title;
    text += frame.size() <= begin ? " nothing" : "";
    for (std::size_t i = begin; i < std::min(frame.size(), begin + BYTES_IN_ROW); ++i) {
        text += i < ID_SIZE ? " --" : fmt::format(" {:02x}", frame[i]);
    }
    text += '\n';
}

// Rows of bytes that differ, the first few.
void appendBytes(std::string& text, const Frame& expected, const Frame& received)
{
    std::size_t rows = 0;
    const std::size_t size = std::max(expected.size(), received.size());
    for (std::size_t begin = 0; begin < size; begin += BYTES_IN_ROW) {
        std::string marks;
        for (std::size_t i = begin; i < std::min(size, begin + BYTES_IN_ROW); ++i) {
            marks += differsAt(expected, received, i) ? " ^^" : "   ";
        }
        const std::size_t end = marks.find_last_not_of(' ') + 1;
        if (end == 0) {
            continue;
        }
        if (++rows > MOST_ROWS) {
            text += "  and more after that\n";
            return;
        }
        fmt::format_to(std::back_inserter(text), "  from byte {} on:\n", begin);
        appendRow(text, "  expected ", expected, begin);
        appendRow(text, "  received ", received, begin);
        fmt::format_to(std::back_inserter(text), "{:11}{}\n", "", marks.substr(0, end));
    }
}

} // namespace

std::string requestText(const Frame& request)
{
    std::string text;
    trace::Decoded decoded;
    const trace::Meaning meaning = trace::decodeRequest(trace::Table::builtIn(), request, decoded);
    trace::appendRequest(text, meaning, request, decoded);
    return text;
}

std::string differenceAt(const std::vector<Step>& steps, std::size_t index, const Frame& received)
{
    const std::size_t recorded = steps.size() - 1;
    if (index == recorded) {
        return fmt::format("request {} is not in the recording, which has {}\n  received  {}", index + 1, recorded,
                           requestText(received));
    }
    const Frame& expected = steps[index].request;
    std::string text =
        fmt::format("request {} of {} differs from the recording, {}\n  expected  {}\n  received  {}\n", index + 1,
                    recorded, trace::timeText(steps[index].time), requestText(expected), requestText(received));
    appendBytes(text, expected, received);
    text.pop_back();
    return text;
}

std::string missingFrom(const std::vector<Step>& steps, std::size_t index)
{
    return fmt::format("request {} of {} has not come, recorded at {}\n  expected  {}", index + 1, steps.size() - 1,
                       trace::timeText(steps[index].time), requestText(steps[index].request));
}

} // namespace sim
