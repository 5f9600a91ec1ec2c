// Traces: a capture file of any bytes, or any conversation record by record.
#include <cstring>
#include <sstream>

#include <nlohmann/json.hpp>

#include "fuzz.hpp"
#include "ports/shared/utf8.hpp"
#include "trace/capture/reader.hpp"
#include "trace/lines/filter.hpp"
#include "trace/lines/lines.hpp"
#include "trace/lines/statistics.hpp"

namespace trace {

namespace {

// What `tarvix trace show` does with records, and what must hold of what comes of them.
class Shown {
public:
    // Whether the records' clock never goes back.
    explicit Shown(bool inOrder) : inOrder_(inOrder) {}

    void take(const Record& record)
    {
        fuzz::touch(record.data);
        conversation_.take(record);
    }

    void end()
    {
        conversation_.end();
        fuzz::require(given_ <= asked_, "what was given up had been asked");
        checkText(statistics_.text());
        checkLines(statistics_.json());
    }

private:
    void print(const Event& event)
    {
        asked_ += event.kind == EventKind::UNANSWERED ? 1 : 0;
        given_ += event.kind == EventKind::LATE ? 1 : 0;
        fuzz::require(!event.latency() || *event.latency() >= 0 || !inOrder_, "no response before its request");
        describe(table_, event, described_);
        filter_.wants(described_);
        statistics_.add(described_);
        std::string text;
        lines_.appendText(text, described_);
        checkText(text);
        std::string json;
        lines_.appendJson(json, described_);
        checkLines(json);
    }

    static void checkText(const std::string& text)
    {
        for (const char c : text) {
            fuzz::require(c == '\n' || static_cast<unsigned char>(c) >= 0x20, "a terminal is told nothing");
        }
        fuzz::require(sim::fromUtf8(text).has_value(), "text is UTF-8");
    }
    static void checkLines(const std::string& lines)
    {
        std::istringstream stream(lines);
        for (std::string line; std::getline(stream, line);) {
            fuzz::require(nlohmann::json::accept(line), "each line is an object");
            fuzz::require(std::ranges::all_of(line, [](char c) { return c >= 0x20 && c < 0x7F; }), "JSON is ASCII");
        }
    }

    const Table& table_ = Table::builtIn();
    Filter filter_{.families = {"i2c"}, .addresses = {0x48}, .failed = true};
    LineWriter lines_{table_, {true, true}};
    Statistics statistics_{table_};
    Described described_;
    std::uint64_t asked_ = 0;
    std::uint64_t given_ = 0;

    const bool inOrder_;
    Conversation conversation_{table_, {100 * MILLISECOND, true}, [this](const Event& event) { print(event); }};
};

void readFile(fuzz::Input& input)
{
    ::Bytes bytes = input.rest();
    std::FILE* const file = bytes.empty() ? nullptr : fmemopen(bytes.data(), bytes.size(), "rb");
    if (file == nullptr) {
        return;
    }
    Shown shown(false);
    try {
        CaptureReader reader(file, "capture");
        for (Record record; reader.next(record);) {
            shown.take(record);
        }
    } catch (const CaptureError& error) {
        fuzz::require(std::strstr(error.what(), "capture") != nullptr, "an error says what is wrong");
    }
    shown.end();
}

void converse(fuzz::Input& input)
{
    Shown shown(true);
    Record record;
    for (int left = 40; left > 0 && !input.empty(); --left) {
        const std::uint8_t what = input.u8();
        const std::uint8_t endpoint = (what & 1) != 0 ? REPORT_IN : REPORT_OUT;
        ::Bytes data = input.counted();
        record.header = {};
        record.header.device = what >> 6;
        record.header.transfer = INTERRUPT;
        record.header.event = endpoint == REPORT_IN ? COMPLETED : SUBMITTED;
        record.header.endpoint = endpoint;
        record.cut = false;
        switch (what >> 1 & 7) {
        case 0: // a frame in one report
            data.insert(data.begin(),
                        {static_cast<std::uint8_t>(data.size() << 2 | 3), static_cast<std::uint8_t>(data.size() >> 6)});
            data.resize(data.size() <= 64 ? 64 : 1024);
            break;
        case 1: // a report
            data.resize(64);
            break;
        case 2: // a report of any size, cut perhaps
            record.cut = !data.empty() && data[0] == 0;
            break;
        case 3:
            record.header.event = COMPLETED;
            record.header.status = -static_cast<std::int32_t>(data.size());
            break;
        case 4: // a note
            record.header.transfer = CONTROL;
            record.header.setup[0] = NOTE_TYPE;
            record.header.setup[1] = NOTE_REQUEST;
            break;
        case 5: // a control transfer: its setup packet, its data
            record.header.transfer = CONTROL;
            data.resize(std::max(data.size(), sizeof record.header.setup));
            std::memcpy(record.header.setup, data.data(), sizeof record.header.setup);
            break;
        default: // time passes
            record.time += MILLISECOND * static_cast<std::int64_t>(data.size());
            record.moment = record.time;
            continue;
        }
        record.data = data;
        shown.take(record);
    }
    shown.end();
}

} // namespace

} // namespace trace

void fuzz::run(Input input)
{
    (input.u8() == 0 ? trace::readFile : trace::converse)(input);
}
