// What the library adds to hidapi's own calls. hidapi is replaced by a device that takes every report at once and
// answers from memory, so what is measured is the library alone; compare the rows of one run with each other:
//
//   bare_write/64              one hid_write, for scale
//   command/64                 the same through a command: frame, segment, write
//   exchange/A_to_B            two kinds of exchange by turns, and the ratio and difference of their medians
//   adapters/N                 a strict session for each of N adapters against as many bare readers, per exchange
//   closing, idle, memory      ending sessions, resting ones, allocations of a command
//   long_write, long_read      65,535 bytes through 64- and 1024-byte reports, as bytes per second
//   copy                       memcpy of the same bytes, the floor
#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>
#include <mutex>
#include <new>
#include <thread>
#include <vector>

#include <benchmark/benchmark.h>
#include <hidapi.h>
#include <time.h>

#include "by_turns.hpp"
#include "tarvixsdk/async_sdk.hpp"
#include "tarvixsdk/flat.h"
#include "tarvixsdk/sdk.hpp"

namespace {

using Bytes = std::vector<std::uint8_t>;

std::atomic<std::size_t> allocations = 0;

// The answer to a GPIO write.
const Bytes GPIO_WRITTEN{1, 0, 2, 0x14, 0, 0};

// The product to be found, and the reports that the reader gets after each last segment of a request.
std::uint16_t product = 0x82FC;
std::vector<Bytes> answer;

void setUp(std::uint16_t kind, const Bytes& answerFrame)
{
    product = kind;
    const std::size_t capacity = (kind == 0x82FC ? 64U : 1024U) - 2;
    answer.clear();
    for (std::size_t at = 0; at < answerFrame.size(); at += capacity) {
        const std::size_t count = std::min(capacity, answerFrame.size() - at);
        const std::size_t header = count << 2 | (at == 0 ? 1U : 0U) | (at + count == answerFrame.size() ? 2U : 0U);
        Bytes report(capacity + 2);
        report[0] = static_cast<std::uint8_t>(header);
        report[1] = static_cast<std::uint8_t>(header >> 8);
        std::memcpy(report.data() + 2, answerFrame.data() + at, count);
        answer.push_back(report);
    }
}

} // namespace

[[gnu::noinline]] void* operator new(std::size_t size)
{
    ++allocations;
    if (void* memory = std::malloc(size)) {
        return memory;
    }
    throw std::bad_alloc();
}

[[gnu::noinline]] void operator delete(void* memory) noexcept
{
    std::free(memory);
}

[[gnu::noinline]] void operator delete(void* memory, std::size_t) noexcept
{
    std::free(memory);
}

struct hid_device_ {
    std::mutex mutex;
    std::condition_variable changed;
    std::size_t next = SIZE_MAX; // report of `answer` to be read next
    unsigned char transactionId[2]{};
};

int hid_init()
{
    return 0;
}

int hid_exit()
{
    return 0;
}

hid_device_info* hid_enumerate(unsigned short, unsigned short)
{
    static char path[] = "bench";
    static hid_device_info info{};
    info.path = path;
    info.vendor_id = 0x1FC9;
    info.product_id = product;
    return &info;
}

void hid_free_enumeration(hid_device_info*) {}

hid_device* hid_open_path(const char*)
{
    return new hid_device_;
}

void hid_close(hid_device* device)
{
    delete device;
}

int hid_write(hid_device* device, const unsigned char* data, size_t length)
{
    benchmark::DoNotOptimize(data[length - 1]);
    if (!answer.empty()) {
        const std::lock_guard lock(device->mutex);
        if ((data[1] & 1U) != 0) { // the first segment
            std::copy_n(data + 3, 2, device->transactionId);
        }
        if ((data[1] & 2U) != 0) { // the last one
            device->next = 0;
            device->changed.notify_one();
        }
    }
    return static_cast<int>(length);
}

int hid_read_timeout(hid_device* device, unsigned char* data, size_t length, int milliseconds)
{
    std::unique_lock lock(device->mutex);
    if (!device->changed.wait_for(lock, std::chrono::milliseconds(milliseconds),
                                  [device] { return device->next < answer.size(); })) {
        return 0;
    }
    std::memcpy(data, answer[device->next].data(), length);
    if (device->next++ == 0) {
        std::copy_n(device->transactionId, 2, data + 2);
    }
    return static_cast<int>(length);
}

namespace {

constexpr std::size_t LONG = 65535;

void bareWrite(benchmark::State& state)
{
    setUp(0x82FC, {});
    Bytes report(65);
    hid_device_ device;
    for (auto _ : state) {
        hid_write(&device, report.data(), report.size());
    }
}
BENCHMARK(bareWrite)->Name("bare_write/64");

void command(benchmark::State& state)
{
    setUp(0x82FC, {});
    TarvixAsyncSDK sdk;
    sdk.connect("");
    for (auto _ : state) {
        sdk.gpioDigitalWrite(1, GpioPinNumber::PIN_1, GpioLogicLevel::HIGH);
    }
}
BENCHMARK(command)->Name("command/64");

using Exchange = std::function<void()>;
using MakeExchange = Exchange (*)();

// What a program without the library would do: a thread that reads, and a condition variable.
class BareSession {
public:
    ~BareSession()
    {
        running_ = false;
        reader_.join();
        hid_close(device_);
    }

    void exchange()
    {
        hid_write(device_, request_.data(), request_.size());
        std::unique_lock lock(mutex_);
        arrived_.wait(lock, [this] { return response_; });
        response_ = false;
    }

private:
    void read()
    {
        Bytes report(64);
        while (running_) {
            if (hid_read_timeout(device_, report.data(), report.size(), 100) > 0) {
                {
                    const std::lock_guard lock(mutex_);
                    response_ = true;
                }
                arrived_.notify_one();
            }
        }
    }

    hid_device* const device_ = hid_open_path("");
    const Bytes request_ = [] {
        Bytes report(65);
        report[1] = 3; // first and last segment
        return report;
    }();
    std::mutex mutex_;
    std::condition_variable arrived_;
    bool response_ = false;
    std::atomic<bool> running_ = true;
    std::thread reader_{[this] { read(); }};
};

Exchange bare()
{
    return [session = std::make_shared<BareSession>()] { session->exchange(); };
}

Exchange session(bool strict)
{
    auto sdk = std::make_shared<TarvixSDK>(1000);
    OpenOptions options;
    options.exclusive = false;
    options.strict = strict;
    sdk->open(options);
    return [sdk] {
        if (sdk->gpioDigitalWrite(GpioPinNumber::PIN_1, GpioLogicLevel::HIGH) != StatusCode::SUCCESS) {
            std::abort();
        }
    };
}

Exchange plain()
{
    return session(false);
}

Exchange strict()
{
    return session(true);
}

// An SPI transfer of 4,096 bytes both ways.
constexpr std::uint16_t TRANSFER = 4096;

Bytes transferAnswer()
{
    Bytes frame(8 + TRANSFER);
    frame[6] = TRANSFER & 0xFF;
    frame[7] = TRANSFER >> 8;
    return frame;
}

Exchange classTransfer()
{
    auto sdk = std::make_shared<TarvixSDK>(1000);
    sdk->connect("");
    return [sdk, out = Bytes(TRANSFER, 1), in = Bytes()]() mutable {
        if (sdk->spiTransfer(out, in, TRANSFER) != StatusCode::SUCCESS) {
            std::abort();
        }
    };
}

Exchange flatTransfer()
{
    const std::shared_ptr<TarvixSDK_Handle> handle(TarvixSDK_Create(1000), TarvixSDK_Destroy);
    TarvixSDK_Connect(handle.get(), "");
    return [handle, out = Bytes(TRANSFER, 1), in = Bytes(TRANSFER)]() mutable {
        if (TarvixSDK_SpiTransfer(handle.get(), out.data(), TRANSFER, in.data(), TRANSFER) != StatusCode::SUCCESS) {
            std::abort();
        }
    };
}

void exchange(benchmark::State& state, MakeExchange makeLeft, MakeExchange makeRight, std::uint16_t kind = 0x82FC,
              const Bytes& answerFrame = GPIO_WRITTEN)
{
    setUp(kind, answerFrame);
    compareTimes(state, makeLeft(), makeRight());
}
BENCHMARK_CAPTURE(exchange, strict_to_plain, strict, plain)->UseRealTime();
BENCHMARK_CAPTURE(exchange, plain_to_plain, plain, plain)->UseRealTime();
BENCHMARK_CAPTURE(exchange, plain_to_bare, plain, bare)->UseRealTime();
BENCHMARK_CAPTURE(exchange, flat_to_class, flatTransfer, classTransfer, 0x82FD, transferAnswer())->UseRealTime();

// As many sessions at once, each on a thread of its own: the time of an exchange, all of them together.
double together(std::vector<Exchange>& exchanges)
{
    constexpr std::size_t EXCHANGES = 512; // in all
    std::vector<std::thread> threads;
    const double time = nanoseconds([&] {
        for (Exchange& each : exchanges) {
            threads.emplace_back([&each, count = EXCHANGES / exchanges.size()] {
                for (std::size_t i = 0; i < count; ++i) {
                    each();
                }
            });
        }
        for (std::thread& each : threads) {
            each.join();
        }
    });
    return time / EXCHANGES;
}

void adapters(benchmark::State& state)
{
    setUp(0x82FC, GPIO_WRITTEN);
    std::vector<Exchange> ours;
    std::vector<Exchange> bares;
    for (int i = 0; i < state.range(0); ++i) {
        ours.push_back(strict());
        bares.push_back(bare());
    }
    compareCosts(
        state, [&] { return together(ours); }, [&] { return together(bares); });
}
BENCHMARK(adapters)->Arg(1)->Arg(8)->Arg(64)->UseRealTime();

// Sessions after a command, their readers waiting for the next report.
std::vector<Exchange> used(MakeExchange make, int count)
{
    std::vector<Exchange> exchanges;
    for (int i = 0; i < count; ++i) {
        exchanges.push_back(make());
        exchanges.back()();
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
    return exchanges;
}

double closedInARow(MakeExchange make, int count)
{
    std::vector<Exchange> sessions = used(make, count);
    return nanoseconds([&] { sessions.clear(); });
}

double closedSideBySide(MakeExchange make, int count)
{
    std::vector<Exchange> sessions = used(make, count);
    std::vector<std::thread> threads;
    return nanoseconds([&] {
        for (Exchange& each : sessions) {
            threads.emplace_back([&each] { each = nullptr; });
        }
        for (std::thread& each : threads) {
            each.join();
        }
    });
}

void closing(benchmark::State& state, double (*close)(MakeExchange, int))
{
    setUp(0x82FC, GPIO_WRITTEN);
    const int count = static_cast<int>(state.range(0));
    compareCosts(
        state, [=] { return close(strict, count); }, [=] { return close(plain, count); });
}
BENCHMARK_CAPTURE(closing, after_command, closedInARow)->Arg(1)->Iterations(25)->UseRealTime();
BENCHMARK_CAPTURE(closing, in_a_row, closedInARow)->Arg(64)->Iterations(1)->UseRealTime();
BENCHMARK_CAPTURE(closing, side_by_side, closedSideBySide)->Arg(64)->Iterations(3)->UseRealTime();

// The share of a processor that an open session takes while nothing happens, in percent.
double idleShare(MakeExchange make)
{
    constexpr std::chrono::seconds REST(2);
    const Exchange session = make();
    session();
    std::this_thread::sleep_for(REST / 2); // until it has settled
    const auto used = [] {
        timespec time{};
        ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
        return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
    };
    const auto before = used();
    std::this_thread::sleep_for(REST);
    return 100 * std::chrono::duration<double>(used() - before) / REST;
}

void idle(benchmark::State& state)
{
    setUp(0x82FC, GPIO_WRITTEN);
    compareCosts(
        state, [] { return idleShare(strict); }, [] { return idleShare(bare); });
}
BENCHMARK(idle)->Iterations(3)->UseRealTime();

// The calls of operator new, in the library, too; a frame is one.
void memory(benchmark::State& state)
{
    setUp(0x82FC, GPIO_WRITTEN);
    const auto costOf = [](auto work) {
        const std::size_t before = allocations;
        work();
        return static_cast<double>(allocations - before);
    };
    const Exchange session = strict();
    session();
    compareCosts(
        state, [&] { return costOf(session); },
        [&] { return costOf([] { benchmark::DoNotOptimize(Bytes(16).data()); }); });
}
BENCHMARK(memory);

void copy(benchmark::State& state)
{
    const Bytes from(LONG, 1);
    Bytes to(LONG);
    for (auto _ : state) {
        std::memcpy(to.data(), from.data(), LONG);
        benchmark::DoNotOptimize(to.data());
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * LONG));
}
BENCHMARK(copy);

void longWrite(benchmark::State& state)
{
    setUp(static_cast<std::uint16_t>(state.range(0)), {});
    TarvixAsyncSDK sdk;
    sdk.connect("");
    const Bytes data(LONG, 1);
    for (auto _ : state) {
        sdk.uartSendMessage(1, data);
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * LONG));
}
BENCHMARK(longWrite)->Name("long_write")->ArgName("product")->Arg(0x82FC)->Arg(0x82FD);

void longRead(benchmark::State& state)
{
    setUp(static_cast<std::uint16_t>(state.range(0)), Bytes(9 + LONG, 1));
    TarvixSDK sdk(1000);
    sdk.connect("");
    Bytes data;
    for (auto _ : state) {
        sdk.i2cRead(0, 0x50, {}, LONG, data, false);
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * LONG));
}
BENCHMARK(longRead)->Name("long_read")->ArgName("product")->Arg(0x82FC)->Arg(0x82FD)->UseRealTime();

} // namespace

BENCHMARK_MAIN();
