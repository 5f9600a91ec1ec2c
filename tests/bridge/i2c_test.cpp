// What programs get from the bridge's I2C device, and what goes over the bus for it.
#include <gtest/gtest.h>

#include <linux/i2c-dev.h>
#include <linux/i2c.h>

#include "i2c/i2c_file.hpp"
#include "i2c/smbus.hpp"
#include "program.hpp"
#include "session/adapter_link.hpp"

namespace bridge {
namespace {

std::string hex(std::span<const std::uint8_t> bytes)
{
    std::string text;
    char word[4];
    for (const std::uint8_t byte : bytes) {
        std::snprintf(word, sizeof word, " %02x", byte);
        text += word;
    }
    return text;
}

// Writes down what it is asked for. What is read are the bytes from `first` on, counting up.
class Bus final : public I2cBus {
public:
    void write(std::uint8_t address, std::span<const std::uint8_t> bytes) override
    {
        done += "w" + hex({&address, 1}) + ":" + hex(bytes) + "\n";
        fail();
    }
    Bytes read(std::uint8_t address, std::span<const std::uint8_t> sent, std::uint16_t length) override
    {
        done += "r" + hex({&address, 1}) + ":" + hex(sent) + " -> " + std::to_string(length) + "\n";
        fail();
        Bytes bytes(length);
        for (std::size_t i = 0; i < bytes.size(); ++i) {
            bytes[i] = static_cast<std::uint8_t>(first + i);
        }
        return bytes;
    }
    void fail() const
    {
        if (error != 0) {
            throw Errno{error};
        }
    }

    std::string done;
    std::uint8_t first = 0x71;
    int error = 0;
};

struct Message {
    std::uint16_t address;
    std::uint16_t flags;
    Bytes bytes; // for a read, room for as many
};

class I2c : public testing::TestWithParam<bool> {
protected:
    int combined(const std::vector<Message>& messages)
    {
        Bytes table;
        for (const Message& message : messages) {
            buffers.push_back(program.put(message.bytes));
            const Bytes entry = program.record(
                {{message.address, 2}, {message.flags, 2}, {message.bytes.size(), 2}, {0, 2}, {buffers.back(), 0}});
            table.insert(table.end(), entry.begin(), entry.end());
        }
        const std::uint64_t place = program.put(table);
        return program.ioctl(file, I2C_RDWR, program.put(program.record({{place, 0}, {messages.size(), 4}, {0, 4}})));
    }
    int smbus(unsigned reads, std::uint8_t command, unsigned size, const Bytes& data)
    {
        buffers.push_back(data.empty() ? 0 : program.put(data));
        return program.ioctl(
            file, I2C_SMBUS,
            program.put(program.record({{reads, 1}, {command, 1}, {0, 2}, {size, 4}, {buffers.back(), 0}, {0, 4}})));
    }

    Bus bus;
    I2cFile file{bus};
    Program program{GetParam()};
    std::vector<std::uint64_t> buffers; // of the calls
};

INSTANTIATE_TEST_SUITE_P(Bits, I2c, testing::Bool(), [](const auto& each) { return each.param ? "32" : "64"; });

TEST_P(I2c, MessagesGoOutAsTheyAreOrNotAtAll)
{
    const Bytes room2(2);
    const struct {
        std::vector<Message> messages;
        int result;
        std::string done;
    } rows[] = {
        {{{0x50, 0, {1, 2, 3, 4, 5}}}, 1, "w 50: 01 02 03 04 05\n"},
        {{{0x50, 0, {}}}, 1, "w 50:\n"},
        {{{0x50, I2C_M_RD, room2}}, 1, "r 50: -> 2\n"},
        {{{0x50, 0, {9}}, {0x50, I2C_M_RD, room2}}, 2, "r 50: 09 -> 2\n"},
        {{{0x50, 0, {1, 2, 3, 4}}, {0x50, I2C_M_RD, room2}}, 2, "r 50: 01 02 03 04 -> 2\n"},
        // The adapter would do something else.
        {{{0x50, 0, {1, 2, 3, 4, 5}}, {0x50, I2C_M_RD, room2}}, -EOPNOTSUPP, ""},
        {{{0x50, 0, {}}, {0x50, I2C_M_RD, room2}}, -EOPNOTSUPP, ""},
        {{{0x50, 0, {9}}, {0x51, I2C_M_RD, room2}}, -EOPNOTSUPP, ""},
        {{{0x50, 0, {9}}, {0x50, 0, {9}}}, -EOPNOTSUPP, ""},
        {{{0x50, I2C_M_RD, room2}, {0x50, 0, {9}}}, -EOPNOTSUPP, ""},
        {{{0x50, 0, {9}}, {0x50, I2C_M_RD, room2}, {0x50, I2C_M_RD, room2}}, -EOPNOTSUPP, ""},
        {{{0x50, I2C_M_RD, {}}}, -EOPNOTSUPP, ""},
        {{{0x50, I2C_M_TEN, {1}}}, -EOPNOTSUPP, ""},
        {{{0x50, I2C_M_RD | I2C_M_RECV_LEN, Bytes(40)}}, -EOPNOTSUPP, ""},
        {{{0x50, I2C_M_STOP, {1}}}, -EOPNOTSUPP, ""},
        {{{0x50, I2C_M_NOSTART, {1}}}, -EOPNOTSUPP, ""},
        {{{0x80, 0, {1}}}, -EINVAL, ""},
        {{{0x50, 0, Bytes(8193)}}, -EINVAL, ""},
        {{{0x50, I2C_M_RD, Bytes(8193)}}, -EINVAL, ""},
        {{}, -EINVAL, ""},
        {std::vector<Message>(43, {0x50, 0, {1}}), -EINVAL, ""},
    };
    for (const auto& [messages, result, done] : rows) {
        bus.done.clear();
        EXPECT_EQ(combined(messages), result) << done;
        EXPECT_EQ(bus.done, done);
    }
    ASSERT_EQ(combined({{0x50, 0, {9}}, {0x50, I2C_M_RD, Bytes{0, 0, 0xEE}}}), 2);
    EXPECT_EQ(hex(program.get(buffers.back(), 3)), " 71 72 73");
    combined({{0x50, 0, Bytes(8192)}});
    EXPECT_EQ(combined({{0x50, I2C_M_RD, Bytes(8192)}}), 1) << "i2c-dev's longest";
}

TEST_P(I2c, SmbusTransactions)
{
    Bytes block{3, 0xA, 0xB, 0xC};
    block.resize(34, 0xEE);
    Bytes tooLong = block;
    tooLong[0] = 33;
    Bytes nothing = block;
    nothing[0] = 0;
    const struct {
        unsigned reads;
        unsigned size;
        Bytes data;
        int result;
        std::string done;
        std::string after; // what the data then begins with
    } rows[] = {
        {0, I2C_SMBUS_QUICK, {}, 0, "w 48:\n", ""},
        {1, I2C_SMBUS_QUICK, {}, -EOPNOTSUPP, "", ""},
        {0, I2C_SMBUS_BYTE, {}, 0, "w 48: 05\n", ""},
        {1, I2C_SMBUS_BYTE, {0}, 0, "r 48: -> 1\n", " 71"},
        {0, I2C_SMBUS_BYTE_DATA, {7}, 0, "w 48: 05 07\n", ""},
        {1, I2C_SMBUS_BYTE_DATA, {0}, 0, "r 48: 05 -> 1\n", " 71"},
        {0, I2C_SMBUS_WORD_DATA, {7, 8}, 0, "w 48: 05 07 08\n", ""},
        {1, I2C_SMBUS_WORD_DATA, {0, 0}, 0, "r 48: 05 -> 2\n", " 71 72"},
        {0, I2C_SMBUS_PROC_CALL, {7, 8}, 0, "r 48: 05 07 08 -> 2\n", " 71 72"},
        {1, I2C_SMBUS_PROC_CALL, {7, 8}, 0, "r 48: 05 07 08 -> 2\n", " 71 72"},
        {0, I2C_SMBUS_BLOCK_DATA, block, 0, "w 48: 05 03 0a 0b 0c\n", ""},
        {1, I2C_SMBUS_BLOCK_DATA, block, -EOPNOTSUPP, "", ""},
        {0, I2C_SMBUS_BLOCK_PROC_CALL, block, -EOPNOTSUPP, "", ""},
        {0, I2C_SMBUS_I2C_BLOCK_DATA, block, 0, "w 48: 05 0a 0b 0c\n", ""},
        {1, I2C_SMBUS_I2C_BLOCK_DATA, block, 0, "r 48: 05 -> 3\n", " 03 71 72 73 ee"},
        {0, I2C_SMBUS_I2C_BLOCK_BROKEN, block, 0, "w 48: 05 0a 0b 0c\n", ""},
        {1, I2C_SMBUS_I2C_BLOCK_BROKEN, block, 0, "r 48: 05 -> 32\n", " 20 71 72"},
        {0, I2C_SMBUS_BLOCK_DATA, tooLong, -EINVAL, "", ""},
        {0, I2C_SMBUS_I2C_BLOCK_DATA, tooLong, -EINVAL, "", ""},
        {1, I2C_SMBUS_I2C_BLOCK_DATA, tooLong, -EINVAL, "", ""},
        {1, I2C_SMBUS_I2C_BLOCK_DATA, nothing, -EOPNOTSUPP, "", ""},
        {0, 9, {1}, -EINVAL, "", ""},
        {2, I2C_SMBUS_BYTE_DATA, {1}, -EINVAL, "", ""},
        {1, I2C_SMBUS_BYTE_DATA, {}, -EINVAL, "", ""}, // no pointer
    };
    ASSERT_EQ(program.ioctl(file, I2C_SLAVE, 0x48), 0);
    for (const auto& [reads, size, data, result, done, after] : rows) {
        bus.done.clear();
        EXPECT_EQ(smbus(reads, 5, size, data), result) << reads << " " << size;
        EXPECT_EQ(bus.done, done) << reads << " " << size;
        EXPECT_EQ(hex(program.get(buffers.back() == 0 ? Program::BASE : buffers.back(), after.size() / 3)), after);
    }
}

// The codes were worked out by hand from the polynomial x^8 + x^2 + x + 1.
TEST_P(I2c, PacketErrorCodes)
{
    EXPECT_EQ(packetErrorCode(0, Bytes{'1', '2', '3', '4', '5', '6', '7', '8', '9'}), 0xF4); // the usual check value
    program.ioctl(file, I2C_SLAVE, 0x48);
    ASSERT_EQ(program.ioctl(file, I2C_PEC, 1), 0);
    EXPECT_EQ(smbus(0, 5, I2C_SMBUS_BYTE_DATA, {7}), 0);
    EXPECT_EQ(smbus(1, 5, I2C_SMBUS_BYTE_DATA, {0}), -EBADMSG) << "the bus counts up, which is no code";
    Bytes block(34, 1);
    EXPECT_EQ(smbus(1, 5, I2C_SMBUS_I2C_BLOCK_DATA, block), 0) << "such blocks have none";
    EXPECT_EQ(smbus(0, 5, I2C_SMBUS_QUICK, {}), 0) << "nor has this";
    const Bytes written{0x48 << 1, 5, 7};
    EXPECT_EQ(bus.done,
              "w 48: 05 07" + hex(Bytes{packetErrorCode(0, written)}) + "\nr 48: 05 -> 2\nr 48: 05 -> 1\nw 48:\n");
    // 0x90 05 91 is followed by 0x71 and this code: so the byte after 0x71 has to be it.
    const Bytes whole{0x48 << 1, 5, 0x48 << 1 | 1};
    for (unsigned value = 0; value < 256; ++value) {
        bus.first = static_cast<std::uint8_t>(value);
        const Bytes received{bus.first};
        const bool fits = packetErrorCode(packetErrorCode(0, whole), received) == static_cast<std::uint8_t>(value + 1);
        EXPECT_EQ(smbus(1, 5, I2C_SMBUS_BYTE_DATA, {0}), fits ? 0 : -EBADMSG) << value;
    }
}

TEST_P(I2c, TheOtherCalls)
{
    const std::uint64_t room = program.put(Bytes(8, 0xEE));
    EXPECT_EQ(program.ioctl(file, I2C_FUNCS, room), 0);
    EXPECT_EQ(hex(program.get(room, 8)), GetParam() ? " 09 00 ff 0e ee ee ee ee" : " 09 00 ff 0e 00 00 00 00");
    const struct {
        unsigned command;
        std::uint64_t argument;
        int result;
    } rows[] = {
        {I2C_SLAVE, 0x7F, 0},
        {I2C_SLAVE, 0x80, -EINVAL},
        {I2C_SLAVE_FORCE, 0x50, 0},
        {I2C_SLAVE_FORCE, 0x1'0000'0050, -EINVAL},
        {I2C_TENBIT, 0, 0},
        {I2C_TENBIT, 1, -EOPNOTSUPP},
        {I2C_RETRIES, 3, 0},
        {I2C_TIMEOUT, 100, 0},
        {I2C_TIMEOUT, 0x8000'0000, -EINVAL},
        {0x0799, 0, -ENOTTY},
        {I2C_FUNCS, 0, -EFAULT},
        {I2C_RDWR, 0, -EFAULT},
        {I2C_SMBUS, Program::BASE - 1, -EFAULT},
    };
    for (const auto& [command, argument, result] : rows) {
        EXPECT_EQ(program.ioctl(file, command, argument), result) << command << " " << argument;
    }
    EXPECT_EQ(file.read(2), (Bytes{0x71, 0x72}));
    EXPECT_EQ(file.write(Bytes{1, 2}), 2U);
    EXPECT_EQ(file.read(9000).size(), 8192U);
    EXPECT_EQ(file.read(0), Bytes());
    EXPECT_EQ(bus.done, "r 50: -> 2\nw 50: 01 02\nr 50: -> 8192\n");
}

TEST_P(I2c, WhatTheBusSaysAndMemoryThatIsNotThere)
{
    bus.error = ENXIO;
    EXPECT_EQ(combined({{0x33, 0, {1}}}), -ENXIO);
    EXPECT_EQ(smbus(1, 5, I2C_SMBUS_BYTE_DATA, {0}), -ENXIO);
    EXPECT_THROW(file.read(1), Errno);
    bus = {};
    const std::uint64_t far = 0x7FFF0000;
    const std::uint64_t entry = program.put(program.record({{0x50, 2}, {0, 2}, {4, 2}, {0, 2}, {far, 0}}));
    for (const std::uint64_t table : {entry, far, std::uint64_t{0xFFFFFFF8}}) {
        EXPECT_EQ(program.ioctl(file, I2C_RDWR, program.put(program.record({{table, 0}, {1, 4}, {0, 4}}))), -EFAULT);
    }
    EXPECT_EQ(bus.done, "");
}

TEST(Errors, AreThoseOfTheKernelsDrivers)
{
    const std::pair<unsigned, int> rows[] = {
        {0x0000, 0},   {0x2000, ETIMEDOUT}, {0x4000, ENODEV}, {0x6000, EIO},   {0x8000, EINVAL},
        {0xA000, EIO}, {0xC000, ENODEV},    {0x0301, ENXIO},  {0x0304, EBUSY}, {0x0103, EIO},
    };
    for (const auto& [status, number] : rows) {
        EXPECT_EQ(errnoOf(static_cast<StatusCode>(status)), number) << std::hex << status;
    }
}

// Between the rounds a program writes a larger count, another place, or other lengths.
TEST(UserMemory, MayChangeWhileItIsRead)
{
    Bus bus;
    I2cFile file(bus);
    const Program program;
    const Bytes header = program.record({{0x20000, 0}, {1, 4}, {0, 4}});
    const Bytes entry = program.record({{0x50, 2}, {I2C_M_RD, 2}, {4, 2}, {0, 2}, {0x30000, 0}});
    Bytes fetched = header;
    fetched.insert(fetched.end(), entry.begin(), entry.end());
    for (const std::size_t room : {0, 3, 5}) { // but 4 bytes are read now
        UserMemory memory(0x10000, false, fetched, room);
        EXPECT_THROW(file.ioctl(I2C_RDWR, memory), UserMemory::Incomplete);
        ASSERT_EQ(memory.to().size(), 1U);
        EXPECT_EQ(memory.to()[0].size, 4U);
    }
    fetched.push_back(0); // as if there had been more messages
    UserMemory memory(0x10000, false, fetched, 4);
    EXPECT_THROW(file.ioctl(I2C_RDWR, memory), UserMemory::Incomplete);
    EXPECT_EQ(bus.done, "") << "nothing happens before everything is at hand";
}

} // namespace
} // namespace bridge
