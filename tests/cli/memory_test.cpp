// Memories: what a plan changes, what a flash memory's table says, and the requests that a memory gets, on one that
// answers as it is told.
#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "commands/i2c/eeprom.hpp"
#include "commands/memory/plan.hpp"
#include "commands/memory/programming.hpp"
#include "commands/spi/flash_identity.hpp"
#include "commands/spi/nor_flash.hpp"
#include "commands/spi/sfdp.hpp"
#include "console/errors.hpp"
#include "support/adapter.hpp"

namespace tool {

namespace {

using std::chrono::milliseconds;

// Each digit is a byte whose upper bits are ones.
Bytes cells(const std::string& digits)
{
    Bytes bytes;
    for (const char digit : digits) {
        bytes.push_back(static_cast<std::uint8_t>(0xF0 | std::stoi(std::string(1, digit), nullptr, 16)));
    }
    return bytes;
}

TEST(Plan, ChangesTheLeastAndGetsThere)
{
    const Geometry flash{64, 4, {8, 16}};
    const Geometry eeprom{64, 4};
    const std::string f8(8, 'f');
    const struct {
        const Geometry& geometry;
        std::uint64_t first;
        std::string before, after, plan;
    } table[] = {
        {flash, 0, "0123456789abcdef", "0123456789abcdef", ""},
        {flash, 0, "fff1ffff", "fff0ffff", "w3+1 "},
        {flash, 0, "ffffffff", "ff0f0ff0", "w2+1 w4+4 "},
        {flash, 8, "0fffffff", "f0ff0fff", "e8+8 w9+1 w12+1 "},
        {flash, 0, "00000000", f8, "e0+8 "},
        {flash, 16, "00000000" + f8, "0000000000000000", "w24+4 w28+4 "},
        {flash, 0, "0fffffff0fffffff", f8 + f8, "e0+16 "},
        {flash, 0, "0fffffff" + f8, f8 + "0fffffff", "e0+8 w8+1 "},
        {flash, 8, "0000000000000000000000000000000000000000", f8 + f8 + f8 + f8 + "fffffff7",
         "e8+8 e16+16 e32+16 w47+1 "},
        {eeprom, 2, "0000000000", "0f00ff0000", "w3+1 w6+2 "},
        {eeprom, 0, "0123456789", "0123456789", ""},
    };
    for (const auto& [geometry, first, before, after, expected] : table) {
        SCOPED_TRACE(before + " " + after);
        Bytes memory = cells(before);
        const Bytes wanted = cells(after);
        std::string plan;
        for (const Change& change : planChanges(geometry, first, memory, wanted)) {
            if (change.erases) {
                plan += fmt::format("e{}+{} ", change.block.offset, change.block.length);
                std::fill_n(memory.begin() + static_cast<std::ptrdiff_t>(change.block.offset - first),
                            change.block.length, std::uint8_t{0xFF});
            }
            for (const Extent& write : change.writes) {
                plan += fmt::format("w{}+{} ", write.offset, write.length);
                for (std::uint64_t i = write.offset - first; i < write.end() - first; ++i) {
                    memory[i] = geometry.erasable.empty() ? wanted[i] : memory[i] & wanted[i];
                }
            }
        }
        EXPECT_EQ(plan, expected);
        EXPECT_EQ(memory, wanted);
    }
    EXPECT_EQ(widened(flash, {7, 2}), (Extent{0, 16}));
    EXPECT_EQ(widened(flash, {8, 8}), (Extent{8, 8}));
    EXPECT_EQ(widened(eeprom, {7, 2}), (Extent{7, 2}));
}

std::string textOf(const FlashParameters& flash)
{
    std::string text = fmt::format("{:x} bytes, page {}, {}-byte addresses, read {:02x}, program {:02x}, erase",
                                   flash.size, flash.page, flash.addressBytes, flash.readCommand, flash.programCommand);
    for (const FlashErase& erase : flash.erases) {
        text += fmt::format(" {:x} by {:02x}", erase.size, erase.command);
    }
    return text;
}

// A table for 32 MiB, with commands for 4-byte addresses; `patches` are words from there on.
std::string sfdp(const std::vector<std::pair<std::size_t, std::string>>& patches,
                 std::optional<std::uint64_t> size = {})
{
    Bytes chip = hex("53 46 44 50 06 01 01 FF  00 06 01 10 18 00 00 FF  84 00 01 02 58 00 00 FF "
                     "E5 20 FA FF FF FF FF 0F  00 00 00 00 00 00 00 00  00 00 00 00 00 00 00 00 00 00 00 00 "
                     "0C 20 0F 52 10 D8 00 FF  00 00 00 00 90 00 00 00  00 00 00 00 00 00 00 00 00 00 00 00 "
                     "00 00 00 00 00 00 00 00  41 0A 00 00 21 FF DC FF");
    for (const auto& [at, bytes] : patches) {
        std::ranges::copy(hex(bytes), chip.begin() + static_cast<std::ptrdiff_t>(at));
    }
    try {
        const auto flash = readSfdp(
            [&](std::size_t address, std::size_t count) {
                Bytes bytes(count, 0xFF);
                for (std::size_t i = 0; i < count && address + i < chip.size(); ++i) {
                    bytes[i] = chip[address + i];
                }
                return bytes;
            },
            size);
        if (!flash) {
            return "none";
        }
        return textOf(*flash);
    } catch (const Failure& failure) {
        return failure.what();
    }
}

TEST(Sfdp, SaysHowAChipIsUsedOrIsRefused)
{
    constexpr std::size_t HEADERS = 8;
    constexpr std::size_t BASIC = 0x18;
    constexpr std::size_t WORD_16 = BASIC + 60;
    constexpr std::size_t FOUR = 0x58;
    const std::string all = ", erase 1000 by 20 8000 by 52 10000 by d8";
    const std::string noCommands = "the flash holds 32 MiB, and its SFDP table names no commands with 4-byte addresses";
    EXPECT_EQ(sfdp({}), "2000000 bytes, page 512, 4-byte addresses, read 13, program 12, erase 1000 by 21 10000 by dc");
    const struct {
        std::vector<std::pair<std::size_t, std::string>> patches;
        std::string said;
    } table[] = {
        {{{0, "54"}}, "none"},
        {{{BASIC + 4, "FF FF 7F 00"}}, "100000 bytes, page 512, 3-byte addresses, read 03, program 02" + all},
        {{{BASIC + 4, "1C 00 00 80"}},
         "2000000 bytes, page 512, 4-byte addresses, read 13, program 12, erase 1000 by 21 10000 by dc"},
        {{{BASIC + 2, "FC"}}, "2000000 bytes, page 512, 4-byte addresses, read 03, program 02" + all},
        {{{WORD_16, "00 00 00 40"}}, "2000000 bytes, page 512, 4-byte addresses, read 03, program 02" + all},
        {{{HEADERS + 3, "09"}, {BASIC + 4, "FF FF 7F 00"}},
         "100000 bytes, page 256, 3-byte addresses, read 03, program 02" + all},
        {{{FOUR, "40"}}, noCommands},
        {{{FOUR, "01"}}, noCommands},
        {{{6, "00"}}, noCommands},
        {{{FOUR, "41 00"}}, "the flash's SFDP table names no erase command"},
        {{{BASIC + 28, "00 20 00 52 00"}}, "the flash's SFDP table names no erase command"},
        {{{HEADERS + 3, "08"}}, "the flash's SFDP table has 8 words, not 9 or more"},
        {{{HEADERS, "01"}}, "the flash's SFDP table has 0 words, not 9 or more"},
        {{{BASIC + 4, "24 00 00 80"}}, "the flash's SFDP table claims 2^36 bits"},
        {{{BASIC + 4, "00 00 00 00"}}, "the flash's SFDP table claims less than a byte"},
    };
    for (const auto& [patches, said] : table) {
        EXPECT_EQ(sfdp(patches), said);
    }
    EXPECT_EQ(sfdp({}, 1 << 24), "1000000 bytes, page 512, 3-byte addresses, read 03, program 02" + all);
    EXPECT_EQ(sfdp({}, 1 << 26), "--size: the flash holds 32 MiB, not 64 MiB");
}

TEST(EepromParts, KnowWhereABlockIs)
{
    const struct {
        EepromPartOptions options;
        std::uint8_t address;
        std::uint64_t offset;
        EepromPlace place;
        std::string error;
    } table[] = {
        {{.part = "24c02"}, 0x57, 0xFF, {0x57, 0xFF}, ""},
        {{.part = "24c04"}, 0x52, 0x1FF, {0x53, 0xFF}, ""},
        {{.part = "24c16"}, 0x50, 0x234, {0x52, 0x34}, ""},
        {{.part = "24c512"}, 0x51, 0xFFFF, {0x51, 0xFFFF}, ""},
        {{.part = "24cm02"}, 0x54, 0x3ABCD, {0x57, 0xABCD}, ""},
        {{.size = 32768, .registerBytes = 2}, 0x51, 0x7FFF, {0x51, 0x7FFF}, ""},
        {{.part = "24c04"},
         0x51,
         0,
         {},
         "ADDRESS: a memory of 512 bytes has 2 target addresses, and 0x51 is not the first"},
        {{.size = 512}, 0x50, 0, {}, "--size: 512 bytes exceeds a 1-byte register address"},
        {{.part = "24c03"}, 0x50, 0, {}, "--part: '24c03' is not one of " + eepromPartNames()},
        {{.part = "24c02", .page = 8}, 0x50, 0, {}, "--part: cannot be combined with --size, --page or --reg-bytes"},
        {{.page = 8}, 0x50, 0, {}, "--part: an EEPROM does not say what it is"},
    };
    for (const auto& [options, address, offset, place, error] : table) {
        std::string said;
        try {
            const EepromPart part = eepromPart(options);
            requireFirstAddress(part, address);
            EXPECT_EQ(placeOf(part, address, offset), place) << options.part;
        } catch (const UsageError& usage) {
            said = usage.what();
        }
        EXPECT_EQ(said, error);
    }
}

struct MemoryTest : ::Adapter {
    MemoryTest()
    {
        GlobalOptions options;
        options.timeout = milliseconds{LONG_ENOUGH};
        context.emplace(options);
    }

    // From now on the flash is busy for so many looks at its status. What it gets is in `commands`.
    void startFlash(int busy)
    {
        device->onFrame([this, busy](const Bytes& request) mutable {
            Bytes received(request.at(6) | request.at(7) << 8, 0xFF);
            commands += hexOf(part(request, 8, request.size())) + "; ";
            if (request.at(8) == 0x05) {
                received.at(1) = busy-- > 0 ? 0x03 : 0x00;
            } else if (request.at(8) == 0x9F) {
                received = hex("FF EF 40") + Bytes{capacity};
            }
            const auto count = static_cast<std::uint8_t>(received.size());
            device->deliverFrame(answerTo(request, hex("00 00") + Bytes{count, 0} + received));
        });
    }

    // What a flash is taken for.
    std::string identify(const FlashOverrides& overrides)
    {
        try {
            return textOf(identifyFlash(*context, {}, overrides));
        } catch (const Failure& failure) {
            return failure.what();
        }
    }

    std::optional<Context> context;
    std::string commands;
    std::uint8_t capacity = 0x17;
};

TEST_F(MemoryTest, AnEepromIsWaitedForWhenItHasBeenWritten)
{
    int busy = 2;
    device->onFrame([&](const Bytes& request) {
        commands += hexOf(part(request, 4, request.size())) + "; ";
        const bool reads = request.at(2) == 0x05;
        const bool refuses = reads && busy-- > 0;
        device->deliverFrame(answerTo(request, hex(refuses ? "01 03 00 00 00"
                                                   : reads ? "00 00 00 02 00 AA BB"
                                                           : "00 00")));
    });
    const Bytes data = counting(2);
    const PageWrite pages[] = {{0x0FE, data}, {0x10F, data}};
    Eeprom eeprom(*context, {}, 0x50, eepromPart({.part = "24c04"}));
    std::size_t written = 0;
    eeprom.write(pages, [&](std::size_t bytes) { written += bytes; });
    EXPECT_EQ(written, 4U);
    EXPECT_EQ(eeprom.read(0xFE, 4), hex("AA BB"));
    EXPECT_EQ(commands,
              "00 02 00 50 01 FE 00 00 00 00 01 02; 00 02 00 51 01 0F 00 00 00 00 01 02; "
              "00 02 00 50 01 FE 00 00 00 00; 00 02 00 50 01 FE 00 00 00 00; 00 02 00 50 01 FE 00 00 00 00; ");
}

TEST_F(MemoryTest, AFlashWithoutATableIsTakenForTheUsual)
{
    startFlash(2); // with what an earlier run began
    EXPECT_EQ(identify({}), "800000 bytes, page 256, 3-byte addresses, read 03, program 02, erase 1000 by 20");
    EXPECT_EQ(commands, "05; 05; 05; 9F; 5A 00 00 00; ");
    EXPECT_EQ(identify({.size = 1 << 20, .page = 64, .sector = 1 << 16}),
              "100000 bytes, page 64, 3-byte addresses, read 03, program 02, erase 10000 by d8");
    EXPECT_EQ(identify({.sector = 1 << 15}),
              "800000 bytes, page 256, 3-byte addresses, read 03, program 02, erase 8000 by 52");
    EXPECT_EQ(identify({.sector = 8192}), "--sector: there is no usual command that erases 8 KiB");
    capacity = 0x19;
    EXPECT_EQ(identify({}), "the flash holds 32 MiB and has no SFDP table that names commands with 4-byte addresses");
    capacity = 0x05;
    EXPECT_EQ(identify({}), "--size: JEDEC ID ef 40 05 does not say how much the flash holds");
}

TEST_F(MemoryTest, FlashIsWaitedFor)
{
    const FlashParameters small{.size = 1 << 20, .erases = {{4096, 0x20}}};
    const FlashParameters large{
        .size = 1 << 25, .erases = {{65536, 0xDC}}, .addressBytes = 4, .readCommand = 0x13, .programCommand = 0x12};
    const Bytes data = counting(2);
    const PageWrite pages[] = {{0x012345, data}, {0x012400, data}};
    const struct {
        const FlashParameters& flash;
        std::function<void(NorFlash&)> job;
        int busy;
        std::string commands;
    } table[] = {
        {small,
         [](NorFlash& flash) {
             flash.erase({0x1000, 4096});
         },
         2, "06; 20 00 10 00; 05; 05; 05; "},
        {large,
         [](NorFlash& flash) {
             flash.erase({0x1010000, 65536});
         },
         0, "06; DC 01 01 00 00; 05; "},
        {small, [&](NorFlash& flash) { flash.write(pages, [](std::size_t) {}); }, 1,
         "06; 02 01 23 45 01 02; 05; 05; 06; 02 01 24 00 01 02; 05; "},
        {large, [&](NorFlash& flash) { flash.write(pages, [](std::size_t) {}); }, 0,
         "06; 12 00 01 23 45 01 02; 05; 06; 12 00 01 24 00 01 02; 05; "},
        {large, [](NorFlash& flash) { EXPECT_EQ(flash.read(0x1234567, 3), Bytes(3, 0xFF)); }, 0, "13 01 23 45 67; "},
    };
    for (const auto& [parameters, job, busy, expected] : table) {
        commands.clear();
        startFlash(busy);
        NorFlash flash(*context, {}, parameters);
        job(flash);
        EXPECT_EQ(commands, expected);
    }
    startFlash(1'000'000);
    NorFlash flash(*context, {}, small, {milliseconds{0}, milliseconds{0}});
    try {
        flash.write(pages, [](std::size_t) { ADD_FAILURE() << "not taken"; });
        ADD_FAILURE() << "busy for ever";
    } catch (const Failure& failure) {
        EXPECT_STREQ(failure.what(), "writing at 0x12345: the flash is still busy after 0 ms, its status is 0x03");
        EXPECT_EQ(failure.exitStatus(), ExitStatus::NO_ANSWER);
    }
}

// Its erases work; of what is written, nothing arrives.
struct DeafMemory final : Memory {
    const Geometry& geometry() const override { return chip; }
    Carriage carriage() const override { return {1'000'000, 8, 8}; }
    Json fields() const override { return {}; }
    Bytes read(std::uint64_t offset, std::size_t count) override { return part(content, offset, offset + count); }
    void erase(const Extent& block) override
    {
        std::fill_n(content.begin() + static_cast<std::ptrdiff_t>(block.offset), block.length, std::uint8_t{0xFF});
    }
    void write(std::span<const PageWrite>, const std::function<void(std::size_t)>&) override {}
    std::string adviceOnDifference() override { return "advice"; }

    const Geometry chip{32, 4, {8}};
    Bytes content = Bytes(32, 0x00);
};

TEST_F(MemoryTest, WhatABlockHeldIsRescuedWhenItDoesNotComeBack)
{
    const auto home = std::filesystem::current_path();
    std::string directory = testing::TempDir() + "rescueXXXXXX";
    ASSERT_NE(mkdtemp(directory.data()), nullptr);
    std::filesystem::current_path(directory);
    DeafMemory memory;
    EXPECT_THROW(eraseMemory(*context, memory, {{4, "4"}, Given{14, "14"}}, true), Failure);
    const auto rescued = [](const char* name) {
        return std::filesystem::exists(name) ? readFile("", name, 99) : Bytes{};
    };
    EXPECT_EQ(rescued("tarvix-rescue-0x0.bin"), hex("00 00 00 00 FF FF FF FF"));
    EXPECT_EQ(rescued("tarvix-rescue-0x8.bin"), Bytes{}) << "all of it was to be erased";
    EXPECT_EQ(rescued("tarvix-rescue-0x10.bin"), hex("FF FF 00 00 00 00 00 00"));
    std::filesystem::current_path(home);
    std::filesystem::remove_all(directory);
}

} // namespace

} // namespace tool
