// Strict sessions with the virtual adapter that check the content of every answer, under `tarvix-sim run` whatever the
// adapter's faults do to them; see usage() for the options, and script/soak.
//
// Each operation writes what no other does and reads it back, so that an answer of another command shows, and needs
// nothing that an earlier one left behind: answers get lost, and other programs use the adapter by turns. Fails when a
// SUCCESS carries wrong data, when a notification holds what was not sent, when heap, descriptors or threads of this
// program or of the adapter's host grow between a tenth of the commands and their end, and when too much failed.
#include <algorithm>
#include <array>
#include <atomic>
#include <barrier>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <memory>
#include <new>
#include <random>
#include <string>
#include <string_view>
#include <thread>
#include <tuple>
#include <vector>

#include <malloc.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tarvixsdk/sdk.hpp"

namespace {

using Bytes = std::vector<std::uint8_t>;
using Clock = std::chrono::steady_clock;

constexpr StatusCode NACK{0x0301};
constexpr std::size_t STORED = 1024; // bytes in the larger EEPROM
constexpr std::size_t PAGE = 64;
constexpr std::uint8_t TARGETS[]{8, 9};
const Bytes PIDS[]{{0x7F, 0xFE, 0x12, 0x34, 0x50, 0x01}, {0x7F, 0xFE, 0x56, 0x78, 0x90, 0x02}};
constexpr std::uint8_t BCRS[]{0x27, 0x02};
constexpr std::uint8_t DCRS[]{0x63, 0xC6};
constexpr auto NONE = I3cTransferFlags::NONE;

[[noreturn]] void fail(const std::string& what)
{
    std::fprintf(stderr, "soak: %s\n", what.c_str());
    std::_Exit(1); // other threads go on
}

void require(bool holds, const std::string& what)
{
    if (!holds) {
        fail(what);
    }
}

// The options, each a whole number.
std::map<std::string, long> options{
    {"--commands", 100'000}, {"--sessions", 1},     {"--programs", 1},        {"--seed", 1},
    {"--timeout", 20},       {"--reopen-after", 0}, {"--faults-at-least", 0}, {"--faults-at-most", 50},
};

void usage()
{
    std::puts("usage: tarvix-sim run [OPTIONS] -- soak [OPTION NUMBER]...\n"
              "  --commands N         how many, all sessions together (default 100000)\n"
              "  --sessions N         that many at once, each with an adapter of its own (default 1)\n"
              "  --programs N         that many at once, which take turns at the same adapters (default 1)\n"
              "  --reopen-after N     close the session and open it again after about N operations (default 0: never)\n"
              "  --timeout MS         of a command; less than --fault-delay, late answers come too late (default 20)\n"
              "  --seed N             of the choice of commands and data (default 1)\n"
              "  --faults-at-least P  percent of the commands that have to meet one (default 0)\n"
              "  --faults-at-most P   percent of the commands that may meet one (default 50)");
}

// Message number `number` is unlike every other, and its first four bytes tell its number.
std::uint8_t messageByte(std::uint32_t number, std::size_t at)
{
    const auto index = static_cast<std::uint32_t>(at);
    return static_cast<std::uint8_t>(at < 4 ? number >> 8 * index : (number + index * 0x9E3779B9U) * 0x85EBCA6BU >> 24);
}

Bytes message(std::uint32_t number, std::size_t size)
{
    Bytes bytes(size);
    for (std::size_t at = 0; at < size; ++at) {
        bytes[at] = messageByte(number, at);
    }
    return bytes;
}

// What the programs know of each other.
struct Shared {
    std::atomic<int> ready;
    std::atomic<int> refusals;
    std::atomic<int> named; // refusals that told who holds the lock
};

class Client {
public:
    Client(Shared& shared, int adapter, std::uint32_t program)
        : shared_(shared),
          random_(static_cast<unsigned>(options["--seed"] + 1000 * adapter) + program),
          program_(program),
          sdk(static_cast<int>(options["--timeout"]))
    {
        char text[16];
        std::snprintf(text, sizeof text, "TVX%07d", adapter + 1);
        serialNumber_ = text;
        sdk.onNotification([this](const Notification& notification) { hear(notification); });
    }

    void start()
    {
        open();
        setUp();
    }

    // One of all operations at random; a few commands.
    void perform()
    {
        static constexpr void (Client::*OPERATIONS[])(){
            &Client::strings, &Client::voltages, &Client::pins,      &Client::sensor,      &Client::eeprom,
            &Client::scan,    &Client::loopback, &Client::flash,     &Client::uart,        &Client::privateTransfer,
            &Client::hdrDdr,  &Client::legacy,   &Client::interrupt, &Client::deviceTable, &Client::targetFacts,
            &Client::lengths};
        (this->*OPERATIONS[random_() % std::size(OPERATIONS)])();
        const auto reopenAfter = static_cast<unsigned>(options["--reopen-after"]);
        if (reopenAfter > 0 && random_() % reopenAfter == 0) {
            sdk.disconnect();
            open();
        }
    }

    long commands = 0;
    long opened = 0;
    long noResponses = 0;
    long tooShort = 0;
    long lost = 0;
    std::atomic<std::uint32_t> told = 0;  // messages that should be notified of
    std::atomic<std::uint32_t> heard = 0; // those that were, whole
    long failures() const { return noResponses + tooShort + lost; }

private:
    // ---- Sessions ----

    // Waits for an adapter that is away, or used by another program.
    void open()
    {
        for (OpenResult result; !(result = sdk.open({.serialNumber = serialNumber_}));) {
            const bool refused = result.status == OpenStatus::IN_USE;
            require(refused || result.status == OpenStatus::NO_ADAPTER || result.status == OpenStatus::FAILED,
                    result.message);
            require(!refused || options["--programs"] > 1, "refused by itself: " + result.message);
            require(result.holder != ::getpid(), "holds the lock itself: " + result.message);
            shared_.refusals += refused ? 1 : 0;
            shared_.named += result.holder != 0 ? 1 : 0;
            std::this_thread::sleep_for(std::chrono::microseconds(refused ? 50 : 1000));
        }
        ++opened;
    }

    // Until each command succeeds: its answer may get lost, and the adapter too, with its state.
    void setUp()
    {
        while (!trySetUp()) {
            open();
        }
    }

    bool trySetUp()
    {
        const auto insist = [&](auto command) {
            for (int tries = 0; tries < 500; ++tries) {
                if (const StatusCode status = command(); status == StatusCode::SUCCESS) {
                    return true;
                } else if (status == StatusCode::ADAPTER_LOST) {
                    return false;
                }
            }
            fail("cannot set the adapter up");
        };
        bool done =
            insist([&] { return sdk.i2cControllerInit(0, 400'000, 0); }) &&
            insist([&] { return sdk.i2cControllerInit(1, 400'000, 0); }) &&
            insist([&] { return select(SpiChipSelect::SELECT_1, true); }) && insist([&] {
                return sdk.uartInit(UartBaudRate::BAUD_115200, UartHwHandshake::DISABLED, UartParity::NONE,
                                    UartDataSize::BITS_8, UartStopBit::ONE);
            }) &&
            insist([&] {
                return sdk.gpioConfigurePin(GpioPinNumber::PIN_0, GpioFunctionality::OUTPUT, GpioLogicLevel::LOW);
            }) &&
            insist([&] { return sdk.gpioConfigureInterrupt(GpioPinNumber::PIN_1, GpioTriggerType::BOTH_EDGES); }) &&
            insist([&] {
                return sdk.i3cControllerInit(I3cPushPullRate::MHZ_12_5, I3cOpenDrainTransferRate::MHZ_4,
                                             I2cTransferRate::KHZ_400, I3cDriveStrength::LOW);
            }) &&
            insist([&] {
                return sdk.i3cInitBus(
                    {{0x30, TARGETS[0], {}, 0, 0, 0, 0, 0, 0}, {0x31, TARGETS[1], {}, 0, 0, 0, 0, 0, 0}});
            });
        for (std::size_t at = 0; done && at < STORED; at += PAGE) {
            done = insist([&] { return sdk.i2cWrite(1, 0x51, address(at), stored(at, PAGE), false); });
        }
        return done;
    }

    // Counts a command, and compares what it read. False when it lost the adapter, which is open and set up again then.
    template <typename Read, typename Wanted>
    bool check(StatusCode status, const Read& read, const Wanted& wanted)
    {
        require(status != StatusCode::SUCCESS || read == wanted,
                "wrong data with SUCCESS after " + std::to_string(commands) + " commands");
        return check(status);
    }

    bool check(StatusCode status, StatusCode expected = StatusCode::SUCCESS)
    {
        ++commands;
        if (status == expected) {
            return true;
        }
        switch (status) {
        case StatusCode::NO_RESPONSE:
            ++noResponses;
            return true;
        case StatusCode::RESPONSE_TOO_SHORT:
            ++tooShort;
            return true;
        case StatusCode::ADAPTER_LOST:
            ++lost;
            start();
            return false;
        default:
            fail(std::string("a command returned ") + statusName(status) + " after " + std::to_string(commands) +
                 " commands");
        }
    }

    // ---- Operations. What a command wrote counts, whatever becomes of its answer. ----

    void strings()
    {
        const std::string texts[]{"Tarvix", "Tarvix Virtual Adapter", serialNumber_, "firmware 1.0.0",
                                  "hardware virtual"};
        const auto index = random_() % std::size(texts);
        Bytes read;
        check(sdk.getUsbString(read, static_cast<std::uint8_t>(index + 1)), read,
              Bytes(texts[index].begin(), texts[index].end()));
    }

    void voltages()
    {
        const auto wanted = static_cast<std::uint16_t>(1100 + random_() % 2500);
        std::uint16_t first = 0;
        std::uint16_t second = 0;
        if (check(sdk.gpioSetVoltage(wanted, false)) && check(sdk.i3cSetBusVoltage(wanted)) &&
            check(sdk.uartGetBusVoltage(first), first, wanted)) {
            check(sdk.i3cGetBusVoltage(first, second), std::tie(first, second), std::tie(wanted, wanted));
        }
    }

    // Pin 1 is wired to pin 0, and armed; an input without a partner follows its pull.
    void pins()
    {
        const auto wanted = GpioLogicLevel{static_cast<std::uint32_t>(random_() % 2)};
        const auto pull =
            wanted == GpioLogicLevel::HIGH ? GpioFunctionality::INPUT_PULL_UP : GpioFunctionality::INPUT_PULL_DOWN;
        GpioLogicLevel level{};
        if (check(sdk.gpioDigitalWrite(GpioPinNumber::PIN_0, wanted)) &&
            check(sdk.gpioDigitalRead(GpioPinNumber::PIN_1, level), level, wanted) &&
            check(sdk.gpioConfigurePin(GpioPinNumber::PIN_6, pull, wanted))) {
            check(sdk.gpioDigitalRead(GpioPinNumber::PIN_7, level), level, wanted);
        }
    }

    void sensor()
    {
        const Bytes limit = bytes(2);
        Bytes read;
        if (check(sdk.i2cWrite(0, 0x48, {2}, limit, false))) {
            check(sdk.i2cRead(0, 0x48, {2}, 2, read, false), read, limit);
        }
        check(sdk.i2cRead(0, 0x20, {2}, 2, read, false), NACK);
    }

    void eeprom()
    {
        const std::size_t at = random_() % (STORED / 2);
        const auto count = static_cast<std::uint16_t>(1 + random_() % (random_() % 8 == 0 ? STORED / 2 : PAGE));
        Bytes read;
        check(sdk.i2cRead(1, 0x51, address(at), count, read, false), read, stored(at, count));
    }

    void scan()
    {
        Bytes found;
        std::uint8_t one = 0;
        std::uint8_t two = 0;
        check(sdk.i2cScanBus(found, &one, &two, 0, false), found, Bytes{0x48, 0x50});
    }

    void loopback()
    {
        Bytes data = bytes(1 + random_() % (random_() % 8 == 0 ? 3000 : 60));
        const Bytes sent = data;
        Bytes read;
        check(sdk.spiTransfer(data, read, static_cast<std::uint16_t>(data.size())), read, sent);
    }

    void flash()
    {
        Bytes command{0x9F, 0, 0, 0};
        Bytes read;
        if (check(select(SpiChipSelect::SELECT_0, false)) &&
            check(sdk.spiTransfer(command, read, 4), read, Bytes{0xFF, 0x55, 0x40, 0x14})) {
            check(select(SpiChipSelect::SELECT_1, false));
        }
    }

    void uart()
    {
        const std::uint32_t number = nextMessage();
        check(sdk.uartSendMessage(message(number, uartSize(number))));
    }

    void privateTransfer()
    {
        const Bytes data = bytes(1 + random_() % 60);
        const std::uint8_t target = TARGETS[random_() % 2];
        Bytes read;
        if (check(sdk.i3cSdrWrite(target, {0}, data, NONE))) {
            check(sdk.i3cSdrRead(target, {0}, static_cast<std::uint16_t>(data.size()), read, NONE), read, data);
        }
    }

    void hdrDdr()
    {
        const Bytes data = bytes(2 + 2 * (random_() % 15));
        Bytes read;
        if (check(sdk.i3cHdrDdrWrite(TARGETS[0], 0x05, data))) {
            check(sdk.i3cHdrDdrRead(TARGETS[0], 0x05, static_cast<std::uint16_t>(data.size()), read), read, data);
        }
    }

    void legacy()
    {
        const auto page = static_cast<std::uint8_t>(8 * (random_() % 32));
        const Bytes data = bytes(8);
        Bytes read;
        if (check(sdk.i3cLegacyI2cWrite(0x57, {page}, data, NONE))) {
            check(sdk.i3cLegacyI2cRead(0x57, {page}, 8, read, NONE), read, data);
        }
    }

    // The target's first registers are the payload.
    void interrupt()
    {
        const std::uint32_t number = nextMessage();
        if (check(sdk.i3cSdrWrite(TARGETS[0], {0}, message(number, IBI_SIZE), NONE))) {
            check(sdk.i3cSdrWrite(TARGETS[0], {0x80}, {IBI_SIZE}, NONE));
        }
    }

    void deviceTable()
    {
        std::vector<I3cTargetInfo> table;
        const StatusCode status = sdk.i3cGetDeviceTable(table);
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

    void targetFacts()
    {
        const auto which = random_() % 2;
        const std::uint8_t target = TARGETS[which];
        Bytes read;
        std::uint8_t value = 0;
        if (check(sdk.i3cCccGETPID(target, read), read, PIDS[which]) &&
            check(sdk.i3cCccGETBCR(target, value), value, BCRS[which]) &&
            check(sdk.i3cCccGETDCR(target, value), value, DCRS[which]) &&
            check(sdk.i3cCccRSTACTDirect(target, I3cTargetResetDefByte::TIME_RESET_WHOLE_TARGET,
                                         I3cTransferDirection::READ, &value),
                  value, 10)) {
            check(sdk.i3cCccGETMXDS(TARGETS[1], read), NACK);
        }
    }

    // Never less than the other operations need.
    void lengths()
    {
        const auto wanted = static_cast<std::uint16_t>(256 + random_() % 1000);
        const auto wantedPayload = static_cast<std::uint8_t>(IBI_SIZE + random_() % 50);
        std::uint16_t length = 0;
        std::optional<std::uint8_t> payload;
        if (check(sdk.i3cCccSETMWLDirect(TARGETS[0], wanted)) &&
            check(sdk.i3cCccGETMWL(TARGETS[0], length), length, wanted) &&
            check(sdk.i3cCccSETMRLDirect(TARGETS[0], wanted, wantedPayload))) {
            check(sdk.i3cCccGETMRL(TARGETS[0], length, payload), std::tie(length, payload),
                  std::tuple(wanted, std::optional(wantedPayload)));
        }
    }

    // ---- Notifications, on the reader thread ----

    void hear(const Notification& notification)
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
        if (number >> PROGRAM_SHIFT != program_) {
            return; // the other program's, which has just left
        }
        require(number <= (program_ << PROGRAM_SHIFT) + told && number >= lastHeard_, "a notification out of turn");
        for (std::size_t at = 0; at < length; ++at) {
            require(data[at] == messageByte(number, at), "wrong data in a notification");
        }
        const std::size_t whole = kind == NotificationKind::I3C_IBI ? IBI_SIZE : uartSize(number);
        require(length <= whole, "too much data in a notification");
        heard += length == whole && number > lastHeard_ ? 1U : 0U;
        lastHeard_ = number;
    }

    static constexpr unsigned PROGRAM_SHIFT = 28;
    static constexpr std::uint8_t IBI_SIZE = 8;

    std::uint32_t nextMessage() { return (program_ << PROGRAM_SHIFT) + ++told; }
    static std::size_t uartSize(std::uint32_t number) { return 4 + messageByte(number, 100); }

    // ---- Data ----

    StatusCode select(SpiChipSelect line, bool init)
    {
        const auto command = init ? &TarvixSDK::spiControllerInit : &TarvixSDK::spiSetParameters;
        return (sdk.*command)(SpiBitOrder::MSB_FIRST, SpiMode::MODE_0, SpiDataWidth::BITS_8, line,
                              SpiChipSelectPolarity::ACTIVE_LOW, 1'000'000);
    }

    Bytes bytes(std::size_t count)
    {
        Bytes data(count);
        std::generate(data.begin(), data.end(), [&] { return static_cast<std::uint8_t>(random_()); });
        return data;
    }

    static Bytes address(std::size_t at) { return {static_cast<std::uint8_t>(at >> 8), static_cast<std::uint8_t>(at)}; }

    static Bytes stored(std::size_t at, std::size_t count)
    {
        Bytes bytes;
        for (; bytes.size() < count; ++at) {
            bytes.push_back(static_cast<std::uint8_t>(at * 7 + (at >> 8) * 29));
        }
        return bytes;
    }

    Shared& shared_;
    std::mt19937 random_;
    const std::uint32_t program_; // which of those that share the adapter
    std::string serialNumber_;
    std::uint32_t lastHeard_ = 0;

public:
    TarvixSDK sdk; // its reader thread uses the others and ends first
};

// What this program and the adapter's host use of the machine.
class Footprint {
public:
    explicit Footprint(pid_t host)
    {
        const struct mallinfo2 heap = ::mallinfo2();
        figures_[0].value = static_cast<long>((heap.uordblks + heap.hblkhd) / 1024);
        look(&figures_[1], ::getpid());
        look(&figures_[4], host);
    }

    bool isNoLargerThan(const Footprint& earlier) const
    {
        return std::equal(figures_.begin(), figures_.end(), earlier.figures_.begin(),
                          [](const Figure& now, const Figure& then) { return now.value <= then.value + then.slack; });
    }

    void print(const Footprint& earlier) const
    {
        for (std::size_t i = 0; i < figures_.size(); ++i) {
            std::printf("  %-26s %7ld, at a tenth %7ld\n", figures_[i].name, figures_[i].value,
                        earlier.figures_[i].value);
        }
    }

private:
    struct Figure {
        const char* name;
        long slack;
        long value = 0;
    };

    static void look(Figure* figures, pid_t process)
    {
        const std::string folder = "/proc/" + std::to_string(process);
        std::ifstream status(folder + "/status");
        for (std::string line; std::getline(status, line);) {
            std::sscanf(line.c_str(), "VmRSS: %ld", &figures[0].value);
            std::sscanf(line.c_str(), "Threads: %ld", &figures[2].value);
        }
        using Entries = std::filesystem::directory_iterator;
        figures[1].value = static_cast<long>(std::distance(Entries(folder + "/fd"), Entries()));
    }

#if defined(__SANITIZE_THREAD__) || defined(__SANITIZE_ADDRESS__)
    static constexpr long SLACK = 1L << 30; // theirs is what grows
#else
    static constexpr long SLACK = 64; // KiB
#endif
    std::array<Figure, 7> figures_{{
        {"heap in use, KiB", SLACK / 4 * options["--sessions"]}, // buffers grow to the longest frame
        {"memory, KiB", 16 * SLACK},
        {"descriptors", 0},
        {"threads", 0},
        {"tarvix-sim's memory, KiB", 16 * SLACK},
        {"tarvix-sim's descriptors", 0},
        {"tarvix-sim's threads", 0},
    }};
};

// Looks again for a while: the host may still be closing what a session left.
Footprint settled(pid_t host, const Footprint* earlier)
{
    constexpr int LOOKS = 100;
    for (int look = 1;; ++look) {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        const Footprint footprint(host);
        if (earlier == nullptr || footprint.isNoLargerThan(*earlier) || look == LOOKS) {
            return footprint;
        }
    }
}

void report(const std::vector<std::unique_ptr<Client>>& clients, double seconds)
{
    long commands = 0, opened = 0, noResponses = 0, tooShort = 0, lost = 0, dropped = 0, told = 0, heard = 0;
    for (const auto& client : clients) {
        commands += client->commands;
        opened += client->opened;
        noResponses += client->noResponses;
        tooShort += client->tooShort;
        lost += client->lost;
        dropped += static_cast<long>(client->sdk.unmatchedResponses());
        told += client->told;
        heard += client->heard;
    }
    std::printf("soak: %ld commands in %.1f s, %.0f a second, every answer as it should be\n", commands, seconds,
                static_cast<double>(commands) / seconds);
    std::printf("  %ld sessions opened, %ld adapters lost, %ld commands without an answer in time, %ld cut short, "
                "%ld late or double answers dropped\n  %ld of %ld notifications heard whole\n",
                opened, lost, noResponses, tooShort, dropped, heard, told);
    const long faults = 100 * (noResponses + tooShort + lost + dropped);
    require(faults >= commands * options["--faults-at-least"], "too few faults");
    require(faults <= commands * options["--faults-at-most"], "too many faults");
    const bool closesEarly = options["--reopen-after"] > 0; // before what its last command caused
    require(2 * heard >= told || closesEarly, "too few notifications");
}

int soak(Shared& shared, std::uint32_t program, pid_t host)
{
    const auto sessions = static_cast<int>(options["--sessions"]);
    const long commands = options["--commands"] / sessions;
    const auto begin = Clock::now();
    const auto seconds = [begin] { return std::chrono::duration<double>(Clock::now() - begin).count(); };
    std::vector<std::unique_ptr<Client>> clients;
    for (int i = 0; i < sessions; ++i) {
        clients.push_back(std::make_unique<Client>(shared, i, program));
    }
    std::vector<Footprint> footprints;
    // All pause at a tenth and at the end, with their sessions open.
    std::barrier pause(sessions, [&]() noexcept {
        footprints.push_back(settled(host, footprints.empty() ? nullptr : &footprints.front()));
    });
    const auto work = [&](Client& client, bool tells) {
        client.start();
        for (int tenth = 1; tenth <= 10; ++tenth) {
            while (client.commands < commands * tenth / 10) {
                client.perform();
            }
            if (tells && commands >= 100'000) {
                std::printf("soak: %d0 %% after %.0f s, %ld of a session's %ld commands failed\n", tenth, seconds(),
                            client.failures(), client.commands);
            }
            if (tenth == 1 || tenth == 10) {
                pause.arrive_and_wait();
            }
        }
    };
    std::vector<std::thread> threads;
    for (const auto& client : clients) {
        threads.emplace_back(work, std::ref(*client), client == clients.front());
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    report(clients, seconds());
    footprints.back().print(footprints.front());
    require(footprints.back().isNoLargerThan(footprints.front()), "it grows");
    return 0;
}

int share(pid_t host)
{
    void* const memory = ::mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    auto& shared = *new (memory) Shared{};
    const auto programs = static_cast<int>(options["--programs"]);
    if (programs == 1) {
        return soak(shared, 0, host);
    }
    for (int program = 0; program < programs; ++program) {
        if (::fork() == 0) {
            for (++shared.ready; shared.ready < programs;) {
                std::this_thread::yield();
            }
            std::exit(soak(shared, static_cast<std::uint32_t>(program), host));
        }
    }
    for (int program = 0; program < programs; ++program) {
        int status = -1;
        require(::wait(&status) > 0 && status == 0, "a program failed");
    }
    std::printf("soak: %d times refused, %d times by name\n", shared.refusals.load(), shared.named.load());
    require(shared.named > 0, "neither kept the other out");
    return 0;
}

// The C library keeps small freed blocks for each thread and counts them as in use: does without.
void startWithoutCaches(char** arguments)
{
    if (std::getenv("GLIBC_TUNABLES") == nullptr) {
        ::setenv("GLIBC_TUNABLES", "glibc.malloc.tcache_count=0", 0);
        ::execv("/proc/self/exe", arguments);
        fail("cannot start again");
    }
}

} // namespace

int main(int count, char** arguments)
{
    startWithoutCaches(arguments);
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    for (int i = 1; i < count; i += 2) {
        if (std::string_view(arguments[i]) == "--help") {
            usage();
            return 0;
        }
        const auto option = options.find(arguments[i]);
        char* end = nullptr;
        const long number = i + 1 < count ? std::strtol(arguments[i + 1], &end, 10) : -1;
        if (option == options.end() || number < 0 || *end != '\0') {
            std::fprintf(stderr, "soak: '%s' must be an option with a whole number; see soak --help\n", arguments[i]);
            return 2;
        }
        option->second = number;
    }
    if (options["--sessions"] == 0 || options["--programs"] == 0) {
        std::fputs("soak: --sessions and --programs must be 1 or more\n", stderr);
        return 2;
    }
    return share(::getppid());
}
