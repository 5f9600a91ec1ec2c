// Logs the temperature of the sensor at 0x48 for as long as you like, and goes on by itself when the adapter was
// unplugged and comes back.
//
// usage: example_logger [PERIOD_MS [READINGS]]     every second, and without end
//
// Each line holds the time in seconds since 1970, the number of the reading, and degrees. What was missed goes to
// standard error, and makes the exit status 1.
#include <chrono>
#include <thread>

#include "bench.hpp"

namespace {

StatusCode read(TarvixSDK& adapter, std::vector<std::uint8_t>& data)
{
    const OpenResult opened = adapter.open(); // returns at once while the adapter is open
    if (!opened) {
        throw std::runtime_error(opened.message);
    }
    // Each time, for an adapter that comes back has forgotten its settings.
    const StatusCode status = adapter.i2cControllerInit(0, 400'000, 0);
    return status == StatusCode::SUCCESS ? adapter.i2cRead(0, 0x48, {0x00}, 2, data, false) : status;
}

double readTemperature(TarvixSDK& adapter)
{
    std::vector<std::uint8_t> data;
    StatusCode status = read(adapter, data);
    if (status != StatusCode::SUCCESS) { // a lost adapter may be back already
        status = read(adapter, data);
    }
    check(status, "reading the sensor");
    return static_cast<std::int16_t>(data[0] << 8 | data[1]) / 256.0;
}

} // namespace

int main(int argc, char** argv)
{
    using Clock = std::chrono::system_clock;
    const std::chrono::milliseconds period(argc > 1 ? std::atol(argv[1]) : 1000);
    const long readings = argc > 2 ? std::atol(argv[2]) : -1;
    if (argc > 3 || period.count() <= 0 || (argc > 2 && readings <= 0)) {
        std::fprintf(stderr, "usage: %s [PERIOD_MS [READINGS]], each a number from 1\n", argv[0]);
        return EXIT_FAILURE;
    }
    TarvixSDK adapter(500); // milliseconds to wait for each response
    long missed = 0;
    auto due = std::chrono::steady_clock::now();
    for (long number = 0; number != readings; ++number, due += period) {
        std::this_thread::sleep_until(due);
        const double time = std::chrono::duration<double>(Clock::now().time_since_epoch()).count();
        try {
            std::printf("%.6f %ld %.2f\n", time, number, readTemperature(adapter));
            std::fflush(stdout);
        } catch (const std::exception& error) {
            ++missed;
            std::fprintf(stderr, "%.6f %ld missed: %s\n", time, number, error.what());
        }
    }
    return missed == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
