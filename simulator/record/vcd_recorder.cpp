#include "record/vcd_recorder.hpp"

#include <array>
#include <bit>
#include <cstdint>
#include <span>

#include <fmt/format.h>

#include "model/gpio.hpp"
#include "model/i2c.hpp"
#include "tarvixsdk/types.h"

namespace sim {

namespace {

using Signal = VcdFile::Signal;

// Draws one transaction. It counts in equal parts of the clock's period, so that rounding to ticks never adds up.
class Pen {
public:
    Pen(VcdFile& file, Timeline& timeline, std::uint64_t partsPerSecond)
        : file_(file), timeline_(timeline), start_(timeline.begin()), partsPerSecond_(partsPerSecond)
    {
    }
    ~Pen() { timeline_.moveTo(tick()); }
    Pen(const Pen&) = delete;
    Pen& operator=(const Pen&) = delete;

    void set(Signal& signal, bool high) const { file_.set(tick(), signal, high); }
    void pass(std::uint64_t parts) { parts_ += parts; }

private:
    std::uint64_t tick() const
    {
        return start_ + (parts_ * VcdFile::TICKS_PER_SECOND + partsPerSecond_ / 2) / partsPerSecond_;
    }

    VcdFile& file_;
    Timeline& timeline_;
    const std::uint64_t start_;
    const std::uint64_t partsPerSecond_;
    std::uint64_t parts_ = 0;
};

bool bitOf(std::span<const std::uint8_t> bytes, std::size_t bit) // the most significant one first
{
    return (bytes[bit / 8] >> (7 - bit % 8) & 1) != 0;
}

struct I2cLines {
    Signal scl, sda;
};

class I2cPen {
public:
    I2cPen(VcdFile& file, Timeline& timeline, I2cLines& lines, std::uint32_t frequency)
        : pen_(file, timeline, std::uint64_t{4} * frequency), lines_(lines)
    {
    }

    // From both lines high to both low.
    void start()
    {
        pen_.set(lines_.sda, false);
        pen_.pass(2);
        pen_.set(lines_.scl, false);
    }
    void repeatedStart()
    {
        pen_.pass(1);
        pen_.set(lines_.sda, true);
        pen_.pass(1);
        pen_.set(lines_.scl, true);
        pen_.pass(2);
        start();
    }
    void byte(unsigned value, bool acknowledged)
    {
        for (int shift = 7; shift >= 0; --shift) {
            bit((value >> shift & 1) != 0);
        }
        bit(!acknowledged);
    }
    void stop()
    {
        pen_.pass(1);
        pen_.set(lines_.sda, false);
        pen_.pass(1);
        pen_.set(lines_.scl, true);
        pen_.pass(2);
        pen_.set(lines_.sda, true);
        pen_.pass(4);
    }

private:
    void bit(bool high)
    {
        pen_.pass(1);
        pen_.set(lines_.sda, high);
        pen_.pass(1);
        pen_.set(lines_.scl, true);
        pen_.pass(2);
        pen_.set(lines_.scl, false);
    }

    Pen pen_;
    I2cLines& lines_;
};

void drawMessage(I2cPen& pen, const I2cMessage& message)
{
    pen.byte(unsigned{message.address} << 1 | (message.reads ? 1 : 0), message.acknowledged.has_value());
    const std::size_t acknowledged = message.acknowledged.value_or(0);
    for (std::size_t i = 0; message.acknowledged && i < message.bytes.size(); ++i) {
        // Who reads acknowledges all but the last.
        pen.byte(message.bytes[i], message.reads ? i + 1 < message.bytes.size() : i < acknowledged);
        if (!message.reads && i >= acknowledged) {
            return;
        }
    }
}

unsigned bitsPerSecond(UartBaudRate rate)
{
    constexpr std::array<unsigned, 11> RATES{1200,  2400,   4800,   9600,   19200, 38400,
                                             57600, 115200, 230400, 460800, 921600};
    return RATES.at(static_cast<std::size_t>(rate));
}

void drawFrame(Pen& pen, Signal& line, const Uart::Settings& settings, std::uint8_t byte)
{
    const auto bit = [&](bool high) {
        pen.set(line, high);
        pen.pass(1);
    };
    bit(false);
    for (unsigned i = 0; i < 5 + static_cast<unsigned>(settings.dataSize); ++i) {
        bit((byte >> i & 1) != 0);
    }
    if (settings.parity != UartParity::NONE) {
        bit((std::popcount(byte) % 2 != 0) == (settings.parity == UartParity::EVEN));
    }
    bit(true);
    pen.pass(settings.stopBit == UartStopBit::TWO ? 1 : 0);
}

} // namespace

class VcdRecorder::Scope final : public Probe {
public:
    // The signals of each adapter but the first end in its index: many programs that read the file know no scopes.
    Scope(VcdRecorder& recorder, const std::string& serialNumber, std::size_t index)
        : file_(recorder.file_), timeline_(recorder.timeline_), suffix_(index == 0 ? "" : fmt::format("_{}", index))
    {
        file_.openScope(serialNumber);
        for (std::size_t port = 0; port < i2c_.size(); ++port) {
            i2c_[port] = {add(fmt::format("SCL{}", port), true), add(fmt::format("SDA{}", port), true)};
        }
        sck_ = add("SCK", false);
        mosi_ = add("MOSI", false);
        miso_ = add("MISO", false);
        addAll(selects_, "CS", true);
        tx_ = add("TX", true);
        rx_ = add("RX", true);
        addAll(pins_, "GPIO", false);
        file_.closeScope();
    }

    void i2c(std::size_t port, std::uint32_t frequency, std::span<const I2cMessage> messages) override
    {
        I2cPen pen(file_, timeline_, i2c_[port], frequency);
        for (const I2cMessage& message : messages) {
            if (&message == &messages.front()) {
                pen.start();
            } else {
                pen.repeatedStart();
            }
            drawMessage(pen, message);
        }
        pen.stop();
    }

    void spi(const Spi::Settings& settings, std::span<const std::uint8_t> sent,
             std::span<const std::uint8_t> received) override
    {
        const auto mode = static_cast<unsigned>(settings.mode);
        const bool restsHigh = (mode & 2) != 0;
        const bool samplesSecondEdge = (mode & 1) != 0;
        const bool activeHigh = settings.chipSelectPolarity == SpiChipSelectPolarity::ACTIVE_HIGH;
        Signal& select = selects_[static_cast<std::size_t>(settings.chipSelect)];
        const auto setData = [&](const Pen& pen, std::size_t bit) {
            pen.set(mosi_, bitOf(sent, bit));
            pen.set(miso_, bitOf(received, bit));
        };

        Pen pen(file_, timeline_, std::uint64_t{2} * settings.frequency);
        pen.set(sck_, restsHigh);
        pen.set(select, !activeHigh);
        pen.pass(1);
        pen.set(select, activeHigh);
        for (std::size_t bit = 0; bit < 8 * sent.size(); ++bit) {
            if (!samplesSecondEdge) {
                setData(pen, bit);
            }
            pen.pass(1);
            pen.set(sck_, !restsHigh);
            if (samplesSecondEdge) {
                setData(pen, bit);
            }
            pen.pass(1);
            pen.set(sck_, restsHigh);
        }
        pen.pass(1);
        pen.set(select, !activeHigh);
        pen.pass(1);
    }

    void uartSent(const Uart::Settings& settings, std::span<const std::uint8_t> bytes) override
    {
        uart(tx_, settings, bytes);
    }
    void uartReceived(const Uart::Settings& settings, std::span<const std::uint8_t> bytes) override
    {
        uart(rx_, settings, bytes);
    }

    // What is told of a transaction after it may be what changed the pin.
    void pin(std::size_t pin, bool high) override { changedPins_.emplace_back(pin, high); }

    void settle() override
    {
        drawPins();
        if (!timeline_.isResting()) {
            file_.flush(timeline_.tick());
            timeline_.settle();
        }
    }

private:
    Signal add(const std::string& name, bool high) { return file_.addSignal(name + suffix_, high); }

    template <std::size_t Count>
    void addAll(std::array<Signal, Count>& signals, const std::string& name, bool high)
    {
        for (std::size_t i = 0; i < Count; ++i) {
            signals[i] = add(fmt::format("{}{}", name, i), high);
        }
    }

    void uart(Signal& line, const Uart::Settings& settings, std::span<const std::uint8_t> bytes)
    {
        Pen pen(file_, timeline_, bitsPerSecond(settings.baudRate));
        for (const std::uint8_t byte : bytes) {
            drawFrame(pen, line, settings, byte);
        }
        pen.pass(1);
    }

    // All at once, but for one that changes twice.
    void drawPins()
    {
        std::array<bool, Gpio::COUNT> drawn{};
        for (const auto& [pin, high] : changedPins_) {
            if (pins_[pin].high == high) {
                continue;
            }
            if (drawn[pin]) {
                drawn = {};
                timeline_.moveTo(timeline_.begin() + 1);
            }
            drawn[pin] = true;
            file_.set(timeline_.begin(), pins_[pin], high);
        }
        changedPins_.clear();
    }

    VcdFile& file_;
    Timeline& timeline_;
    const std::string suffix_;
    std::array<I2cLines, std::tuple_size_v<I2c::Ports>> i2c_;
    Signal sck_, mosi_, miso_;
    std::array<Signal, std::tuple_size_v<Spi::Devices>> selects_;
    Signal tx_, rx_;
    std::array<Signal, Gpio::COUNT> pins_;
    std::vector<std::pair<std::size_t, bool>> changedPins_; // since the last `settle`
};

VcdRecorder::VcdRecorder(const std::string& path, const std::vector<std::string>& serialNumbers,
                         Timeline::Duration longestPause, Timeline::Now now)
    : file_(path), timeline_(longestPause, std::move(now))
{
    for (const std::string& serialNumber : serialNumbers) {
        scopes_.push_back(std::make_unique<Scope>(*this, serialNumber, scopes_.size()));
    }
    file_.begin();
}

VcdRecorder::~VcdRecorder() = default;

Probe& VcdRecorder::adapter(std::size_t index)
{
    return *scopes_.at(index);
}

} // namespace sim
