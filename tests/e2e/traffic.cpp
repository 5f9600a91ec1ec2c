#include "scenarios.hpp"

#include <algorithm>
#include <atomic>
#include <csignal>

#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <tarvixsdk/sdk.hpp>

#include "session.hpp"
#include "waiting.hpp"

namespace e2e {

namespace {

// Writes some pages, all over the memory; returns what the memory then holds.
Bytes fillEeprom(TarvixSDK& sdk)
{
    succeed(sdk.i2cControllerInit(EEPROM_BUS, 400'000, 0), "i2cControllerInit");
    Bytes memory(EEPROM_SIZE, 0xFF);
    for (std::size_t address = 0; address < memory.size(); address += memory.size() / 8) {
        const Bytes page = pattern(EEPROM_PAGE, static_cast<unsigned>(address));
        std::copy(page.begin(), page.end(), memory.begin() + static_cast<std::ptrdiff_t>(address));
        succeed(sdk.i2cWrite(EEPROM_BUS, EEPROM, eepromAddress(address), page, false), "i2cWrite");
    }
    return memory;
}

// Through the SPI loopback: as many bytes each way.
void exchange(TarvixSDK& sdk, std::size_t size)
{
    succeed(sdk.spiControllerInit(SpiBitOrder::MSB_FIRST, SpiMode::MODE_0, SpiDataWidth::BITS_8,
                                  SpiChipSelect::SELECT_1, SpiChipSelectPolarity::ACTIVE_LOW, 10'000'000),
            "spiControllerInit");
    Bytes sent = pattern(size, static_cast<unsigned>(size));
    Bytes received;
    succeed(sdk.spiTransfer(sent, received, static_cast<std::uint16_t>(size)), "spiTransfer");
    requireEqual(received, sent, "the loopback of " + std::to_string(size) + " bytes");
}

void transfer(Place place, std::size_t size)
{
    const VirtualCable cable(place);
    TarvixSDK sdk(TIMEOUT_MS);
    open(sdk, place.serialNumber());
    exchange(sdk, size);
}

// A process that wants the processor for itself.
class Rival {
public:
    explicit Rival(int niceness) : process_(::fork())
    {
        if (process_ == 0) {
            ::setpriority(PRIO_PROCESS, 0, niceness);
            ::prctl(PR_SET_PDEATHSIG, SIGKILL);
            std::atomic<unsigned> turns = 0;
            for (;;) {
                ++turns;
            }
        }
    }
    ~Rival()
    {
        ::kill(process_, SIGKILL);
        ::waitpid(process_, nullptr, 0);
    }
    Rival(const Rival&) = delete;
    Rival& operator=(const Rival&) = delete;

private:
    pid_t process_;
};

} // namespace

void eeprom(Place place)
{
    const VirtualCable cable(place);
    TarvixSDK sdk(TIMEOUT_MS);
    open(sdk, place.serialNumber());
    const Bytes written = fillEeprom(sdk);
    Bytes memory;
    succeed(sdk.i2cRead(EEPROM_BUS, EEPROM, eepromAddress(0), EEPROM_SIZE, memory, false), "i2cRead");
    requireEqual(memory, written, "the EEPROM");
}

void transfer32768(Place place)
{
    transfer(place, 32768);
}

void transfer65535(Place place)
{
    transfer(place, 65535);
}

// Longest responses while other processes compete with the reader for the processor.
void pressure(Place place)
{
    const VirtualCable cable(place);
    TarvixSDK sdk(TIMEOUT_MS);
    open(sdk, place.serialNumber());
    Bytes expected = fillEeprom(sdk);
    expected.insert(expected.end(), expected.begin(), expected.end()); // reading wraps
    expected.pop_back();

    // Nothing makes /dev/uhid wait for its reader as USB does, and an emulated processor shared by three is no match
    // for its pace: there the rivals take what is left over.
    const int niceness = place.port == Port::UHID ? 19 : 0;
    const Rival one(niceness);
    const Rival another(niceness);
    for (int i = 0; i < 2; ++i) {
        Bytes memory;
        succeed(sdk.i2cRead(EEPROM_BUS, EEPROM, eepromAddress(0), 65535, memory, false), "i2cRead");
        requireEqual(memory, expected, "a long response");
    }
}

} // namespace e2e
