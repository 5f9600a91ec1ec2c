#include <algorithm>
#include <atomic>

#include <sys/resource.h>

#include "scenario.hpp"

namespace e2e {

namespace {

// Through the SPI loopback: as many bytes each way.
void transfer(Place place, std::uint16_t size)
{
    Bench bench(place);
    succeed(bench.sdk.spiControllerInit(SpiBitOrder::MSB_FIRST, SpiMode::MODE_0, SpiDataWidth::BITS_8,
                                        SpiChipSelect::SELECT_1, SpiChipSelectPolarity::ACTIVE_LOW, 10'000'000),
            "spiControllerInit");
    Bytes sent = pattern(size, size);
    Bytes received;
    succeed(bench.sdk.spiTransfer(sent, received, size), "spiTransfer");
    requireEqual(received, sent, "the loopback of " + std::to_string(size) + " bytes");
}

const Scenario TRANSFER_32768("transfer-32768", [](Place place) { transfer(place, 32768); });
const Scenario TRANSFER_65535("transfer-65535", [](Place place) { transfer(place, 65535); });

// Wants the processor for itself.
int compete(int niceness)
{
    ::setpriority(PRIO_PROCESS, 0, niceness);
    std::atomic<unsigned> turns = 0;
    for (;;) {
        ++turns;
    }
}

// Pages written all over the memory, and read in longest responses while other processes compete with the reader for
// the processor.
const Scenario PRESSURE("pressure", [](Place place) {
    Bench bench(place);
    succeed(bench.sdk.i2cControllerInit(EEPROM_BUS, 400'000, 0), "i2cControllerInit");
    Bytes expected(EEPROM_SIZE, 0xFF);
    for (std::size_t address = 0; address < EEPROM_SIZE; address += EEPROM_SIZE / 8) {
        const Bytes page = pattern(EEPROM_PAGE, static_cast<unsigned>(address));
        std::copy(page.begin(), page.end(), expected.begin() + static_cast<std::ptrdiff_t>(address));
        succeed(bench.sdk.i2cWrite(EEPROM_BUS, EEPROM, eepromAddress(address), page, false), "i2cWrite");
    }
    expected = expected + expected; // reading wraps
    expected.pop_back();

    // Nothing makes /dev/uhid wait for its reader as USB does, and an emulated processor shared by three is no match
    // for its pace: there the rivals take what is left over.
    const int niceness = place.port == Port::UHID ? 19 : 0;
    const Child one([=] { return compete(niceness); });
    const Child another([=] { return compete(niceness); });
    for (int i = 0; i < 2; ++i) {
        Bytes memory;
        succeed(bench.sdk.i2cRead(EEPROM_BUS, EEPROM, eepromAddress(0), 65535, memory, false), "i2cRead");
        requireEqual(memory, expected, "a long response");
    }
});

} // namespace

} // namespace e2e
