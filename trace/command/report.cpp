#include "trace/command/report.hpp"

#include <cerrno>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <utility>

#include <fmt/format.h>

#include "arguments/options.hpp"
#include "console/errors.hpp"
#include "trace/command/presenter.hpp"
#include "trace/command/reading.hpp"
#include "trace/conversation/conversation.hpp"
#include "trace/lines/described.hpp"
#include "trace/lines/lines.hpp"
#include "trace/report/page.hpp"

namespace trace {

namespace {

namespace fs = std::filesystem;

using namespace tool;

struct ReportOptions {
    std::string capture;
    std::string page; // empty for the capture's name with .html
    std::chrono::milliseconds patience = PATIENCE;
};

// A page in the making, and what can be said of it in a line.
class PageMaker {
public:
    explicit PageMaker(const ReportOptions& options)
        : page_(fs::path(options.capture).filename()),
          conversation_(table_, {.patience = options.patience.count() * MILLISECOND},
                        [this](const Event& event) { add(event); })
    {
    }

    void take(const Record& record)
    {
        if (!std::exchange(begun_, true)) {
            lines_.beginAt(record.moment);
        }
        conversation_.take(record);
    }

    // Nothing more is to come. Returns false when there was no traffic of an adapter, of which there is no page.
    bool end(const CaptureError* damage)
    {
        conversation_.end();
        if (damage != nullptr) {
            page_.addDamage(damage->what());
        }
        return conversation_.hasAdapters();
    }

    std::string html() { return page_.html(); }
    std::size_t events() const { return events_; }
    std::size_t errors() const { return errors_; }

private:
    void add(const Event& event)
    {
        describe(table_, event, described_);
        text_.clear();
        lines_.appendJson(text_, described_);
        page_.add(nlohmann::ordered_json::parse(text_));
        ++events_;
        errors_ += described_.failed() ? 1 : 0;
    }

    const Table& table_ = Table::builtIn();
    ReportPage page_;
    LineWriter lines_{table_, {.frames = true}};
    Conversation conversation_;
    Described described_;
    std::string text_;
    bool begun_ = false;
    std::size_t events_ = 0;
    std::size_t errors_ = 0;
};

std::string pathOfPage(const ReportOptions& options)
{
    if (!options.page.empty()) {
        return options.page;
    }
    if (options.capture == "-") {
        throw UsageError("missing --output", "standard input has no name that the page could have");
    }
    return fs::path(options.capture).replace_extension(".html");
}

void writeFile(const std::string& path, const std::string& text)
{
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    if (!(file << text).flush()) {
        throw Failure(ExitStatus::REFUSED, fmt::format("cannot write {}: {}", path, std::strerror(errno)));
    }
}

void report(Context& context, const ReportOptions& options)
{
    const std::string path = pathOfPage(options);
    if (std::error_code error; fs::equivalent(path, options.capture, error)) {
        throw UsageError(fmt::format("the page would overwrite {}", path), "name another file with --output");
    }
    PageMaker maker(options);
    readCapture(
        options.capture, [&](const Record& record) { maker.take(record); },
        [&](const CaptureError* damage) {
            if (!maker.end(damage)) {
                return false;
            }
            writeFile(path, maker.html());
            context.output().print(
                fmt::format("{}: {} events, {} of them errors", path, maker.events(), maker.errors()),
                {{"file", path}, {"events", maker.events()}, {"errors", maker.errors()}});
            return true;
        });
}

} // namespace

void addReportCommand(Commands& commands)
{
    auto [app, options] =
        commands.add("report", "Make a page of a trace, to look at in a browser and to pass on", report,
                     {"tarvix trace -o run.pcap -- tarvix i2c scan; tarvix trace report run.pcap",
                      "tarvix trace -o run.pcap -- tarvix gpio get 3 4; tarvix trace report run.pcap -o report.html"},
                     "The page is one file that needs no other and no network. It holds every byte that went\n"
                     "over the wire.");
    addText(app, "FILE", options.capture, "Trace, or a capture of the kernel's usbmon; - is standard input").required();
    addText(app, "-o,--output", options.page, "The page to make, instead of the trace's name with .html")
        .valueName("FILE");
    addPatienceOption(app, options.patience);
}

} // namespace trace
