// Strict sessions with the virtual adapter whose every answer can be told from all others. Under `tarvix-sim run`:
//
//   strict_client faults COMMANDS   one session, whatever the adapter's faults do to it
//   strict_client share COMMANDS    two programs, each in a loop of short sessions on the same adapter
//
// Fails when a SUCCESS carries wrong data, and when too little happened to tell.
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <iterator>
#include <new>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tarvixsdk/sdk.hpp"

namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr auto OK = StatusCode::SUCCESS;
constexpr int SHORT_MS = 20; // less than --fault-delay, so that late answers come after their call has ended
constexpr int LONG_ENOUGH_MS = 20'000;
constexpr std::size_t STORED = 1024; // bytes in the larger EEPROM
constexpr std::size_t PAGE = 64;

void require(bool holds, const char* what)
{
    if (!holds) {
        std::fprintf(stderr, "strict_client: %s\n", what);
        std::exit(1);
    }
}

// Until it succeeds: its answer may get lost.
void insist(const char* what, const std::function<StatusCode()>& command)
{
    for (int tries = 0; tries < 500; ++tries) {
        if (command() == OK) {
            return;
        }
    }
    require(false, what);
}

class Client {
public:
    Client(int timeout, unsigned seed) : sdk(timeout), random_(seed) {}

    void setUp()
    {
        insist("i2cControllerInit", [&] { return sdk.i2cControllerInit(1, 400'000, 0); });
        insist("spiControllerInit", [&] {
            return sdk.spiControllerInit(SpiBitOrder::MSB_FIRST, SpiMode::MODE_0, SpiDataWidth::BITS_8,
                                         SpiChipSelect::SELECT_1, SpiChipSelectPolarity::ACTIVE_LOW, 1'000'000);
        });
        insist("i3cControllerInit", [&] {
            return sdk.i3cControllerInit(I3cPushPullRate::MHZ_12_5, I3cOpenDrainTransferRate::MHZ_4,
                                         I2cTransferRate::KHZ_400, I3cDriveStrength::LOW);
        });
        const I3cTargetInfo targets[]{{0x30, 0x08, {}, 0, 0, 0, 0, 0, 0}, {0x31, 0x09, {}, 0, 0, 0, 0, 0, 0}};
        insist("i3cInitBus", [&] { return sdk.i3cInitBus({targets[0], targets[1]}); });
        insist("gpioConfigurePin", [&] {
            return sdk.gpioConfigurePin(GpioPinNumber::PIN_0, GpioFunctionality::OUTPUT, GpioLogicLevel::LOW);
        });
        for (std::size_t at = 0; at < STORED; at += PAGE) {
            insist("i2cWrite", [&] { return sdk.i2cWrite(1, 0x51, address(at), stored(at, PAGE), false); });
        }
    }

    // One command of several, chosen at random. A command that was answered badly was carried out all the same.
    void perform()
    {
        switch (random_() % 6) {
        case 0: {
            Bytes sent = any(1 + random_() % 200);
            const auto count = static_cast<std::uint16_t>(sent.size());
            Bytes received;
            check("spiTransfer", sdk.spiTransfer(sent, received, count), [&] { return received == sent; });
            return;
        }
        case 1: {
            const std::size_t at = random_() % (STORED - 200);
            const auto count = static_cast<std::uint16_t>(1 + random_() % 200);
            Bytes read;
            check("i2cRead", sdk.i2cRead(1, 0x51, address(at), count, read, false),
                  [&] { return read == stored(at, count); });
            return;
        }
        case 2: {
            constexpr const char* STRINGS[]{"Tarvix", "Tarvix Virtual Adapter", "TVX0000001", "firmware 1.0.0",
                                            "hardware virtual"};
            const auto index = random_() % std::size(STRINGS);
            Bytes text;
            check("getUsbString", sdk.getUsbString(text, static_cast<std::uint8_t>(index + 1)),
                  [&] { return std::string(text.begin(), text.end()) == STRINGS[index]; });
            return;
        }
        case 3: {
            const bool second = random_() % 2 != 0;
            Bytes pid;
            check("GETPID", sdk.i3cCccGETPID(second ? 9 : 8, pid), [&] {
                return pid ==
                       (second ? Bytes{0x7F, 0xFE, 0x56, 0x78, 0x90, 0x02} : Bytes{0x7F, 0xFE, 0x12, 0x34, 0x50, 0x01});
            });
            return;
        }
        case 4: {
            const auto written = random_() % 2 != 0 ? GpioLogicLevel::HIGH : GpioLogicLevel::LOW;
            GpioLogicLevel level{};
            check("gpioDigitalWrite", sdk.gpioDigitalWrite(GpioPinNumber::PIN_0, written), [] { return true; });
            check("gpioDigitalRead", sdk.gpioDigitalRead(GpioPinNumber::PIN_1, level),
                  [&] { return level == written; });
            return;
        }
        default: {
            const Bytes data = any(1 + random_() % 32);
            const auto count = static_cast<std::uint16_t>(data.size());
            Bytes read;
            check("i3cSdrWrite", sdk.i3cSdrWrite(8, {0}, data, I3cTransferFlags::NONE), [] { return true; });
            check("i3cSdrRead", sdk.i3cSdrRead(8, {0}, count, read, I3cTransferFlags::NONE),
                  [&] { return read == data; });
            return;
        }
        }
    }

    TarvixSDK sdk;
    int commands = 0;
    int succeeded = 0;

private:
    static Bytes address(std::size_t at) { return {static_cast<std::uint8_t>(at >> 8), static_cast<std::uint8_t>(at)}; }

    static Bytes stored(std::size_t at, std::size_t count)
    {
        Bytes bytes(count);
        for (std::size_t i = 0; i < count; ++i) {
            bytes[i] = static_cast<std::uint8_t>((at + i) * 7 + ((at + i) >> 8) * 29);
        }
        return bytes;
    }

    Bytes any(std::size_t count)
    {
        Bytes bytes(count);
        for (std::uint8_t& byte : bytes) {
            byte = static_cast<std::uint8_t>(random_());
        }
        return bytes;
    }

    void check(const char* what, StatusCode status, const std::function<bool()>& isRight)
    {
        ++commands;
        if (status == OK) {
            ++succeeded;
            require(isRight(), (std::string(what) + " succeeded with wrong data").c_str());
            return;
        }
        const bool damaged = status == StatusCode::NO_RESPONSE || status == StatusCode::RESPONSE_TOO_SHORT;
        require(damaged, (std::string(what) + ": status " + std::to_string(static_cast<unsigned>(status))).c_str());
    }

    std::mt19937 random_;
};

void meetFaults(int commands)
{
    Client client(SHORT_MS, 1);
    require(bool(client.sdk.open()), "cannot open");
    client.setUp();
    while (client.commands < commands) {
        client.perform();
    }
    const auto dropped = static_cast<int>(client.sdk.unmatchedResponses());
    const int failed = client.commands - client.succeeded;
    std::printf("%d of %d succeeded, %d answers dropped\n", client.succeeded, client.commands, dropped);
    require(client.succeeded > commands / 2, "too few succeeded");
    require(failed + dropped > commands / 50, "too few faults");
}

// What the two programs know of each other.
struct Shared {
    std::atomic<pid_t> processes[2];
    std::atomic<int> refusals;
    std::atomic<int> named; // refusals that told who holds the lock
};

int share(Shared& shared, unsigned self, int commands)
{
    shared.processes[self] = ::getpid();
    while (shared.processes[1 - self] == 0) {
        std::this_thread::yield();
    }
    Client client(LONG_ENOUGH_MS, self);
    std::mt19937 random(self);
    for (bool first = true; client.commands < commands; first = false) {
        for (OpenResult result; !(result = client.sdk.open());) {
            require(result.status == OpenStatus::IN_USE, result.message.c_str());
            require(result.holder == 0 || result.holder == shared.processes[1 - self], result.message.c_str());
            ++shared.refusals;
            shared.named += result.holder != 0 ? 1 : 0;
            std::this_thread::yield();
        }
        if (first) {
            client.setUp();
        }
        for (auto burst = 1 + random() % 20; burst > 0; --burst) {
            client.perform();
        }
        client.sdk.disconnect();
    }
    require(client.succeeded == client.commands, "not every command succeeded");
    require(client.sdk.unmatchedResponses() == 0, "answers of another session");
    return 0;
}

void shareAdapter(int commands)
{
    void* const memory = ::mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    auto& shared = *new (memory) Shared{};
    for (const unsigned self : {0U, 1U}) {
        if (::fork() == 0) {
            std::exit(share(shared, self, commands));
        }
    }
    for (int child = 0; child < 2; ++child) {
        int status = -1;
        require(::wait(&status) > 0 && status == 0, "a program failed");
    }
    std::printf("%d times refused, %d times by name\n", shared.refusals.load(), shared.named.load());
    require(shared.named > 0, "neither kept the other out");
}

} // namespace

int main(int count, char** arguments)
{
    require(count == 3, "usage: strict_client faults|share COMMANDS");
    (std::strcmp(arguments[1], "faults") == 0 ? meetFaults : shareAdapter)(std::atoi(arguments[2]));
}
