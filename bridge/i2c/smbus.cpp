#include "i2c/smbus.hpp"

#include <algorithm>
#include <cerrno>

#include <linux/i2c.h>

#include "cuse/open_file.hpp"

namespace bridge {

namespace {

constexpr std::size_t BLOCK_SIZE = I2C_SMBUS_BLOCK_MAX + 2; // a length before it, and room for a code

// What goes over the bus.
struct Transfer {
    Bytes sent;
    std::size_t received = 0;
};

bool isBlock(std::uint32_t size)
{
    return size == I2C_SMBUS_BLOCK_DATA || size == I2C_SMBUS_I2C_BLOCK_DATA || size == I2C_SMBUS_I2C_BLOCK_BROKEN;
}

// The oldest form of a block read does not say how long it is.
std::size_t blockLength(const SmbusCall& call, std::span<const std::uint8_t> data)
{
    const std::size_t length =
        call.size == I2C_SMBUS_I2C_BLOCK_BROKEN && call.reads ? I2C_SMBUS_BLOCK_MAX : data.front();
    if (length > I2C_SMBUS_BLOCK_MAX) {
        throw Errno{EINVAL};
    }
    if (length == 0 && call.reads) {
        throw Errno{EOPNOTSUPP};
    }
    return length;
}

Transfer transferOf(const SmbusCall& call, std::span<const std::uint8_t> data)
{
    if (call.size == I2C_SMBUS_QUICK) {
        return {};
    }
    if (call.size == I2C_SMBUS_BYTE) {
        return call.reads ? Transfer{{}, 1} : Transfer{{call.command}, 0};
    }
    Transfer transfer{{call.command}, 0};
    if (isBlock(call.size)) {
        const std::size_t length = blockLength(call, data);
        if (call.reads) {
            transfer.received = length;
            return transfer;
        }
        const bool countGoesAlong = call.size == I2C_SMBUS_BLOCK_DATA;
        data = data.subspan(countGoesAlong ? 0 : 1, length + (countGoesAlong ? 1 : 0));
    }
    if (!call.reads || call.size == I2C_SMBUS_PROC_CALL) {
        transfer.sent.insert(transfer.sent.end(), data.begin(), data.end());
    }
    if (call.reads || call.size == I2C_SMBUS_PROC_CALL) {
        transfer.received = smbusData(call).size;
    }
    return transfer;
}

// The code of a transfer's bytes with their addresses, but for what is received.
std::uint8_t codeBefore(std::uint8_t address, const Transfer& transfer)
{
    const std::uint8_t writes[] = {static_cast<std::uint8_t>(address << 1)};
    const std::uint8_t reads[] = {static_cast<std::uint8_t>(address << 1 | 1)};
    std::uint8_t code = 0;
    if (!transfer.sent.empty()) {
        code = packetErrorCode(packetErrorCode(code, writes), transfer.sent);
    }
    return transfer.received == 0 ? code : packetErrorCode(code, reads);
}

Bytes perform(I2cBus& bus, std::uint8_t address, bool pec, Transfer transfer)
{
    const std::uint8_t code = pec ? codeBefore(address, transfer) : std::uint8_t{0};
    if (transfer.received == 0) {
        if (pec) {
            transfer.sent.push_back(code);
        }
        bus.write(address, transfer.sent);
        return {};
    }
    Bytes received = bus.read(address, transfer.sent, static_cast<std::uint16_t>(transfer.received + (pec ? 1 : 0)));
    if (pec) {
        const std::uint8_t told = received.back();
        received.pop_back();
        if (told != packetErrorCode(code, received)) {
            throw Errno{EBADMSG};
        }
    }
    return received;
}

} // namespace

SmbusData smbusData(const SmbusCall& call)
{
    const bool reads = call.reads;
    switch (call.size) {
    case I2C_SMBUS_QUICK:
        if (reads) {
            break;
        }
        return {0, false, false};
    case I2C_SMBUS_BYTE:
        return {reads ? 1U : 0U, false, reads};
    case I2C_SMBUS_BYTE_DATA:
        return {1, !reads, reads};
    case I2C_SMBUS_WORD_DATA:
        return {2, !reads, reads};
    case I2C_SMBUS_PROC_CALL:
        return {2, true, true};
    case I2C_SMBUS_BLOCK_DATA:
        if (reads) {
            break;
        }
        return {BLOCK_SIZE, true, false};
    case I2C_SMBUS_I2C_BLOCK_BROKEN:
    case I2C_SMBUS_I2C_BLOCK_DATA:
        return {BLOCK_SIZE, true, reads};
    case I2C_SMBUS_BLOCK_PROC_CALL:
        break;
    default:
        throw Errno{EINVAL};
    }
    throw Errno{EOPNOTSUPP};
}

Bytes smbusTransfer(I2cBus& bus, std::uint8_t address, bool pec, const SmbusCall& call,
                    std::span<const std::uint8_t> data)
{
    const bool isI2cBlock = isBlock(call.size) && call.size != I2C_SMBUS_BLOCK_DATA;
    const bool coded = pec && call.size != I2C_SMBUS_QUICK && !isI2cBlock;
    Bytes received = perform(bus, address, coded, transferOf(call, data));
    if (call.reads && isI2cBlock) { // the rest of the block stays as it is
        Bytes block(data.begin(), data.end());
        block[0] = static_cast<std::uint8_t>(received.size());
        std::ranges::copy(received, block.begin() + 1);
        return block;
    }
    return received;
}

std::uint8_t packetErrorCode(std::uint8_t before, std::span<const std::uint8_t> bytes)
{
    unsigned code = before;
    for (const std::uint8_t byte : bytes) {
        code ^= byte;
        for (int bit = 0; bit < 8; ++bit) {
            code = (code << 1 ^ ((code & 0x80) != 0 ? 0x07U : 0U)) & 0xFF;
        }
    }
    return static_cast<std::uint8_t>(code);
}

} // namespace bridge
