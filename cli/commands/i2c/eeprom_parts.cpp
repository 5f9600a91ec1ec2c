#include "commands/i2c/eeprom_parts.hpp"

#include <algorithm>
#include <array>
#include <string_view>

#include <fmt/format.h>

#include "console/errors.hpp"
#include "console/text.hpp"

namespace tool {

namespace {

struct NamedPart {
    std::string_view name;
    std::uint64_t size;
    std::uint64_t page;
    unsigned registerBytes;
};

// Pages are the smallest that any maker's part of this name has.
constexpr std::array PARTS{
    NamedPart{"24c01", 128, 8, 1},      NamedPart{"24c02", 256, 8, 1},       NamedPart{"24c04", 512, 16, 1},
    NamedPart{"24c08", 1024, 16, 1},    NamedPart{"24c16", 2048, 16, 1},     NamedPart{"24c32", 4096, 32, 2},
    NamedPart{"24c64", 8192, 32, 2},    NamedPart{"24c128", 16384, 64, 2},   NamedPart{"24c256", 32768, 64, 2},
    NamedPart{"24c512", 65536, 128, 2}, NamedPart{"24cm01", 131072, 256, 2}, NamedPart{"24cm02", 262144, 256, 2},
};

std::uint64_t reachOf(unsigned registerBytes)
{
    return std::uint64_t{1} << (8 * registerBytes);
}

EepromPart partOf(const std::string& name)
{
    const auto* const part = std::ranges::find(PARTS, std::string_view(name), &NamedPart::name);
    if (part == PARTS.end()) {
        throw UsageError(fmt::format("--part: '{}' is not one of {}", name, eepromPartNames()),
                         "give --size, --page and --reg-bytes instead");
    }
    return {{part->size, part->page}, part->registerBytes};
}

} // namespace

EepromPart eepromPart(const EepromPartOptions& options)
{
    const bool described = options.size || options.page || options.registerBytes;
    if (!options.part.empty() && described) {
        throw UsageError("--part: cannot be combined with --size, --page or --reg-bytes", "it stands for all three");
    }
    if (!options.part.empty()) {
        return partOf(options.part);
    }
    if (!options.size) {
        throw UsageError("--part: an EEPROM does not say what it is", "give --part 24c02 or the like, or --size");
    }
    EepromPart part{{*options.size, options.page.value_or(SMALLEST_PAGE)}, options.registerBytes.value_or(1)};
    if (part.geometry.size > reachOf(part.registerBytes)) {
        throw UsageError(fmt::format("--size: {} exceeds a {}-byte register address", sizeText(part.geometry.size),
                                     part.registerBytes),
                         "raise --reg-bytes, or give --part for one whose target address has the other bits");
    }
    return part;
}

std::string eepromPartNames()
{
    std::string names;
    for (const NamedPart& part : PARTS) {
        names += (names.empty() ? "" : ", ") + std::string(part.name);
    }
    return names;
}

EepromPlace placeOf(const EepromPart& part, std::uint8_t address, std::uint64_t offset)
{
    const std::uint64_t reach = reachOf(part.registerBytes);
    return {static_cast<std::uint8_t>(address | offset / reach), offset % reach};
}

void requireFirstAddress(const EepromPart& part, std::uint8_t address)
{
    const std::uint64_t blocks = (part.geometry.size - 1) / reachOf(part.registerBytes) + 1;
    if (address % blocks != 0) {
        throw UsageError(fmt::format("ADDRESS: a memory of {} has {} target addresses, and 0x{:02x} is not the first",
                                     sizeText(part.geometry.size), blocks, address),
                         fmt::format("use 0x{:02x}", address - address % blocks));
    }
}

} // namespace tool
