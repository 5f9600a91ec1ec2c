// SMBus transactions as I2C transfers.
#pragma once

#include <cstdint>
#include <span>

#include "arguments/data.hpp"
#include "i2c/i2c_bus.hpp"

namespace bridge {

// As the ioctl has it. The numbers are those of <linux/i2c.h>.
struct SmbusCall {
    bool reads;
    std::uint8_t command;
    std::uint32_t size;
};

// How the data of a call lies in the program's memory, and which way it goes.
struct SmbusData {
    std::size_t size;
    bool in;
    bool out;
};

// Throws Errno: EINVAL for a size that does not exist, EOPNOTSUPP for what the adapter cannot do: a read whose length
// is in what is read, and one of nothing.
SmbusData smbusData(const SmbusCall& call);

// Makes it, with a packet error code on request. `data` are as many bytes as `smbusData` says if they go in, and what
// is returned are as many if they go out.
tool::Bytes smbusTransfer(I2cBus& bus, std::uint8_t address, bool pec, const SmbusCall& call,
                          std::span<const std::uint8_t> data);

// The packet error code of these bytes behind those with the code `before`.
std::uint8_t packetErrorCode(std::uint8_t before, std::span<const std::uint8_t> bytes);

} // namespace bridge
