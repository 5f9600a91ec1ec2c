#include "commands/uart/terminal.hpp"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <system_error>

#include <fcntl.h>
#include <fmt/format.h>
#include <nlohmann/json.hpp>
#include <unistd.h>

#include "adapter/notifications.hpp"
#include "arguments/choices.hpp"
#include "arguments/data.hpp"
#include "arguments/options.hpp"
#include "arguments/pattern.hpp"
#include "arguments/transfers.hpp"
#include "commands/uart/keys.hpp"
#include "commands/uart/line.hpp"
#include "common/terminal.hpp"
#include "console/errors.hpp"
#include "console/interrupt.hpp"
#include "console/raw_terminal.hpp"
#include "console/text.hpp"
#include "console/visible_text.hpp"
#include "console/waiting.hpp"

namespace tool {

namespace {

const Choices<SentLineEnd> SENT_LINE_ENDS{
    {"as-is", SentLineEnd::AS_IS}, {"cr", SentLineEnd::CR}, {"lf", SentLineEnd::LF}, {"crlf", SentLineEnd::CRLF}};
const Choices<ReceivedLineEnd> RECEIVED_LINE_ENDS{
    {"as-is", ReceivedLineEnd::AS_IS}, {"cr", ReceivedLineEnd::CR}, {"crlf", ReceivedLineEnd::CRLF}};

struct TerminalOptions {
    LineOptions line;
    SentLineEnd sendMap = SentLineEnd::AS_IS;
    ReceivedLineEnd receiveMap = ReceivedLineEnd::AS_IS;
    bool echo = false;
    bool hex = false;
    bool raw = false;
    std::optional<std::string> log;
    std::optional<std::string> until;
    std::chrono::milliseconds idleTimeout{1000};
};

// What was received, as it came, at the end of a file.
class Log {
public:
    // `dry`: nothing will come, and no file is made.
    Log(const std::optional<std::string>& file, bool dry) : file_(file.value_or(""))
    {
        if (file) {
            requireFilesAllowed("--log", file_);
            descriptor_ = ::open(dry ? "/dev/null" : file_.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0666);
            if (descriptor_ < 0) {
                throw UsageError(describeError());
            }
        }
    }
    ~Log()
    {
        if (descriptor_ >= 0) {
            ::close(descriptor_);
        }
    }
    Log(const Log&) = delete;
    Log& operator=(const Log&) = delete;

    void add(std::span<const std::uint8_t> bytes) const
    {
        while (descriptor_ >= 0 && !bytes.empty()) {
            const ssize_t count = ::write(descriptor_, bytes.data(), bytes.size());
            if (count < 0 && errno != EINTR) {
                throw Failure(ExitStatus::REFUSED, describeError());
            }
            bytes = bytes.subspan(static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
        }
    }

private:
    std::string describeError() const
    {
        return fmt::format("--log: {}: {}", file_, std::generic_category().message(errno));
    }

    std::string file_;
    int descriptor_ = -1;
};

// Standard output: what comes, in the form that was asked for.
class View {
public:
    View(Output& output, const TerminalOptions& options)
        : output_(output), options_(options), lineEnds_(options.receiveMap)
    {
    }

    void show(const Event& event)
    {
        if (output_.json()) {
            output_.printEvent({}, {{"time", timeText(event.time)}, {"data", toHex(event.data)}});
        } else if (options_.hex) {
            output_.write(hexdump(event.data, offset_));
            offset_ += event.data.size();
        } else if (options_.raw) {
            output_.write(lineEnds_.add(event.data));
        } else {
            output_.write(text_.add(lineEnds_.add(event.data)));
        }
    }

    // The end of a typed line begins a new one.
    void echo(std::span<const std::uint8_t> typed)
    {
        output_.write(echoed_.add(withLineEnds(typed, '\r', SentLineEnd::LF)));
    }

    // What waited for more that would have belonged to it.
    void end()
    {
        const Bytes last = lineEnds_.end();
        output_.write(options_.raw ? std::string(last.begin(), last.end()) : text_.add(last) + text_.end());
    }

private:
    Output& output_;
    const TerminalOptions& options_;
    LineEndReader lineEnds_;
    VisibleText text_;
    VisibleText echoed_;
    std::uint64_t offset_ = 0;
};

// Both ways between the line and the user.
class Session {
public:
    Session(Context& context, const TerminalOptions& options, std::optional<Search>& until)
        : context_(context),
          options_(options),
          until_(until),
          log_(options.log, context.output().muted()),
          view_(context.output(), options)
    {
    }

    // Until the user leaves, the text came, or the line is silent after the end of the input.
    void run()
    {
        NotificationStream stream(context_);
        setUpLine(context_, options_.line);
        std::optional<RawTerminal> rawTerminal;
        if (isTyped_) {
            terminal::tell(fmt::format("tarvix: {} baud; {}", options_.line.baud.rate, KEYS_HELP));
            rawTerminal.emplace(options_.raw);
        }
        while (!found()) {
            if (!inputEnded_ && isReadable(STDIN_FILENO)) {
                takeInput();
                if (left_) {
                    break;
                }
            }
            const auto event = inputEnded_ ? stream.next(options_.idleTimeout) : stream.next({}, STDIN_FILENO);
            if (event && isReceived(*event)) {
                receive(*event);
            } else if (!event && inputEnded_) {
                break;
            }
        }
        view_.end();
    }

    bool left() const { return left_; }

private:
    bool found() const { return until_ && until_->match(); }

    void receive(const Event& event)
    {
        log_.add(event.data);
        view_.show(event);
        if (until_) {
            until_->add(event.data);
        }
    }

    void takeInput()
    {
        std::uint8_t buffer[1024];
        // Line ends may double, and what comes is to be shown meanwhile.
        const std::size_t most = std::min(sizeof buffer, largestPiece(options_.line)) / 2;
        const ssize_t count = read(STDIN_FILENO, buffer, most);
        if (count > 0) {
            take({buffer, static_cast<std::size_t>(count)});
        } else if (count == 0 || (isTyped_ && errno == EIO)) {
            inputEnded_ = true;
        } else if (errno != EINTR && errno != EAGAIN) {
            throw UsageError(fmt::format("standard input: {}", std::generic_category().message(errno)));
        }
    }

    void take(std::span<const std::uint8_t> input)
    {
        Keys::Typed typed{.bytes = {input.begin(), input.end()}};
        if (isTyped_) {
            typed = keys_.add(input);
        }
        if (options_.echo) {
            view_.echo(typed.bytes);
        }
        send(context_, options_.line, withLineEnds(typed.bytes, isTyped_ ? '\r' : '\n', options_.sendMap));
        left_ = typed.action == Keys::Action::LEAVE;
        if (typed.action == Keys::Action::HELP) {
            terminal::writeError(fmt::format("\r\n{}\r\n", KEYS_HELP));
        }
    }

    Context& context_;
    const TerminalOptions& options_;
    std::optional<Search>& until_;
    Log log_;
    View view_;
    Keys keys_;
    const bool isTyped_ = isatty(STDIN_FILENO) == 1;
    bool inputEnded_ = false;
    bool left_ = false;
};

void runTerminal(Context& context, const TerminalOptions& options)
{
    if (int{options.raw} + int{options.hex} + int{context.output().json()} > 1 ||
        (options.echo && context.output().json())) {
        throw UsageError("--raw, --hex and --json, and --echo and --json, cannot be combined", "use one of them");
    }
    std::optional<Search> until;
    if (options.until) {
        until.emplace("--until", *options.until);
    }
    Session session(context, options, until);
    session.run();
    if (until && !until->match() && !session.left()) {
        throw Failure(ExitStatus::NO_ANSWER,
                      fmt::format("'{}' did not come before the line was silent for {} ms", *options.until,
                                  options.idleTimeout.count()),
                      "raise --idle-timeout");
    }
}

} // namespace

void addUartTerminal(Commands& uart)
{
    auto [app, options] = uart.add<TerminalOptions>(
        "terminal", "Talk to the device: what is typed goes out, what comes is shown", runTerminal,
        {"tarvix uart terminal --baud 9600 --send-map crlf", R"(printf 'AT\r' | tarvix uart terminal --until AT)",
         "printf 'one\\ntwo\\n' | tarvix uart terminal --log session.log --hex --idle-timeout 200ms"},
        "C-a C-x leaves, C-a C-a sends C-a, C-a C-h lists the keys; all others, C-c too, go to\n"
        "the device. With input from a pipe or a file it is a filter: it sends the input, shows\n"
        "what comes, and ends when the line is silent.\n\n"
        "Of the control characters that come, CR, LF, TAB, BS and BEL are let through, and so is\n"
        "UTF-8; all else is shown as \\x1b. --raw lets everything through, so that the device\n"
        "can do to your terminal what it likes.");
    addChoice(app, "--send-map", options.sendMap, SENT_LINE_ENDS, "What the Enter key, or an LF from a pipe, sends");
    addChoice(app, "--receive-map", options.receiveMap, RECEIVED_LINE_ENDS, "What ends a line that comes, shown as LF");
    addFlag(app, "--echo", options.echo, "Show what is typed");
    addFlag(app, "--hex", options.hex, "Show what comes as a hexdump");
    addRaw(app, options.raw);
    addText(app, "--log", options.log, "Append what comes, as it is, to this file").valueName("FILE");
    addText(app, "--until", options.until, fmt::format("End when this came, {}", PATTERN_HELP));
    addPeriod(app, "--idle-timeout", options.idleTimeout, PERIOD,
              "End after this much silence, once the input has ended; with status 6 if --until is still to come");
    addLineOptions(app, options.line);
}

} // namespace tool
