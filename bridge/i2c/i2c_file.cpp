#include "i2c/i2c_file.hpp"

#include <algorithm>
#include <bit>
#include <cerrno>
#include <climits>

#include <linux/i2c-dev.h>
#include <linux/i2c.h>

#include "i2c/smbus.hpp"

namespace bridge {

namespace {

constexpr std::size_t LONGEST_MESSAGE = 8192; // i2c-dev's own limits
constexpr std::size_t MOST_MESSAGES = 42;
constexpr std::uint16_t FOR_THE_KERNEL = 0x0200; // I2C_M_DMA_SAFE

constexpr std::uint64_t FUNCTIONS = I2C_FUNC_I2C | I2C_FUNC_SMBUS_QUICK | I2C_FUNC_SMBUS_BYTE |
                                    I2C_FUNC_SMBUS_BYTE_DATA | I2C_FUNC_SMBUS_WORD_DATA | I2C_FUNC_SMBUS_PROC_CALL |
                                    I2C_FUNC_SMBUS_WRITE_BLOCK_DATA | I2C_FUNC_SMBUS_I2C_BLOCK | I2C_FUNC_SMBUS_PEC;

struct Message {
    std::uint16_t address;
    std::uint16_t flags;
    Area area; // of the program's memory

    bool reads() const { return (flags & I2C_M_RD) != 0; }
};

int announceFunctions(UserMemory& memory)
{
    memory.announce({memory.argument(), memory.pointerSize()});
    memory.complete();
    static_assert(std::endian::native == std::endian::little);
    memory.write({reinterpret_cast<const std::uint8_t*>(&FUNCTIONS), memory.pointerSize()});
    return 0;
}

std::vector<Message> readMessages(UserMemory& memory)
{
    const auto header = memory.read({memory.argument(), 2 * memory.pointerSize()});
    const std::uint64_t place = pointerAt(header, 0, memory);
    const auto count = numberAt<std::uint32_t>(header, memory.pointerSize());
    if (place == 0 || count == 0 || count > MOST_MESSAGES) {
        throw Errno{EINVAL};
    }
    const std::size_t size = 8 + memory.pointerSize();
    const auto table = memory.read({place, count * size});
    std::vector<Message> messages;
    for (std::size_t at = 0; at < table.size(); at += size) {
        const auto length = numberAt<std::uint16_t>(table, at + 4);
        messages.push_back({numberAt<std::uint16_t>(table, at),
                            numberAt<std::uint16_t>(table, at + 2),
                            {pointerAt(table, at + 8, memory), length}});
        if (length > LONGEST_MESSAGE) {
            throw Errno{EINVAL};
        }
    }
    return messages;
}

// One message, or a short write and a read that the adapter joins.
void requireExpressible(const std::vector<Message>& messages)
{
    for (const Message& message : messages) {
        const bool plain = (message.flags & ~(I2C_M_RD | FOR_THE_KERNEL)) == 0;
        if (!plain || (message.reads() && message.area.size == 0)) {
            throw Errno{EOPNOTSUPP};
        }
        if (message.address > 0x7F) {
            throw Errno{EINVAL};
        }
    }
    const Message& first = messages.front();
    const bool joins = messages.size() == 2 && !first.reads() && messages.back().reads() &&
                       first.address == messages.back().address && first.area.size >= 1 &&
                       first.area.size <= I2cBus::MOST_BEFORE_READ;
    if (messages.size() > 1 && !joins) {
        throw Errno{EOPNOTSUPP};
    }
}

} // namespace

int I2cFile::ioctl(unsigned command, UserMemory& memory)
{
    switch (command) {
    case I2C_SLAVE:
    case I2C_SLAVE_FORCE:
        return setAddress(memory.argument());
    case I2C_FUNCS:
        return announceFunctions(memory);
    case I2C_RDWR:
        return combined(memory);
    case I2C_SMBUS:
        return smbus(memory);
    case I2C_PEC:
        pec_ = memory.argument() != 0;
        return 0;
    case I2C_TENBIT:
        if (memory.argument() != 0) {
            throw Errno{EOPNOTSUPP};
        }
        return 0;
    case I2C_RETRIES: // the adapter has its own
    case I2C_TIMEOUT:
        if (memory.argument() > INT_MAX) {
            throw Errno{EINVAL};
        }
        return 0;
    default:
        throw Errno{ENOTTY};
    }
}

Bytes I2cFile::read(std::size_t size)
{
    if (size == 0) {
        return {};
    }
    return bus_.read(address_, {}, static_cast<std::uint16_t>(std::min(size, LONGEST_MESSAGE)));
}

std::size_t I2cFile::write(std::span<const std::uint8_t> bytes)
{
    const auto taken = bytes.first(std::min(bytes.size(), LONGEST_MESSAGE));
    bus_.write(address_, taken);
    return taken.size();
}

int I2cFile::setAddress(std::uint64_t address)
{
    if (address > 0x7F) {
        throw Errno{EINVAL};
    }
    address_ = static_cast<std::uint8_t>(address);
    return 0;
}

int I2cFile::combined(UserMemory& memory)
{
    const std::vector<Message> messages = readMessages(memory);
    requireExpressible(messages);
    std::span<const std::uint8_t> sent;
    for (const Message& message : messages) {
        if (message.reads()) {
            memory.announce(message.area);
        } else {
            sent = memory.read(message.area);
        }
    }
    memory.complete();
    const Message& last = messages.back();
    const auto address = static_cast<std::uint8_t>(last.address);
    if (last.reads()) {
        memory.write(bus_.read(address, sent, static_cast<std::uint16_t>(last.area.size)));
    } else {
        bus_.write(address, sent);
    }
    return static_cast<int>(messages.size());
}

int I2cFile::smbus(UserMemory& memory) const
{
    const auto fields = memory.read({memory.argument(), 8 + memory.pointerSize()});
    if (fields[0] > I2C_SMBUS_READ) {
        throw Errno{EINVAL};
    }
    const SmbusCall call{fields[0] == I2C_SMBUS_READ, fields[1], numberAt<std::uint32_t>(fields, 4)};
    const SmbusData data = smbusData(call);
    const Area area{pointerAt(fields, 8, memory), data.size};
    if (area.address == 0 && area.size != 0) {
        throw Errno{EINVAL};
    }
    const auto sent = data.in ? memory.read(area) : std::span<const std::uint8_t>();
    if (data.out) {
        memory.announce(area);
    }
    memory.complete();
    memory.write(smbusTransfer(bus_, address_, pec_, call, sent));
    return 0;
}

} // namespace bridge
