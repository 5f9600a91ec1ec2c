#include "process/process.hpp"

#include <algorithm>
#include <array>
#include <cerrno>
#include <poll.h>
#include <stdexcept>
#include <system_error>
#include <unistd.h>
#include <utility>

#include <fmt/format.h>
#include <fmt/ranges.h>

namespace sim {

namespace {

using namespace std::chrono_literals;
using protocol::Message;

constexpr auto START_TIME = 10s;          // interpreters are slow to start on a busy machine
constexpr std::size_t MOST_SAID = 10'000; // lines, or KiB, in a second
constexpr std::size_t READ_SIZE = 64 * 1024;

// What a program did wrong.
class Fault : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// For messages: one line, and not all of a long one.
std::string shown(std::string text)
{
    constexpr std::size_t MOST = 60;
    while (text.ends_with('\n') || text.ends_with('\r')) {
        text.pop_back();
    }
    return text.size() > MOST ? text.substr(0, MOST) + "..." : text;
}

} // namespace

Process::Process(Settings settings, World& world, Hear hear)
    : settings_(std::move(settings)), world_(world), hear_(std::move(hear))
{
}

Process::~Process() = default;

void Process::powerCycle()
{
    failed_ = false;
    if (!child_) {
        start();
    } else if (used_) {
        acknowledges(protocol::request("power_cycle"));
    }
}

void Process::reset()
{
    if (child_) {
        acknowledges(protocol::request("reset"));
    }
}

void Process::start()
{
    greeted_ = false;
    used_ = false;
    saidInSecond_ = 0;
    lines_ = {};
    answers_.clear();
    limit(START_TIME);
    try {
        child_.emplace(settings_.command);
        subscription_ = world_.watch(child_->output(), [this] { listen(); });
        write(protocol::hello(settings_.name, settings_.bus));
    } catch (const std::system_error& error) {
        fail(fmt::format("cannot be started in {}: {}", settings_.command.directory.string(), error.code().message()));
    } catch (const Fault& fault) {
        fail(fault.what());
    }
}

bool Process::acknowledges(const std::string& request)
{
    const auto answer = ask(request, R"({"ack": true} or {"ack": false})", [](const Message& message) {
        return std::holds_alternative<protocol::Acknowledgement>(message);
    });
    return answer && std::get<protocol::Acknowledgement>(*answer).given;
}

std::optional<std::vector<std::uint8_t>> Process::bytesFor(const std::string& request, std::size_t least,
                                                           std::size_t most)
{
    const std::string expected =
        least == most ? fmt::format(R"({{"bytes": [...]}} with {} bytes)", most)
                      : fmt::format(R"({{"bytes": [...]}} with up to {} bytes, or {{"ack": false}})", most);
    auto answer = ask(request, expected, [least, most](const Message& message) {
        if (const auto* const data = std::get_if<protocol::Data>(&message)) {
            return data->bytes.size() >= least && data->bytes.size() <= most;
        }
        const auto* const acknowledgement = std::get_if<protocol::Acknowledgement>(&message);
        return acknowledgement && !acknowledgement->given && least < most;
    });
    auto* const data = answer ? std::get_if<protocol::Data>(&*answer) : nullptr;
    return data ? std::optional(std::move(data->bytes)) : std::nullopt;
}

std::optional<Message> Process::ask(const std::string& request, const std::string& expected, const Fits& fits)
{
    if (!child_ && !failed_) {
        start();
    }
    if (!child_) {
        return std::nullopt;
    }
    std::optional<Message> answer;
    std::string wanted = fmt::format(R"({{"version": {}}})", protocol::VERSION);
    try {
        greet();
        wanted = expected;
        answer = exchange(request, fits);
    } catch (const Fault& fault) {
        fail(fmt::format("{} when asked {}; expected {}", fault.what(), shown(request), wanted));
    }
    tellWhatWasHeard();
    return answer;
}

void Process::greet()
{
    if (!greeted_) {
        const Answer answer = await();
        const auto* const version = std::get_if<protocol::Version>(&answer.message);
        if (!version || version->number != protocol::VERSION) {
            throw Fault(fmt::format("answered {} to the greeting", answer.line));
        }
        greeted_ = true;
    }
}

Message Process::exchange(const std::string& request, const Fits& fits)
{
    used_ = true;
    take();
    if (!answers_.empty()) {
        throw Fault(fmt::format("answered {} before it was", answers_.front().line));
    }
    limit(settings_.timeout);
    write(request);
    Answer answer = await();
    if (!fits(answer.message)) {
        throw Fault(fmt::format("answered {}", answer.line));
    }
    return std::move(answer.message);
}

void Process::limit(std::chrono::milliseconds time)
{
    limit_ = time;
    deadline_ = Clock::now() + time;
}

// A program that takes nothing may be at its end: `await` tells.
void Process::write(std::string_view bytes)
{
    while (!bytes.empty()) {
        const auto written = ::write(child_->input(), bytes.data(), bytes.size());
        if (written >= 0) {
            bytes.remove_prefix(static_cast<std::size_t>(written));
        } else if (errno == EPIPE) {
            return;
        } else if (errno == EAGAIN) {
            waitFor(true);
        }
    }
}

Process::Answer Process::await()
{
    while (answers_.empty()) {
        waitFor(false);
    }
    Answer answer = std::move(answers_.front());
    answers_.pop_front();
    return answer;
}

// It may have to get rid of what it says before it takes more.
void Process::waitFor(bool toWrite)
{
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline_ - Clock::now()).count();
    std::array<pollfd, 2> descriptors{{{child_->output(), POLLIN, 0}, {child_->input(), POLLOUT, 0}}};
    if (left <= 0) {
        throw Fault(fmt::format("took more than {} ms", limit_.count()));
    }
    ::poll(descriptors.data(), toWrite ? 2 : 1, static_cast<int>(left));
    if (descriptors[0].revents != 0) {
        take();
    }
}

void Process::take()
{
    std::array<char, READ_SIZE> buffer;
    const auto size = ::read(child_->output(), buffer.data(), buffer.size());
    if (size == 0) {
        throw Fault(child_->end());
    }
    if (size > 0 && !lines_.add({buffer.data(), static_cast<std::size_t>(size)})) {
        throw Fault(fmt::format("said a line of more than {} bytes", protocol::LONGEST_LINE));
    }
    while (const auto line = lines_.next()) {
        sort(*line);
    }
}

void Process::sort(const std::string& line)
{
    if (const auto now = Clock::now(); now - second_ > 1s) {
        second_ = now;
        saidInSecond_ = 0;
    }
    if (saidInSecond_ += 1 + line.size() / 1024; saidInSecond_ > MOST_SAID) {
        throw Fault(fmt::format("said more than {} lines, or KiB, in a second", MOST_SAID));
    }
    auto message = protocol::parse(line);
    const bool sends = message && std::holds_alternative<protocol::Sent>(*message);
    if (!message || (sends && settings_.bus != "uart")) {
        throw Fault(fmt::format("said '{}', which is no message of a device on {},", shown(line), settings_.bus));
    }
    if (sends || std::holds_alternative<protocol::Interrupt>(*message)) {
        heard_.push_back(*std::move(message));
    } else {
        answers_.push_back({*std::move(message), shown(line)});
    }
}

// Between requests.
void Process::listen()
{
    try {
        take();
        if (answers_.size() > (greeted_ ? 0 : 1)) {
            throw Fault(fmt::format("said {} without being asked", answers_.back().line));
        }
    } catch (const Fault& fault) {
        fail(fault.what());
    }
    tellWhatWasHeard();
}

// Who hears of it may, over the wires of the bench, come back to ask.
void Process::tellWhatWasHeard()
{
    if (std::exchange(telling_, true)) {
        return;
    }
    while (!heard_.empty()) {
        const Message message = std::move(heard_.front());
        heard_.pop_front();
        hear_(message);
    }
    telling_ = false;
}

void Process::fail(const std::string& why)
{
    failed_ = true;
    world_.tell(fmt::format("device '{}' ({}) {}; it acknowledges nothing until the next power cycle", settings_.name,
                            shown(fmt::format("{}", fmt::join(settings_.command.words, " "))), why));
    heard_.assign(1, protocol::Interrupt{false});
    subscription_.reset();
    if (child_) {
        child_->end();
        child_.reset();
    }
}

} // namespace sim
