// Cutting frames into reports and joining them, against loops written by hand, and against
// libfido2, whose frames over HID (CTAPHID) are of the same kind.
#include <array>
#include <cstdint>
#include <cstring>
#include <span>
#include <vector>

#ifdef TARVIX_BENCH_FIDO2
#include <fido.h>
#endif

#include "by_turns.hpp"
#include "transport/report_segmenter.hpp"

namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr std::size_t LONG = 65535;
constexpr std::size_t FIDO_LONGEST = 2048; // that libfido2 takes

// A frame and its reports, one after another.
struct Cut {
    Cut(std::size_t size, std::size_t itsReportSize)
        : frame(size, 1),
          reportSize(itsReportSize),
          segmenter(itsReportSize),
          reports(segmenter.segmentCount(size) * reportSize)
    {
        cut();
    }

    void cut()
    {
        for (std::size_t i = 0; i < reports.size() / reportSize; ++i) {
            segmenter.cut(frame, i, std::span(reports).subspan(i * reportSize, reportSize));
        }
        benchmark::DoNotOptimize(reports.data());
    }

    void cutByHand()
    {
        const std::size_t capacity = reportSize - 2;
        std::uint8_t* report = reports.data();
        for (std::size_t at = 0; at < frame.size(); at += capacity, report += reportSize) {
            const std::size_t count = std::min(capacity, frame.size() - at);
            const auto header =
                static_cast<std::uint16_t>(count << 2 | (at == 0 ? 1 : 0) | (at + count == frame.size() ? 2 : 0));
            std::memcpy(report, &header, 2);
            std::memcpy(report + 2, frame.data() + at, count);
            std::memset(report + 2 + count, 0, capacity - count);
        }
        benchmark::DoNotOptimize(reports.data());
    }

    Bytes frame;
    std::size_t reportSize;
    ReportSegmenter segmenter;
    Bytes reports;
};

void cut(benchmark::State& state)
{
    Cut cut(LONG, static_cast<std::size_t>(state.range(0)));
    compareTimes(
        state, [&] { cut.cut(); }, [&] { cut.cutByHand(); });
}
BENCHMARK(cut)->Arg(64)->Arg(1024);

// Called as the library's is.
[[gnu::noinline]] bool joinByHand(Bytes& frame, std::span<const std::uint8_t> report)
{
    std::uint16_t header = 0;
    std::memcpy(&header, report.data(), 2);
    if ((header & 1) != 0) {
        frame.clear();
    }
    const std::size_t count = std::min<std::size_t>(header >> 2, report.size() - 2);
    frame.insert(frame.end(), report.data() + 2, report.data() + 2 + count);
    return (header & 2) != 0;
}

void join(benchmark::State& state)
{
    const Cut cut(LONG, static_cast<std::size_t>(state.range(0)));
    ReportAssembler assembler;
    Bytes frame;
    const auto each = [&](auto take) {
        for (std::size_t at = 0; at < cut.reports.size(); at += cut.reportSize) {
            benchmark::DoNotOptimize(take(std::span(cut.reports).subspan(at, cut.reportSize)));
        }
    };
    compareTimes(
        state, [&] { each([&](auto report) { return assembler.accept(report); }); },
        [&] { each([&](auto report) { return joinByHand(frame, report); }); });
}
BENCHMARK(join)->Arg(64)->Arg(1024);

#ifdef TARVIX_BENCH_FIDO2
// An authenticator in memory that answers every request with the same frame.
struct Authenticator {
    static constexpr std::size_t REPORT = 64;

    void answer(std::uint8_t command, const Bytes& data)
    {
        reports.clear();
        next = 0;
        Bytes report{0xFF,
                     0xFF,
                     0xFF,
                     0xFF,
                     static_cast<std::uint8_t>(0x80 | command),
                     static_cast<std::uint8_t>(data.size() >> 8),
                     static_cast<std::uint8_t>(data.size())};
        if (command != INIT) {
            std::memset(report.data(), CHANNEL, 4);
        }
        std::uint8_t sequence = 0;
        for (std::size_t at = 0; at < data.size();) {
            const std::size_t count = std::min(REPORT - report.size(), data.size() - at);
            report.insert(report.end(), data.begin() + static_cast<std::ptrdiff_t>(at),
                          data.begin() + static_cast<std::ptrdiff_t>(at + count));
            at += count;
            report.resize(REPORT);
            reports.push_back(report);
            report = {CHANNEL, CHANNEL, CHANNEL, CHANNEL, sequence++};
        }
    }

    static constexpr std::uint8_t INIT = 0x06;
    static constexpr std::uint8_t CBOR = 0x10;
    static constexpr std::uint8_t CHANNEL = 0x11;
    std::vector<Bytes> reports;
    std::size_t next = 0;
} authenticator;

// The only channel is granted to the nonce that the request carries.
int takeRequest(void* /*handle*/, const unsigned char* data, std::size_t size)
{
    if ((data[5] & 0x7F) == Authenticator::INIT) {
        Bytes granted(data + 8, data + 16);
        granted.insert(granted.end(), 4, Authenticator::CHANNEL);
        granted.insert(granted.end(), {2, 1, 0, 0, 0}); // protocol version, device version, no capabilities
        authenticator.answer(Authenticator::INIT, granted);
    }
    return static_cast<int>(size);
}

int giveReport(void* /*handle*/, unsigned char* data, std::size_t size, int /*ms*/)
{
    std::memcpy(data, authenticator.reports[authenticator.next].data(), size);
    authenticator.next = (authenticator.next + 1) % authenticator.reports.size();
    return static_cast<int>(size);
}

// Frames as long as libfido2 takes them; each report is copied from memory, as by a read. libfido2's way in is a
// request for information: it hands back the first byte of an answer that begins with an error, and looks no further.
void joinAgainstFido(benchmark::State& state)
{
    fido_init(0);
    fido_dev_t* device = fido_dev_new();
    fido_cbor_info_t* info = fido_cbor_info_new();
    const fido_dev_io_t calls{[](const char*) { return static_cast<void*>(&authenticator); }, [](void*) {}, giveReport,
                              takeRequest};
    if (fido_dev_set_io_functions(device, &calls) != FIDO_OK || fido_dev_open(device, "memory") != FIDO_OK) {
        return state.SkipWithError("libfido2 does not open a device in memory");
    }
    authenticator.answer(Authenticator::CBOR, Bytes(FIDO_LONGEST, FIDO_ERR_NOT_ALLOWED));
    if (fido_dev_get_cbor_info(device, info) != FIDO_ERR_NOT_ALLOWED) {
        return state.SkipWithError("libfido2 does not take the answer");
    }
    const Cut cut(FIDO_LONGEST, Authenticator::REPORT);
    ReportAssembler assembler;
    const auto ours = [&] {
        std::array<std::uint8_t, Authenticator::REPORT> report;
        for (std::size_t at = 0; at < cut.reports.size(); at += report.size()) {
            std::memcpy(report.data(), cut.reports.data() + at, report.size());
            benchmark::DoNotOptimize(assembler.accept(report));
        }
    };
    compareTimes(
        state, ours, [&] { fido_dev_get_cbor_info(device, info); }, 16);
    fido_dev_close(device);
    fido_cbor_info_free(&info);
    fido_dev_free(&device);
}
BENCHMARK(joinAgainstFido)->Name("join/fido");
#endif

} // namespace

BENCHMARK_MAIN();
