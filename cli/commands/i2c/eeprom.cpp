#include "commands/i2c/eeprom.hpp"

#include <algorithm>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

#include "arguments/transfers.hpp"
#include "commands/i2c/pages.hpp"

namespace tool {

Eeprom::Eeprom(Context& context, const I2cPortOptions& port, std::uint8_t address, EepromPart part, unsigned inFlight)
    : context_(context), port_(port), address_(address), part_(std::move(part)), inFlight_(inFlight)
{
}

Carriage Eeprom::carriage() const
{
    return carriageOf(port_);
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
    return readTarget(context_, port_, place.address, encodeRegister(place.reg, part_.registerBytes),
                      std::min<std::uint64_t>(count, left), busyUntil_);
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
