#include "client.hpp"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <functional>
#include <iterator>
#include <optional>
#include <thread>
#include <tuple>

#include <unistd.h>

namespace soak {

namespace {

using Bytes = Client::Bytes;

constexpr StatusCode NACK{0x0301};
constexpr std::size_t STORED = 1024; // bytes in the larger EEPROM
constexpr std::size_t PAGE = 64;
constexpr std::uint8_t TARGETS[]{8, 9};
const Bytes PIDS[]{{0x7F, 0xFE, 0x12, 0x34, 0x50, 0x01}, {0x7F, 0xFE, 0x56, 0x78, 0x90, 0x02}};
constexpr std::uint8_t BCRS[]{0x27, 0x22};
constexpr std::uint8_t DCRS[]{0x63, 0xC6};
constexpr auto NONE = I3cTransferFlags::NONE;
constexpr std::uint8_t IBI_SIZE = 8;
constexpr unsigned PROGRAM_SHIFT = 28; // of message numbers; below it each program counts its own

std::string serialNumberOf(long adapter)
{
    char text[32];
    std::snprintf(text, sizeof text, "TVX%07ld", adapter + 1);
    return text;
}

Bytes address(std::size_t at)
{
    return {static_cast<std::uint8_t>(at >> 8), static_cast<std::uint8_t>(at)};
}

Bytes stored(std::size_t at, std::size_t count)
{
    Bytes bytes;
    for (; bytes.size() < count; ++at) {
        bytes.push_back(static_cast<std::uint8_t>(at * 7 + (at >> 8) * 29));
    }
    return bytes;
}

// Message number `number` is unlike every other, and its first four bytes tell its number.
std::uint8_t messageByte(std::uint32_t number, std::size_t at)
{
    const auto index = static_cast<std::uint32_t>(at);
    return static_cast<std::uint8_t>(at < 4 ? number >> 8 * index : (number + index * 0x9E3779B9U) * 0x85EBCA6BU >> 24);
}

Bytes message(std::uint32_t number, std::size_t size)
{
    Bytes bytes;
    while (bytes.size() < size) {
        bytes.push_back(messageByte(number, bytes.size()));
    }
    return bytes;
}

std::size_t uartSize(std::uint32_t number)
{
    return std::size_t{4} + messageByte(number, 100);
}

} // namespace

Client::Client(const Options& options, Shared& shared, long adapter, std::uint32_t program)
    : options_(options),
      shared_(shared),
      firstMessage_(program << PROGRAM_SHIFT),
      serialNumber_(serialNumberOf(adapter)),
      random_(static_cast<unsigned>(options.seed + 1000 * adapter) + program),
      sdk_(static_cast<int>(options.timeout))
{
    sdk_.onNotification([this](const Notification& notification) { hear(notification); });
}

Client::Counts& Client::Counts::operator+=(const Counts& other)
{
    for (const auto count : {&Counts::commands, &Counts::opened, &Counts::noResponses, &Counts::tooShort, &Counts::lost,
                             &Counts::dropped, &Counts::told, &Counts::heard}) {
        this->*count += other.*count;
    }
    return *this;
}

Client::Counts Client::counts() const
{
    Counts counts = counts_;
    counts.dropped = static_cast<long>(sdk_.unmatchedResponses());
    counts.told = told_;
    counts.heard = heard_;
    return counts;
}

// The answers of the commands get lost, and the adapter too, with its state.
void Client::start()
{
    do {
        open();
    } while (!trySetUp());
}

void Client::perform()
{
    static constexpr void (Client::*OPERATIONS[])(){
        &Client::strings, &Client::voltages, &Client::pins,      &Client::sensor,      &Client::eeprom,
        &Client::scan,    &Client::loopback, &Client::flash,     &Client::uart,        &Client::privateTransfer,
        &Client::hdrDdr,  &Client::legacy,   &Client::interrupt, &Client::deviceTable, &Client::targetFacts,
        &Client::lengths};
    (this->*OPERATIONS[random_() % std::size(OPERATIONS)])();
    const auto reopenAfter = static_cast<unsigned>(options_.reopenAfter);
    if (reopenAfter > 0 && random_() % reopenAfter == 0) {
        sdk_.disconnect();
        open();
    }
}

// Waits for an adapter that is away, or used by another program.
void Client::open()
{
    for (OpenResult result; !(result = sdk_.open({.serialNumber = serialNumber_}));) {
        const bool refused = result.status == OpenStatus::IN_USE;
        const bool away = result.status == OpenStatus::NO_ADAPTER || result.status == OpenStatus::FAILED;
        const bool turn = refused && options_.programs > 1 && result.holder != ::getpid();
        require(away || turn, result.message.c_str());
        shared_.refusals += refused ? 1 : 0;
        shared_.named += result.holder != 0 ? 1 : 0;
        std::this_thread::sleep_for(std::chrono::microseconds(refused ? 50 : 1000));
    }
    ++counts_.opened;
}

// False when the adapter was lost.
bool Client::trySetUp()
{
    std::vector<std::function<StatusCode()>> commands{
        [&] { return sdk_.i2cControllerInit(0, 400'000, 0); },
        [&] { return sdk_.i2cControllerInit(1, 400'000, 0); },
        [&] {
            return sdk_.spiControllerInit(SpiBitOrder::MSB_FIRST, SpiMode::MODE_0, SpiDataWidth::BITS_8,
                                          SpiChipSelect::SELECT_1, SpiChipSelectPolarity::ACTIVE_LOW, 1'000'000);
        },
        [&] {
            return sdk_.uartInit(UartBaudRate::BAUD_115200, UartHwHandshake::DISABLED, UartParity::NONE,
                                 UartDataSize::BITS_8, UartStopBit::ONE);
        },
        [&] { return sdk_.gpioConfigurePin(GpioPinNumber::PIN_0, GpioFunctionality::OUTPUT, GpioLogicLevel::LOW); },
        [&] { return sdk_.gpioConfigureInterrupt(GpioPinNumber::PIN_1, GpioTriggerType::BOTH_EDGES); },
        [&] {
            return sdk_.i3cControllerInit(I3cPushPullRate::MHZ_12_5, I3cOpenDrainTransferRate::MHZ_4,
                                          I2cTransferRate::KHZ_400, I3cDriveStrength::LOW);
        },
        [&] {
            return sdk_.i3cInitBus(
                {{0x30, TARGETS[0], {}, 0, 0, 0, 0, 0, 0}, {0x31, TARGETS[1], {}, 0, 0, 0, 0, 0, 0}});
        },
    };
    for (std::size_t at = 0; at < STORED; at += PAGE) {
        commands.emplace_back([this, at] { return sdk_.i2cWrite(1, 0x51, address(at), stored(at, PAGE), false); });
    }
    for (const auto& command : commands) {
        StatusCode status = command();
        for (int tries = 1; status != StatusCode::SUCCESS && tries < 500; ++tries) {
            if (status == StatusCode::ADAPTER_LOST) {
                return false;
            }
            status = command();
        }
        require(status == StatusCode::SUCCESS, "cannot set the adapter up");
    }
    return true;
}

bool Client::check(StatusCode status, StatusCode expected)
{
    ++counts_.commands;
    if (status == expected) {
        return true;
    }
    switch (status) {
    case StatusCode::NO_RESPONSE:
        ++counts_.noResponses;
        return true;
    case StatusCode::RESPONSE_TOO_SHORT:
        ++counts_.tooShort;
        return true;
    case StatusCode::ADAPTER_LOST:
        ++counts_.lost;
        start();
        return false;
    default:
        fail(std::string(statusName(status)) + " after " + std::to_string(counts_.commands) + " commands");
    }
}

void Client::strings()
{
    const std::string texts[]{"Tarvix", "Tarvix Virtual Adapter", serialNumber_, "firmware 1.0.0", "hardware virtual"};
    const auto index = random_() % std::size(texts);
    Bytes read;
    check(sdk_.getUsbString(read, static_cast<std::uint8_t>(index + 1)), read,
          Bytes(texts[index].begin(), texts[index].end()));
}

void Client::voltages()
{
    const auto wanted = static_cast<std::uint16_t>(1100 + random_() % 2500);
    std::uint16_t first = 0;
    std::uint16_t second = 0;
    if (check(sdk_.gpioSetVoltage(wanted, false)) && check(sdk_.i3cSetBusVoltage(wanted)) &&
        check(sdk_.uartGetBusVoltage(first), first, wanted)) {
        check(sdk_.i3cGetBusVoltage(first, second), std::tie(first, second), std::tie(wanted, wanted));
    }
}

// Pin 1 is wired to pin 0, and armed; an input without a partner follows its pull.
void Client::pins()
{
    const auto wanted = GpioLogicLevel{static_cast<std::uint32_t>(random_() % 2)};
    const auto pull =
        wanted == GpioLogicLevel::HIGH ? GpioFunctionality::INPUT_PULL_UP : GpioFunctionality::INPUT_PULL_DOWN;
    GpioLogicLevel level{};
    if (check(sdk_.gpioDigitalWrite(GpioPinNumber::PIN_0, wanted)) &&
        check(sdk_.gpioDigitalRead(GpioPinNumber::PIN_1, level), level, wanted) &&
        check(sdk_.gpioConfigurePin(GpioPinNumber::PIN_6, pull, wanted))) {
        check(sdk_.gpioDigitalRead(GpioPinNumber::PIN_7, level), level, wanted);
    }
}

void Client::sensor()
{
    const Bytes limit = bytes(2);
    Bytes read;
    if (check(sdk_.i2cWrite(0, 0x48, {2}, limit, false))) {
        check(sdk_.i2cRead(0, 0x48, {2}, 2, read, false), read, limit);
    }
    check(sdk_.i2cRead(0, 0x20, {2}, 2, read, false), NACK);
}

void Client::eeprom()
{
    const std::size_t at = random_() % (STORED / 2);
    const auto count = static_cast<std::uint16_t>(1 + random_() % (random_() % 8 == 0 ? STORED / 2 : PAGE));
    Bytes read;
    check(sdk_.i2cRead(1, 0x51, address(at), count, read, false), read, stored(at, count));
}

void Client::scan()
{
    Bytes found;
    std::uint8_t one = 0;
    std::uint8_t two = 0;
    check(sdk_.i2cScanBus(found, &one, &two, 0, false), found, Bytes{0x48, 0x50});
}

void Client::loopback()
{
    Bytes data = bytes(1 + random_() % (random_() % 8 == 0 ? 3000 : 60));
    const Bytes sent = data;
    Bytes read;
    check(sdk_.spiTransfer(data, read, static_cast<std::uint16_t>(data.size())), read, sent);
}

void Client::flash()
{
    Bytes command{0x9F, 0, 0, 0};
    Bytes read;
    if (check(select(SpiChipSelect::SELECT_0)) &&
        check(sdk_.spiTransfer(command, read, 4), read, Bytes{0xFF, 0x55, 0x40, 0x14})) {
        check(select(SpiChipSelect::SELECT_1));
    }
}

void Client::uart()
{
    const std::uint32_t number = nextMessage();
    check(sdk_.uartSendMessage(message(number, uartSize(number))));
}

void Client::privateTransfer()
{
    const Bytes data = bytes(1 + random_() % 60);
    const std::uint8_t target = TARGETS[random_() % 2];
    Bytes read;
    if (check(sdk_.i3cSdrWrite(target, {0}, data, NONE))) {
        check(sdk_.i3cSdrRead(target, {0}, static_cast<std::uint16_t>(data.size()), read, NONE), read, data);
    }
}

void Client::hdrDdr()
{
    const Bytes data = bytes(2 + 2 * (random_() % 15));
    Bytes read;
    if (check(sdk_.i3cHdrDdrWrite(TARGETS[0], 0x05, data))) {
        check(sdk_.i3cHdrDdrRead(TARGETS[0], 0x05, static_cast<std::uint16_t>(data.size()), read), read, data);
    }
}

void Client::legacy()
{
    const auto page = static_cast<std::uint8_t>(8 * (random_() % 32));
    const Bytes data = bytes(8);
    Bytes read;
    if (check(sdk_.i3cLegacyI2cWrite(0x57, {page}, data, NONE))) {
        check(sdk_.i3cLegacyI2cRead(0x57, {page}, 8, read, NONE), read, data);
    }
}

// The target's first registers are the payload.
void Client::interrupt()
{
    const std::uint32_t number = nextMessage();
    if (check(sdk_.i3cSdrWrite(TARGETS[0], {0}, message(number, IBI_SIZE), NONE))) {
        check(sdk_.i3cSdrWrite(TARGETS[0], {0x80}, {IBI_SIZE}, NONE));
    }
}

void Client::deviceTable()
{
    std::vector<I3cTargetInfo> table;
    const StatusCode status = sdk_.i3cGetDeviceTable(table);
    Bytes read;
    Bytes wanted;
    for (std::size_t i = 0; i < table.size(); ++i) {
        read.insert(read.end(), {table[i].staticAddress, table[i].dynamicAddress, table[i].bcr, table[i].dcr});
        read.insert(read.end(), std::begin(table[i].pid), std::end(table[i].pid));
    }
    for (std::size_t i = 0; i < 2; ++i) {
        wanted.insert(wanted.end(), {static_cast<std::uint8_t>(0x30 + i), TARGETS[i], BCRS[i], DCRS[i]});
        wanted.insert(wanted.end(), PIDS[i].begin(), PIDS[i].end());
    }
    check(status, read, wanted);
}

void Client::targetFacts()
{
    const auto which = random_() % 2;
    const std::uint8_t target = TARGETS[which];
    Bytes read;
    std::uint8_t value = 0;
    if (check(sdk_.i3cCccGETPID(target, read), read, PIDS[which]) &&
        check(sdk_.i3cCccGETBCR(target, value), value, BCRS[which]) &&
        check(sdk_.i3cCccGETDCR(target, value), value, DCRS[which]) &&
        check(sdk_.i3cCccRSTACTDirect(target, I3cTargetResetDefByte::TIME_RESET_WHOLE_TARGET,
                                      I3cTransferDirection::READ, &value),
              value, 10)) {
        check(sdk_.i3cCccGETMXDS(TARGETS[1], read), NACK);
    }
}

// Never less than the other operations need.
void Client::lengths()
{
    const auto wanted = static_cast<std::uint16_t>(256 + random_() % 1000);
    const auto wantedPayload = static_cast<std::uint8_t>(IBI_SIZE + random_() % 50);
    std::uint16_t length = 0;
    std::optional<std::uint8_t> payload;
    if (check(sdk_.i3cCccSETMWLDirect(TARGETS[0], wanted)) &&
        check(sdk_.i3cCccGETMWL(TARGETS[0], length), length, wanted) &&
        check(sdk_.i3cCccSETMRLDirect(TARGETS[0], wanted, wantedPayload))) {
        check(sdk_.i3cCccGETMRL(TARGETS[0], length, payload), std::tie(length, payload),
              std::tuple(wanted, std::optional(wantedPayload)));
    }
}

void Client::hear(const Notification& notification)
{
    const std::uint8_t* data = nullptr;
    std::size_t length = 0;
    if (const auto* const gpio = notification.gpio()) {
        require(gpio->pinNumber == 1, "a notification of a pin that is not armed");
        return;
    }
    if (const auto* const received = notification.uartRx()) {
        data = received->data;
        length = received->dataLength;
    } else if (const auto* const raised = notification.i3cIbi()) {
        require(raised->targetAddress == TARGETS[0], "an interrupt of another target");
        data = raised->payload;
        length = raised->payloadLength;
    }
    const auto kind = notification.kind;
    require(kind != NotificationKind::UNKNOWN && kind != NotificationKind::I3C_HOT_JOIN, "a strange notification");
    if (length < 4) {
        return; // cut short
    }
    std::uint32_t number = 0;
    for (std::size_t at = 0; at < 4; ++at) {
        number |= static_cast<std::uint32_t>(data[at]) << 8 * at;
    }
    if (number >> PROGRAM_SHIFT != firstMessage_ >> PROGRAM_SHIFT) {
        return; // the other program's, which has just left
    }
    require(number <= firstMessage_ + told_ && number >= lastHeard_, "a notification out of turn");
    for (std::size_t at = 0; at < length; ++at) {
        require(data[at] == messageByte(number, at), "wrong data in a notification");
    }
    const std::size_t whole = kind == NotificationKind::I3C_IBI ? IBI_SIZE : uartSize(number);
    require(length <= whole, "too much data in a notification");
    heard_ += length == whole && number > lastHeard_ ? 1U : 0U;
    lastHeard_ = number;
}

StatusCode Client::select(SpiChipSelect line)
{
    return sdk_.spiSetParameters(SpiBitOrder::MSB_FIRST, SpiMode::MODE_0, SpiDataWidth::BITS_8, line,
                                 SpiChipSelectPolarity::ACTIVE_LOW, 1'000'000);
}

std::uint32_t Client::nextMessage()
{
    return firstMessage_ + ++told_;
}

Bytes Client::bytes(std::size_t count)
{
    Bytes data(count);
    std::generate(data.begin(), data.end(), [&] { return static_cast<std::uint8_t>(random_()); });
    return data;
}

} // namespace soak
