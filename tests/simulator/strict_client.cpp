// Strict sessions with the virtual adapter whose every answer can be told from all others. Under `tarvix-sim run`:
//
//   strict_client faults COMMANDS   one session, whatever the adapter's faults do to it
//   strict_client share COMMANDS    two programs, each in a loop of short sessions on the same adapter
//
// Fails when a SUCCESS carries wrong data, and when too little happened to tell.
#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <new>
#include <random>
#include <string_view>
#include <thread>
#include <vector>

#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tarvixsdk/sdk.hpp"

namespace {

using Bytes = std::vector<std::uint8_t>;

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

class Client {
public:
    Client(int timeout, unsigned seed) : sdk(timeout), random_(seed) {}

    void setUp()
    {
        insist([&] { return sdk.i2cControllerInit(1, 400'000, 0); });
        insist([&] {
            return sdk.spiControllerInit(SpiBitOrder::MSB_FIRST, SpiMode::MODE_0, SpiDataWidth::BITS_8,
                                         SpiChipSelect::SELECT_1, SpiChipSelectPolarity::ACTIVE_LOW, 1'000'000);
        });
        insist([&] {
            return sdk.i3cControllerInit(I3cPushPullRate::MHZ_12_5, I3cOpenDrainTransferRate::MHZ_4,
                                         I2cTransferRate::KHZ_400, I3cDriveStrength::LOW);
        });
        insist([&] {
            return sdk.i3cInitBus({{0x30, 0x08, {}, 0, 0, 0, 0, 0, 0}, {0x31, 0x09, {}, 0, 0, 0, 0, 0, 0}});
        });
        for (std::size_t at = 0; at < STORED; at += PAGE) {
            insist([&] { return sdk.i2cWrite(1, 0x51, address(at), stored(at, PAGE), false); });
        }
    }

    // One of several commands at random, with data that no other has.
    void perform()
    {
        constexpr std::string_view STRINGS[]{"Tarvix", "Tarvix Virtual Adapter", "TVX0000001", "firmware 1.0.0"};
        const Bytes pids[]{{0x7F, 0xFE, 0x12, 0x34, 0x50, 0x01}, {0x7F, 0xFE, 0x56, 0x78, 0x90, 0x02}};
        const auto pick = random_();
        Bytes data(1 + pick % 60);
        std::generate(data.begin(), data.end(), [&] { return static_cast<std::uint8_t>(random_()); });
        const auto count = static_cast<std::uint16_t>(data.size());
        const std::size_t at = pick % (STORED - count);
        const std::string_view text = STRINGS[pick % std::size(STRINGS)];
        Bytes read;
        switch (random_() % 5) {
        case 0:
            return check(sdk.spiTransfer(data, read, count), read, data);
        case 1:
            return check(sdk.i2cRead(1, 0x51, address(at), count, read, false), read, stored(at, count));
        case 2:
            return check(sdk.getUsbString(read, static_cast<std::uint8_t>(1 + pick % std::size(STRINGS))), read,
                         {text.begin(), text.end()});
        case 3:
            return check(sdk.i3cCccGETPID(pick % 2 == 0 ? 8 : 9, read), read, pids[pick % 2]);
        default: // the write counts, whatever becomes of its answer
            check(sdk.i3cSdrWrite(8, {0}, data, I3cTransferFlags::NONE), read, {});
            return check(sdk.i3cSdrRead(8, {0}, count, read, I3cTransferFlags::NONE), read, data);
        }
    }

    TarvixSDK sdk;
    int commands = 0;
    int succeeded = 0;

private:
    static Bytes address(std::size_t at) { return {static_cast<std::uint8_t>(at >> 8), static_cast<std::uint8_t>(at)}; }

    static Bytes stored(std::size_t at, std::size_t count)
    {
        Bytes bytes;
        for (; bytes.size() < count; ++at) {
            bytes.push_back(static_cast<std::uint8_t>(at * 7 + (at >> 8) * 29));
        }
        return bytes;
    }

    // Until it succeeds: its answer may get lost.
    template <typename Command>
    static void insist(Command command)
    {
        int tries = 0;
        while (command() != StatusCode::SUCCESS) {
            require(++tries < 500, "cannot set the adapter up");
        }
    }

    void check(StatusCode status, const Bytes& read, const Bytes& expected)
    {
        ++commands;
        if (status == StatusCode::SUCCESS) {
            ++succeeded;
            require(read == expected, "wrong data with SUCCESS");
            return;
        }
        require(status == StatusCode::NO_RESPONSE || status == StatusCode::RESPONSE_TOO_SHORT, statusName(status));
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
