#include "model/output_frame.hpp"

namespace sim {

namespace {
constexpr std::size_t TRANSACTION_ID = 0;
constexpr std::size_t CODE = 2;
constexpr std::size_t STATUS = 4;
} // namespace

OutputFrame::OutputFrame(std::uint16_t transactionId, std::uint16_t code, std::size_t dataOffset) : bytes_(dataOffset)
{
    setU16(TRANSACTION_ID, transactionId);
    setU16(CODE, code);
}

void OutputFrame::setStatus(DeviceStatus status)
{
    setU16(STATUS, static_cast<std::uint16_t>(status));
}

void OutputFrame::setU8(std::size_t offset, std::uint8_t value)
{
    bytes_.at(offset) = value;
}

void OutputFrame::setU16(std::size_t offset, std::uint16_t value)
{
    setU8(offset, static_cast<std::uint8_t>(value));
    setU8(offset + 1, static_cast<std::uint8_t>(value >> 8));
}

void OutputFrame::append(std::span<const std::uint8_t> data)
{
    bytes_.insert(bytes_.end(), data.begin(), data.end());
}

} // namespace sim
