// What programs get from the bridge's SPI device, and what goes over the bus for it.
#include <gtest/gtest.h>

#include <linux/spi/spidev.h>

#include "program.hpp"
#include "spi/spi_file.hpp"

namespace bridge {
namespace {

// Answers each byte with its complement, and writes down what was exchanged and how.
class Bus final : public SpiBus {
public:
    Bytes transfer(const SpiSettings& settings, std::span<const std::uint8_t> sent) override
    {
        done.push_back({settings, {sent.begin(), sent.end()}});
        Bytes received;
        for (const std::uint8_t byte : sent) {
            received.push_back(static_cast<std::uint8_t>(~byte));
        }
        return received;
    }
    void pause(std::chrono::microseconds time) override { paused += time; }

    struct Done {
        SpiSettings settings;
        Bytes sent;
    };
    std::vector<Done> done;
    std::chrono::microseconds paused{};
};

class Spi : public testing::Test {
protected:
    struct Options {
        std::uint8_t cs_change = 0;
        std::uint16_t delay_usecs = 0;
        std::uint32_t speed_hz = 0;
        std::uint8_t bits_per_word = 0;
        std::uint8_t word_delay_usecs = 0;
        std::uint8_t tx_nbits = 0;
    };
    struct Part {
        Bytes sent;           // empty to send zeros
        std::size_t received; // 0 to drop what comes
        Options options = {};
    };

    int message(const std::vector<Part>& parts)
    {
        bus.done.clear();
        received.clear();
        Bytes table;
        for (const Part& part : parts) {
            spi_ioc_transfer transfer{};
            transfer.cs_change = part.options.cs_change;
            transfer.delay_usecs = part.options.delay_usecs;
            transfer.speed_hz = part.options.speed_hz;
            transfer.bits_per_word = part.options.bits_per_word;
            transfer.word_delay_usecs = part.options.word_delay_usecs;
            transfer.tx_nbits = part.options.tx_nbits;
            transfer.len = static_cast<std::uint32_t>(std::max(part.sent.size(), part.received));
            transfer.tx_buf = part.sent.empty() ? 0 : program.put(part.sent);
            transfer.rx_buf = part.received == 0 ? 0 : program.put(Bytes(part.received));
            received.push_back(transfer.rx_buf);
            const auto* const bytes = reinterpret_cast<const std::uint8_t*>(&transfer);
            table.insert(table.end(), bytes, bytes + sizeof transfer);
        }
        return program.ioctl(file, _IOC(_IOC_WRITE, SPI_IOC_MAGIC, 0, table.size()), program.put(table));
    }

    Bus bus;
    SpiSettings settings;
    SpiFile file{bus, settings};
    Program program;
    std::vector<std::uint64_t> received;
};

TEST_F(Spi, TransfersThatKeepTheChipSelectedAreOne)
{
    EXPECT_EQ(message({{{0x03, 0, 1}, 0}, {{}, 2}, {{0x55}, 1}}), 6);
    ASSERT_EQ(bus.done.size(), 1U);
    EXPECT_EQ(bus.done[0].sent, (Bytes{0x03, 0, 1, 0, 0, 0x55}));
    EXPECT_EQ(program.get(received[1], 2), (Bytes{0xFF, 0xFF}));
    EXPECT_EQ(program.get(received[2], 1), (Bytes{0xAA}));
    EXPECT_EQ(message({{{0x06}, 0, {.cs_change = 1}}, {{0x05}, 1, {.speed_hz = 1000}}}), 2);
    ASSERT_EQ(bus.done.size(), 2U);
    EXPECT_EQ(bus.done[1].settings.clock, 1000U);
    EXPECT_EQ(message({{{1}, 0, {.cs_change = 1, .delay_usecs = 40}}, {{2}, 0, {.delay_usecs = 2}}}), 2);
    EXPECT_EQ(bus.paused.count(), 42);
    EXPECT_EQ(message({}), 0);
    EXPECT_EQ(message({{Bytes(65'535), 0}}), 65'535);
}

TEST_F(Spi, WhatTheAdapterCannotDoIsRefusedBeforeAnythingHappens)
{
    const struct {
        std::vector<Part> parts;
        int result;
    } rows[] = {
        {{{{1}, 0, {.cs_change = 1}}}, -EOPNOTSUPP},                      // stays selected
        {{{{1}, 0, {.delay_usecs = 1}}, {{2}, 0}}, -EOPNOTSUPP},          // a pause while it is
        {{{{1}, 0, {.word_delay_usecs = 1}}}, -EOPNOTSUPP},               // and between words
        {{{{1}, 0}, {{2}, 0, {.speed_hz = 1000}}}, -EOPNOTSUPP},          // another clock
        {{{{1, 2}, 0}, {{2, 1}, 0, {.bits_per_word = 16}}}, -EOPNOTSUPP}, // other words
        {{{{}, 0}}, -EOPNOTSUPP},                                         // nothing
        {{{{1}, 0}, {{1}, 0, {.cs_change = 1}}}, -EOPNOTSUPP},            // the first is not sent either
        {{{{1}, 0, {.bits_per_word = 9}}}, -EINVAL},
        {{{{1}, 0, {.tx_nbits = 4}}}, -EINVAL},
        {{{{1}, 0, {.bits_per_word = 16}}}, -EINVAL},
        {{{{1, 2, 3, 4}, 0, {.cs_change = 1}}, {{}, 0}}, -EOPNOTSUPP},
        {{{{1, 2}, 0, {.cs_change = 1, .bits_per_word = 16}}, {{1}, 0, {.bits_per_word = 16}}}, -EINVAL},
        {{{{1}, 0, {.bits_per_word = 16}}, {{1, 2, 3}, 0, {.bits_per_word = 16}}}, -EINVAL}, // the sum is even
        {{{Bytes(65'535), 0}, {{1}, 0}}, -EMSGSIZE},
    };
    for (const auto& [parts, result] : rows) {
        EXPECT_EQ(message(parts), result) << &parts - &rows[0].parts;
        EXPECT_TRUE(bus.done.empty());
    }
    spi_ioc_transfer longest{};
    longest.len = 0xFFFF'FFFF;
    Bytes table(2 * sizeof longest);
    std::memcpy(table.data(), &longest, sizeof longest);
    std::memcpy(table.data() + sizeof longest, &longest, sizeof longest);
    EXPECT_EQ(program.ioctl(file, SPI_IOC_MESSAGE(2), program.put(table)), -EMSGSIZE);
    EXPECT_EQ(program.ioctl(file, _IOC(_IOC_WRITE, SPI_IOC_MAGIC, 0, 33), program.put(table)), -EINVAL);
    EXPECT_EQ(program.ioctl(file, SPI_IOC_MESSAGE(1), 1), -EFAULT);
    EXPECT_EQ(program.ioctl(file, _IOC(_IOC_READ, SPI_IOC_MAGIC, 0, 32), program.put(table)), -ENOTTY);
    EXPECT_EQ(program.ioctl(file, 0x5401, 0), -ENOTTY);
}

TEST_F(Spi, AsManyBuffersAsTheKernelFetches)
{
    EXPECT_EQ(message(std::vector<Part>(127, {{1}, 1})), 127);
    EXPECT_EQ(program.rounds, 2) << "the table, and all buffers at once";
    EXPECT_EQ(message(std::vector<Part>(128, {{1}, 1})), -EMSGSIZE);
    EXPECT_TRUE(bus.done.empty());
}

// A cast from a pointer to a number of 64 bits copies the highest bit to the left.
TEST_F(Spi, ProgramsOf32BitsMayHavePointersWithMoreBits)
{
    Program narrow{true};
    constexpr std::uint64_t EXTENSION = 0xFFFF'FFFF'0000'0000;
    spi_ioc_transfer transfer{};
    transfer.len = 2;
    transfer.tx_buf = narrow.put({1, 2}) | EXTENSION;
    transfer.rx_buf = narrow.put(Bytes(2)) | EXTENSION;
    Bytes table(sizeof transfer);
    std::memcpy(table.data(), &transfer, sizeof transfer);
    EXPECT_EQ(narrow.ioctl(file, SPI_IOC_MESSAGE(1), narrow.put(table)), 2);
    EXPECT_EQ(bus.done.at(0).sent, (Bytes{1, 2}));
    EXPECT_EQ(narrow.get(transfer.rx_buf & ~EXTENSION, 2), (Bytes{0xFE, 0xFD}));
}

TEST_F(Spi, SettingsAreKeptAndTold)
{
    const struct {
        unsigned long set;
        unsigned long get;
        std::uint32_t value;
        int result;
        std::uint32_t then;
    } rows[] = {
        {SPI_IOC_WR_MODE, SPI_IOC_RD_MODE, SPI_MODE_3 | SPI_CS_HIGH, 0, SPI_MODE_3 | SPI_CS_HIGH},
        {SPI_IOC_WR_MODE32, SPI_IOC_RD_MODE32, SPI_MODE_1 | SPI_LSB_FIRST, 0, SPI_MODE_1 | SPI_LSB_FIRST},
        {SPI_IOC_WR_MODE32, SPI_IOC_RD_MODE32, SPI_TX_QUAD, -EINVAL, SPI_MODE_1 | SPI_LSB_FIRST},
        {SPI_IOC_WR_MODE, SPI_IOC_RD_MODE, SPI_3WIRE, -EINVAL, SPI_MODE_1 | SPI_LSB_FIRST},
        {SPI_IOC_WR_LSB_FIRST, SPI_IOC_RD_LSB_FIRST, 0, 0, 0},
        {SPI_IOC_WR_LSB_FIRST, SPI_IOC_RD_LSB_FIRST, 1, 0, 1},
        {SPI_IOC_WR_BITS_PER_WORD, SPI_IOC_RD_BITS_PER_WORD, 16, 0, 16},
        {SPI_IOC_WR_BITS_PER_WORD, SPI_IOC_RD_BITS_PER_WORD, 12, -EINVAL, 16},
        {SPI_IOC_WR_BITS_PER_WORD, SPI_IOC_RD_BITS_PER_WORD, 0, 0, 8},
        {SPI_IOC_WR_MAX_SPEED_HZ, SPI_IOC_RD_MAX_SPEED_HZ, 250'000, 0, 250'000},
        {SPI_IOC_WR_MAX_SPEED_HZ, SPI_IOC_RD_MAX_SPEED_HZ, 0, -EINVAL, 250'000},
        {SPI_IOC_WR_MAX_SPEED_HZ, SPI_IOC_RD_MAX_SPEED_HZ, 4'000'000'000, 0, 50'000'000},
    };
    for (const auto& [set, get, value, result, then] : rows) {
        EXPECT_EQ(program.ioctl(file, set, program.put(program.record({{value, 4}}))), result) << value;
        const std::uint64_t room = program.put(Bytes(4));
        EXPECT_EQ(program.ioctl(file, get, room), 0);
        EXPECT_EQ(program.get(room, 4), program.record({{then, 4}})) << value;
    }
    EXPECT_EQ(file.write(Bytes{1, 2}), 2U);
    EXPECT_EQ(bus.done.at(0).settings, (SpiSettings{SpiMode::MODE_1, SpiBitOrder::LSB_FIRST, SpiDataWidth::BITS_8,
                                                    SpiChipSelectPolarity::ACTIVE_LOW, 50'000'000}));
    EXPECT_EQ(file.read(2), (Bytes{0xFF, 0xFF}));
    EXPECT_THROW(file.read(65'536), Errno);
    EXPECT_THROW(file.write(Bytes(65'536)), Errno);
}

TEST_F(Spi, WordsOfSixteenBitsHaveTheMachinesByteOrder)
{
    settings.width = SpiDataWidth::BITS_16;
    EXPECT_EQ(message({{{0x34, 0x12, 0x78, 0x56}, 4}}), 4);
    EXPECT_EQ(bus.done.at(0).sent, (Bytes{0x12, 0x34, 0x56, 0x78})) << "the high byte first on the bus";
    EXPECT_EQ(program.get(received[0], 4), (Bytes{0xCB, 0xED, 0x87, 0xA9}));
}

} // namespace
} // namespace bridge
