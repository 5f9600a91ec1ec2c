// Reads the four registers of the temperature sensor at 0x48 as one job: each request is sent before the answer to the
// one before it has come.
#include <array>

#include "bench.hpp"

namespace {

constexpr std::uint8_t BUS = 0;
constexpr std::uint8_t SENSOR = 0x48;
constexpr std::size_t IN_FLIGHT = 4; // requests that the adapter's firmware must be able to queue
constexpr std::size_t SIZE = 2;      // bytes of a register
constexpr std::size_t DATA = 9;      // where they begin in a response

} // namespace

int main(int argc, char** argv)
{
    return run(argc, argv, [](TarvixSDK& adapter) {
        check(adapter.i2cControllerInit(BUS, 400'000, 0), "setting up I2C bus 0");

        std::array<unsigned, 4> registers{};
        const TarvixSDK::JobResult job = adapter.runInFlight(
            registers.size(), IN_FLIGHT,
            [](TarvixAsyncSDK& sdk, TransactionId transactionId, std::size_t command) {
                return sdk.i2cRead(transactionId, BUS, SENSOR, {static_cast<std::uint8_t>(command)}, SIZE, false);
            },
            [&](std::size_t command, StatusCode status, const std::vector<std::uint8_t>& response) {
                if (status != StatusCode::SUCCESS) {
                    return status;
                }
                if (response.size() != DATA + SIZE) {
                    return response.size() < DATA + SIZE ? StatusCode::RESPONSE_TOO_SHORT
                                                         : StatusCode::UNEXPECTED_RESPONSE;
                }
                registers[command] = response[DATA] << 8U | response[DATA + 1];
                return status;
            });
        check(job.status, "reading register " + std::to_string(job.command));
        for (std::size_t i = 0; i < registers.size(); ++i) {
            std::printf("register %zu: 0x%04x\n", i, registers[i]);
        }
    });
}
