#include "devices/eeprom.hpp"

namespace sim {

namespace {
constexpr std::uint8_t ERASED = 0xFF;
}

Eeprom::Eeprom(Geometry geometry) : geometry_(geometry), memory_(geometry.size, ERASED) {}

bool Eeprom::write(std::span<const std::uint8_t> stream)
{
    if (stream.size() < geometry_.addressBytes) {
        return true;
    }
    std::size_t address = 0;
    for (const std::uint8_t byte : stream.first(geometry_.addressBytes)) {
        address = address << 8 | byte;
    }
    address_ = address % geometry_.size;
    const std::size_t page = address_ - address_ % geometry_.pageSize;
    for (const std::uint8_t byte : stream.subspan(geometry_.addressBytes)) {
        memory_[address_] = byte;
        address_ = page + (address_ + 1) % geometry_.pageSize;
    }
    return true;
}

std::optional<std::size_t> Eeprom::read(std::span<std::uint8_t> into)
{
    for (std::uint8_t& byte : into) {
        byte = memory_[address_];
        address_ = (address_ + 1) % geometry_.size;
    }
    return into.size();
}

void Eeprom::powerCycle()
{
    address_ = 0;
}

} // namespace sim
