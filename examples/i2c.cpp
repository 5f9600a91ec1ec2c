// Scans I2C bus 0, reads the temperature sensor at 0x48, and writes a line to the EEPROM at 0x50 and reads it back.
#include <algorithm>

#include "bench.hpp"

namespace {

constexpr std::uint8_t BUS = 0;
constexpr std::uint8_t SENSOR = 0x48;
constexpr std::uint8_t EEPROM = 0x50;
constexpr std::size_t PAGE = 8; // bytes the EEPROM takes in one write

} // namespace

int main(int argc, char** argv)
{
    return run(argc, argv, [](TarvixSDK& adapter) {
        check(adapter.i2cControllerInit(BUS, 400'000, 0), "setting up I2C bus 0");

        std::vector<std::uint8_t> addresses;
        std::uint8_t ones = 0;
        std::uint8_t twos = 0;
        check(adapter.i2cScanBus(addresses, &ones, &twos, BUS, false), "scanning");
        addresses.resize(ones);
        for (const std::uint8_t address : addresses) {
            std::printf("0x%02x answers\n", address);
        }

        std::vector<std::uint8_t> data;
        check(adapter.i2cRead(BUS, SENSOR, {0x00}, 2, data, false), "reading the sensor");
        std::printf("%.2f degrees\n", static_cast<std::int16_t>(data[0] << 8 | data[1]) / 256.0);

        const std::string line = "midnight at the bench";
        for (std::size_t at = 0; at < line.size(); at += PAGE) {
            const std::string page = line.substr(at, PAGE);
            check(adapter.i2cWrite(BUS, EEPROM, {static_cast<std::uint8_t>(at)}, {page.begin(), page.end()}, false),
                  "writing the EEPROM");
        }
        check(adapter.i2cRead(BUS, EEPROM, {0x00}, static_cast<std::uint16_t>(line.size()), data, false),
              "reading the EEPROM");
        std::printf("%s\n", std::string(data.begin(), data.end()).c_str());
    });
}
