// What the library adds to hidapi's own calls. hidapi is replaced by a device that takes every report at once and
// answers from memory, so what is measured is the library alone; compare the rows of one run with each other:
//
//   bare_write/64              one hid_write, for scale
//   command/64                 the same through a command: frame, segment, write
//   long_write, long_read      65,535 bytes through 64- and 1024-byte reports, as bytes per second
//   copy                       memcpy of the same bytes, the floor
#include <atomic>
#include <condition_variable>
#include <cstring>
#include <mutex>
#include <vector>

#include <benchmark/benchmark.h>
#include <hidapi.h>

#include "tarvixsdk/async_sdk.hpp"
#include "tarvixsdk/sdk.hpp"

namespace {

using Bytes = std::vector<std::uint8_t>;

// The product to be found, and the reports that the reader gets after each last segment of a request.
std::uint16_t product = 0x82FC;
std::vector<Bytes> answer;
std::mutex mutex;
std::condition_variable changed;
std::size_t next = SIZE_MAX; // report of `answer` to be read next

void setUp(std::uint16_t kind, const Bytes& answerFrame)
{
    product = kind;
    const std::size_t capacity = (kind == 0x82FC ? 64U : 1024U) - 2;
    answer.clear();
    next = SIZE_MAX;
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

struct hid_device_ {};

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
    static hid_device_ device;
    return &device;
}

void hid_close(hid_device*) {}

int hid_write(hid_device*, const unsigned char* data, size_t length)
{
    benchmark::DoNotOptimize(data[length - 1]);
    if (!answer.empty() && (data[1] & 2U) != 0) {
        const std::lock_guard lock(mutex);
        next = 0;
        changed.notify_one();
    }
    return static_cast<int>(length);
}

int hid_read_timeout(hid_device*, unsigned char* data, size_t length, int milliseconds)
{
    std::unique_lock lock(mutex);
    if (!changed.wait_for(lock, std::chrono::milliseconds(milliseconds), [] { return next < answer.size(); })) {
        return 0;
    }
    std::memcpy(data, answer[next++].data(), length);
    return static_cast<int>(length);
}

namespace {

constexpr std::size_t LONG = 65535;

void bareWrite(benchmark::State& state)
{
    setUp(0x82FC, {});
    Bytes report(65);
    for (auto _ : state) {
        hid_write(nullptr, report.data(), report.size());
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

void exchange(benchmark::State& state)
{
    setUp(0x82FC, {1, 0, 2, 0x14, 0, 0});
    TarvixSDK sdk(1000);
    sdk.connect("");
    for (auto _ : state) {
        sdk.gpioDigitalWrite(GpioPinNumber::PIN_1, GpioLogicLevel::HIGH);
    }
}
BENCHMARK(exchange)->Name("exchange/64")->UseRealTime();

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
