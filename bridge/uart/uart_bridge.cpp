#include "uart/uart_bridge.hpp"

#include <array>
#include <filesystem>
#include <utility>

#include <fmt/format.h>

#include "adapter/statuses.hpp"
#include "common/terminal.hpp"
#include "console/errors.hpp"
#include "console/interrupt.hpp"

namespace bridge {

namespace {

using namespace std::chrono_literals;

// No event tells of new settings.
constexpr auto PERIOD = 10ms;

// To set up an adapter that did not take the settings.
constexpr auto RETRY_PERIOD = 250ms;

// What waits for a program that has the terminal open and does not read.
constexpr std::size_t LARGEST_QUEUE = 1 << 20;

void say(const std::string& text)
{
    terminal::tell("tarvix bridge: uart: " + text);
}

} // namespace

Link::Link(std::string path, std::string target) : path_(std::move(path)), target_(std::move(target))
{
    std::error_code error;
    const std::filesystem::path leftOver = std::filesystem::read_symlink(path_, error);
    // A new terminal often gets the number of the one that has gone.
    if (leftOver.string().starts_with("/dev/pts/") && (leftOver == target_ || !std::filesystem::exists(leftOver))) {
        std::filesystem::remove(path_, error);
    }
    std::filesystem::create_symlink(target_, path_, error);
    if (error) {
        throw tool::Failure(tool::ExitStatus::REFUSED, fmt::format("--link: {}: {}", path_, error.message()),
                            "choose another place, or remove what is there");
    }
}

Link::~Link()
{
    std::error_code error;
    if (std::filesystem::read_symlink(path_, error) == target_) { // else another bridge has taken the name
        std::filesystem::remove(path_, error);
    }
}

void Incoming::receive(const Notification& notification)
{
    const auto* const uart = notification.uartRx();
    if (uart == nullptr) {
        return;
    }
    std::span<const std::uint8_t> bytes(uart->data, uart->dataLength);
    const std::lock_guard lock(mutex_);
    if (!terminal.isOpen()) {
        return; // as a serial port that nobody has open
    }
    if (waiting_.empty()) {
        bytes = bytes.subspan(terminal.write(bytes));
    }
    const auto kept = bytes.first(std::min(bytes.size(), LARGEST_QUEUE - waiting_.size()));
    waiting_.insert(waiting_.end(), kept.begin(), kept.end());
    lost_ += bytes.size() - kept.size();
}

bool Incoming::isEmpty()
{
    const std::lock_guard lock(mutex_);
    return waiting_.empty();
}

void Incoming::deliver()
{
    const std::lock_guard lock(mutex_);
    const std::size_t count = terminal.write(waiting_);
    waiting_.erase(waiting_.begin(), waiting_.begin() + static_cast<std::ptrdiff_t>(count));
}

void Incoming::drop()
{
    const std::lock_guard lock(mutex_);
    waiting_.clear();
}

void Incoming::clear()
{
    const std::lock_guard lock(mutex_);
    waiting_.clear();
    terminal.clear();
}

std::uint64_t Incoming::takeLost()
{
    const std::lock_guard lock(mutex_);
    return std::exchange(lost_, 0);
}

UartBridge::UartBridge(AdapterLink& link, const UartOptions& options)
    : link_(link),
      incoming_(std::make_shared<Incoming>(options.line)),
      terminal_(incoming_->terminal),
      line_(options.line)
{
    link_.sdk().onNotification(
        [incoming = incoming_](const Notification& notification) { incoming->receive(notification); });
    link.context().check(setUp(line_), "setting up the UART");
    if (options.link) {
        name_.emplace(*options.link, terminal_.path());
    }
}

UartBridge::~UartBridge()
{
    link_.sdk().onNotification(nullptr);
    if (link_.isUp()) {
        link_.sdk().uartDeinit();
    }
}

pollfd UartBridge::awaited()
{
    if (closed_) {
        return {terminal_.openings(), POLLIN, 0};
    }
    const int events = (link_.isUp() && isSetUp() ? POLLIN : 0) | (incoming_->isEmpty() ? 0 : POLLOUT);
    return {events == 0 ? -1 : terminal_.descriptor(), static_cast<short>(events), 0};
}

std::optional<std::chrono::milliseconds> UartBridge::period() const
{
    return closed_ ? std::nullopt : std::optional<std::chrono::milliseconds>(PERIOD);
}

void UartBridge::serve(short events)
{
    if (closed_ && events != 0) {
        terminal_.forgetOpenings();
        closed_ = false;
    }
    deliver();
    if (!closed_ && link_.isUp()) {
        followTerminal();
        if (isSetUp()) {
            transmit();
        }
    }
}

void UartBridge::finish()
{
    while (link_.isUp()) {
        tool::throwIfInterrupted();
        followTerminal();
        if (!isSetUp() || !transmit()) {
            return;
        }
    }
}

void UartBridge::deliver()
{
    if (!terminal_.isOpen()) {
        incoming_->drop();
    }
    incoming_->deliver();
    if (const std::uint64_t lost = incoming_->takeLost(); lost != 0) {
        say(fmt::format("{} received bytes lost: no program reads {}", lost, terminal_.path()));
    }
}

void UartBridge::followTerminal()
{
    const TerminalSettings wanted = terminalSettings(terminal_.descriptor());
    if (wanted == seen_ && (isSetUp() || std::chrono::steady_clock::now() < nextAttempt_)) {
        return;
    }
    while (isSetUp() && meantForLine_ > 0 && transmit(meantForLine_)) {
        tool::throwIfInterrupted();
    }
    const tool::LineOptions line = follow(line_, wanted);
    if (wanted.rate != line.baud.rate && wanted.rate != 0) {
        say(fmt::format("the adapter does not have {} baud: staying at {}", wanted.rate, line.baud.rate));
    }
    if (line != line_ || !isSetUp()) {
        const StatusCode status = setUp(line);
        if (status != StatusCode::SUCCESS && (status != failure_ || wanted != seen_)) {
            say(fmt::format("setting the line to {}: {}", tool::describe(line), tool::nameOf(status)));
        }
        failure_ = status;
        nextAttempt_ = std::chrono::steady_clock::now() + RETRY_PERIOD;
    }
    seen_ = wanted;
    // A program that asks gets to know what it has, unless one has set something else meanwhile.
    const TerminalSettings has = settingsOf(line_);
    if (wanted != has && terminalSettings(terminal_.descriptor()) == wanted) {
        setTerminal(terminal_.descriptor(), line_);
        seen_ = has;
    }
}

StatusCode UartBridge::setUp(const tool::LineOptions& line)
{
    const StatusCode status = link_.sdk().uartInit(line.baud.number, line.handshake, line.parity, line.bits, line.stop);
    generation_ = 0; // it may have taken them all the same
    if (status == StatusCode::SUCCESS) {
        line_ = line;
        generation_ = link_.generation();
    }
    return status;
}

bool UartBridge::transmit(std::size_t most)
{
    std::array<std::uint8_t, 1 + 1024> buffer; // a byte of the terminal's own stands before
    const std::size_t size = 1 + std::min({most, tool::largestPiece(line_), buffer.size() - 1});
    PseudoTerminal::Written written = terminal_.read(std::span(buffer).first(size));
    if (written.kind == PseudoTerminal::Written::CLOSED) {
        incoming_->clear();
        do { // past what tells of that; or a program has written since, and its opening is forgotten
            written = terminal_.read(std::span(buffer).first(size));
        } while (written.kind == PseudoTerminal::Written::FLUSHED);
        closed_ = written.kind == PseudoTerminal::Written::CLOSED;
    }
    if (written.kind == PseudoTerminal::Written::FLUSHED) {
        incoming_->drop();
    }
    if (written.bytes.empty()) {
        return written.kind == PseudoTerminal::Written::BYTES || written.kind == PseudoTerminal::Written::FLUSHED;
    }
    const std::size_t waiting = terminal_.waiting(); // looked at before the settings, so written before they change
    const bool unchanged = terminalSettings(terminal_.descriptor()) == seen_;
    meantForLine_ = unchanged ? waiting : meantForLine_ - std::min(meantForLine_, written.bytes.size());
    const StatusCode status = link_.sdk().uartSendMessage({written.bytes.begin(), written.bytes.end()});
    if (status != StatusCode::SUCCESS) {
        say(fmt::format("sending {} bytes: {}", written.bytes.size(), tool::nameOf(status)));
    }
    return status == StatusCode::SUCCESS;
}

} // namespace bridge
