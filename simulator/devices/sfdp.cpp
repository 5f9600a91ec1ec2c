// Serial flash discoverable parameters, version 1.6: header, one parameter header, the basic table of 16 words.
#include <algorithm>
#include <array>
#include <bit>
#include <initializer_list>

#include "devices/nor_flash.hpp"

namespace sim {

namespace {

using namespace std::chrono_literals;
using Duration = NorFlash::Duration;

// A typical time as so many units, up to 32, in the finest unit that reaches: the number of the unit and one less than
// the count, as a table has them.
std::uint32_t timeBits(Duration time, std::initializer_list<Duration> units, unsigned countBits)
{
    const auto most = std::uint32_t{1} << countBits;
    std::uint32_t number = 0;
    std::uint32_t count = 0;
    for (const Duration unit : units) {
        count = static_cast<std::uint32_t>(std::clamp<Duration::rep>((time + unit - Duration{1}) / unit, 1, most));
        if (time <= unit * most || number + 1 == units.size()) {
            break;
        }
        ++number;
    }
    return number << countBits | (count - 1);
}

} // namespace

std::vector<std::uint8_t> sfdpOf(const NorFlash::Parameters& parameters)
{
    const auto& erases = parameters.erases;
    const bool hasSmall = !erases.empty() && erases.front().size == 4096;
    std::array<std::uint32_t, NorFlash::MOST_ERASES> types;
    types.fill(0xFF00); // none
    std::uint32_t eraseTimes = 0;
    for (std::size_t i = 0; i < erases.size(); ++i) {
        types[i] = static_cast<std::uint32_t>(std::countr_zero(erases[i].size)) | std::uint32_t{erases[i].command} << 8;
        eraseTimes |= timeBits(erases[i].time, {1ms, 16ms, 128ms, 1s}, 5) << (4 + 7 * i);
    }
    const std::uint32_t programTime = timeBits(parameters.programTime, {8us, 64us}, 5);
    const std::uint32_t chipEraseTime = timeBits(parameters.chipEraseTime, {16ms, 256ms, 4s, 64s}, 5);

    std::vector<std::uint8_t> table;
    for (const std::uint32_t word : {
             0x50444653u,
             0xFF000106u, // "SFDP", one parameter header
             0x10010600u,
             0xFF000010u, // 16 words from 0x10 on
             0xFF8000E4u |
                 (hasSmall ? std::uint32_t{erases.front().command} << 8 | 1u : 0xFF03u), // three address bytes
             static_cast<std::uint32_t>(8 * parameters.size - 1),
             0u,
             0u, // reads by two and four lines: none
             0xFFFFFFEEu,
             0x0000FFFFu,
             0x0000FFFFu, // likewise
             types[0] | types[1] << 16,
             types[2] | types[3] << 16,
             eraseTimes,
             0x80000080u | programTime << 8 | chipEraseTime << 24, // pages of 2^8 bytes
             0x80000000u,
             0u,          // nothing can be suspended
             0x80000004u, // bit 0 of the status is busy; no power-down
             0u,
             1u, // the status is kept without power
         }) {
        for (int shift = 0; shift < 32; shift += 8) {
            table.push_back(static_cast<std::uint8_t>(word >> shift));
        }
    }
    return table;
}

} // namespace sim
