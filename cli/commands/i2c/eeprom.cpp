#include "commands/i2c/eeprom.hpp"

#include <algorithm>
#include <utility>
#include <vector>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "adapter/statuses.hpp"
#include "arguments/transfers.hpp"
#include "commands/i2c/pages.hpp"

namespace tool {

Eeprom::Eeprom(Context& context, const I2cPortOptions& port, std::uint8_t address, EepromPart part, unsigned inFlight)
    : context_(context), port_(port), address_(address), part_(std::move(part)), inFlight_(inFlight)
{
}

Carriage Eeprom::carriage() const
{
    constexpr unsigned CLOCKS_PER_BYTE = 9; // with the acknowledge
    constexpr std::size_t ANSWER_OVERHEAD = 9;
    return {port_.clock, CLOCKS_PER_BYTE, ANSWER_OVERHEAD};
}

Json Eeprom::fields() const
{
    return {{"bus", port_.bus}, {"address", address_}};
}

// Not beyond the end of a block, and patient while the memory is busy with the page written last.
Bytes Eeprom::read(std::uint64_t offset, std::size_t count)
{
    const EepromPlace place = placeOf(part_, address_, offset);
    const std::uint64_t left = (std::uint64_t{1} << (8 * part_.registerBytes)) - place.reg;
    const auto length = static_cast<std::uint16_t>(std::min<std::uint64_t>(count, left));
    const Bytes reg = encodeRegister(place.reg, part_.registerBytes);
    for (;;) {
        const bool late = std::chrono::steady_clock::now() >= busyUntil_;
        Bytes bytes;
        const StatusCode status = context_.sdk().i2cRead(port_.index(), place.address, reg, length, bytes, false);
        if (late || !isStatus(status, DeviceStatus::NACK)) {
            checkRead(context_, status, port_, place.address);
            return bytes;
        }
    }
}

void Eeprom::erase(const Extent&) {}

void Eeprom::write(std::span<const PageWrite> pages, const std::function<void(std::size_t bytes)>& written)
{
    const PageOptions options{port_.index(), part_.registerBytes, inFlight_};
    std::vector<I2cPage> i2cPages;
    for (const PageWrite& page : pages) {
        const EepromPlace place = placeOf(part_, address_, page.offset);
        i2cPages.push_back({place.address, place.reg, page.data});
    }
    writePages(context_, options, i2cPages, I2C_ADDRESS_ADVICE,
               [&](std::size_t count) { written(pages[count - 1].data.size()); });
    busyUntil_ = std::chrono::steady_clock::now() + options.busyLimit;
}

std::string Eeprom::adviceOnDifference()
{
    return "check --part, --size and --page, the write-protect pin and the supply";
}

} // namespace tool
