#include "board/types/nor_flash.hpp"

#include <algorithm>
#include <bit>
#include <utility>

#include <fmt/format.h>

#include "board/types/contents.hpp"
#include "devices/nor_flash.hpp"

namespace sim {

namespace {

constexpr double LONGEST_BUSY_MS = 600'000;

void readTime(Object& object, const std::string& key, NorFlash::Duration& time)
{
    if (const auto given = object.find(key)) {
        time = given->milliseconds(LONGEST_BUSY_MS);
    }
}

// What most chips use.
std::uint8_t usualCommand(const Node& node, std::size_t size)
{
    switch (size) {
    case 0x1000:
        return 0x20;
    case 0x8000:
        return 0x52;
    case 0x1'0000:
        return 0xD8;
    default:
        node.fail(fmt::format("there is no usual command that erases {} bytes; give 'command'", size));
    }
}

NorFlash::Erase readErase(const Node& node, const NorFlash::Parameters& flash)
{
    Object object(node);
    NorFlash::Erase erase{};
    const Node size = object.get("size");
    erase.size = size.number(NorFlash::SMALLEST_SECTOR, flash.size);
    if (!std::has_single_bit(erase.size) || flash.size % erase.size != 0) {
        size.fail(fmt::format("{} is no power of two that divides the size of the flash, {}", erase.size, flash.size));
    }
    if (!flash.erases.empty() && erase.size <= flash.erases.back().size) {
        size.fail("sectors come in the order of their sizes, smallest first");
    }
    const auto command = object.find("command");
    erase.command = command ? static_cast<std::uint8_t>(command->number(0, 0xFF)) : usualCommand(node, erase.size);
    if (NorFlash::isTaken(erase.command) ||
        std::ranges::count(flash.erases, erase.command, &NorFlash::Erase::command)) {
        command.value_or(node).fail(fmt::format("command 0x{:02x} has another meaning already", erase.command));
    }
    readTime(object, "erase_ms", erase.time);
    object.end();
    return erase;
}

} // namespace

void readNorFlash(Object& object, DeviceBoard<SpiDevice>& board)
{
    NorFlash::Parameters flash;
    if (const auto id = object.find("jedec_id")) {
        flash.jedecId = id->bytes(20);
    }
    if (const auto size = object.find("size")) {
        flash.size = size->number(NorFlash::SMALLEST_SECTOR, NorFlash::LARGEST);
        if (flash.size % NorFlash::SMALLEST_SECTOR != 0) {
            size->fail(fmt::format("{} is no multiple of {}", flash.size, NorFlash::SMALLEST_SECTOR));
        }
    }
    if (const auto sectors = object.find("sectors")) {
        flash.erases.clear();
        for (const Node& sector : sectors->items(1, NorFlash::MOST_ERASES)) {
            flash.erases.push_back(readErase(sector, flash));
        }
    }
    readTime(object, "program_ms", flash.programTime);
    readTime(object, "chip_erase_ms", flash.chipEraseTime);
    Contents contents = readContents(object, flash.size);
    flash.contents = std::move(contents.bytes);
    flash.keptIn = std::move(contents.keptIn);
    board.make = [flash = std::move(flash)](World& world) { return std::make_unique<NorFlash>(flash, world); };
}

} // namespace sim
