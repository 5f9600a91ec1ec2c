#include "devices/eeprom.hpp"

#include <algorithm>

namespace sim {

namespace {
constexpr std::uint8_t BLANK = 0xFF;
}

Eeprom::Eeprom(const Layout& layout, World& world)
    : world_(world),
      pageSize_(layout.pageSize),
      addressBytes_(layout.addressBytes),
      writeTime_(layout.writeTime),
      memory_(layout.size, BLANK),
      file_(layout.keptIn)
{
    std::ranges::copy(layout.contents, memory_.begin());
}

Eeprom::~Eeprom()
{
    file_.save(memory_, world_);
}

std::size_t Eeprom::addresses(const Layout& layout)
{
    const std::size_t reach = std::size_t{1} << (8 * layout.addressBytes);
    return (layout.size + reach - 1) / reach;
}

bool Eeprom::write(std::span<const std::uint8_t> stream)
{
    if (isBusy()) {
        return false;
    }
    if (stream.size() < addressBytes_) {
        return true;
    }
    std::size_t address = block_;
    for (const std::uint8_t byte : stream.first(addressBytes_)) {
        address = address << 8 | byte;
    }
    address_ = address % memory_.size();
    program(stream.subspan(addressBytes_));
    return true;
}

void Eeprom::program(std::span<const std::uint8_t> data)
{
    const std::size_t page = address_ - address_ % pageSize_;
    for (const std::uint8_t byte : data) {
        memory_[address_] = byte;
        address_ = page + (address_ + 1) % pageSize_;
    }
    if (data.empty()) {
        return;
    }
    file_.change();
    if (writeTime_ > World::Clock::duration::zero()) {
        busy_ = world_.now() + writeTime_;
    }
}

std::optional<std::size_t> Eeprom::read(std::span<std::uint8_t> into)
{
    if (isBusy()) {
        return std::nullopt;
    }
    for (std::uint8_t& byte : into) {
        byte = memory_[address_];
        address_ = (address_ + 1) % memory_.size();
    }
    return into.size();
}

void Eeprom::powerCycle()
{
    address_ = 0;
    busy_.reset();
    file_.save(memory_, world_);
}

} // namespace sim
