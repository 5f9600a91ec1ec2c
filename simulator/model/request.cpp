#include "model/request.hpp"

#include "model/refusal.hpp"

namespace sim {

Request::Request(std::span<const std::uint8_t> frame) : unread_(frame), transactionId_(u16()), code_(u16()) {}

std::uint8_t Request::u8()
{
    return bytes(1).front();
}

std::uint16_t Request::u16()
{
    const auto field = bytes(2);
    return static_cast<std::uint16_t>(field[0] | field[1] << 8);
}

std::uint32_t Request::u32()
{
    const std::uint32_t low = u16();
    const std::uint32_t high = u16();
    return high << 16 | low;
}

std::span<const std::uint8_t> Request::bytes(std::size_t count)
{
    require(count <= unread_.size(), DeviceStatus::MALFORMED_FRAME);
    const auto field = unread_.first(count);
    unread_ = unread_.subspan(count);
    return field;
}

void Request::end() const
{
    require(unread_.empty(), DeviceStatus::MALFORMED_FRAME);
}

} // namespace sim
