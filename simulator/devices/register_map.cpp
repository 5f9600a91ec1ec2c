#include "devices/register_map.hpp"

#include <algorithm>
#include <utility>

namespace sim {

namespace {

std::size_t rowsOf(const RegisterMap::Samples& samples)
{
    return samples.values.size() / samples.registers.size();
}

} // namespace

RegisterMap::RegisterMap(std::shared_ptr<const Layout> layout, World& world)
    : layout_(std::move(layout)), world_(world), values_(layout_->registers.size()), progress_(layout_->samples.size())
{
    powerCycle();
}

bool RegisterMap::write(std::span<const std::uint8_t> stream)
{
    if (stream.size() < layout_->addressBytes) {
        return true;
    }
    std::size_t address = 0;
    for (const std::uint8_t byte : stream.first(layout_->addressBytes)) {
        address = address << 8 | byte;
    }
    if (layout_->increment == Increment::TOP_BIT) {
        const std::size_t topBit = std::size_t{1} << (8 * layout_->addressBytes - 1);
        increments_ = (address & topBit) != 0;
        address &= ~topBit;
    }
    address_ = address % values_.size();

    const std::size_t size = layout_->registerBytes;
    const std::size_t low = layout_->littleEndian ? 0 : size - 1;
    for (auto data = stream.subspan(layout_->addressBytes); data.size() >= size; data = data.subspan(size)) {
        const int high = size == 2 ? data[1 - low] << 8 : 0;
        writeRegister(static_cast<std::uint16_t>(high | data[low]));
        next();
    }
    startAndStop();
    updateInterrupt();
    return true;
}

std::optional<std::size_t> RegisterMap::read(std::span<std::uint8_t> into)
{
    const std::size_t size = layout_->registerBytes;
    for (std::size_t at = 0; at < into.size(); at += size) {
        const std::uint16_t value = readRegister();
        for (std::size_t byte = 0; byte < size && at + byte < into.size(); ++byte) {
            const bool high = size == 2 && (byte == 0) != layout_->littleEndian;
            into[at + byte] = static_cast<std::uint8_t>(high ? value >> 8 : value);
        }
    }
    updateInterrupt();
    return into.size();
}

void RegisterMap::next()
{
    if (increments_) {
        address_ = (address_ + 1) % values_.size();
    }
}

void RegisterMap::writeRegister(std::uint16_t value)
{
    const Register& how = layout_->registers[address_];
    const unsigned kept = how.readOnly | (how.clearOnOne & ~unsigned{value});
    const unsigned taken = ~unsigned{how.readOnly} & ~unsigned{how.clearOnOne} & value;
    values_[address_] = static_cast<std::uint16_t>((values_[address_] & kept) | taken);
}

std::uint16_t RegisterMap::readRegister()
{
    const std::uint16_t value = values_[address_];
    values_[address_] = static_cast<std::uint16_t>(value & ~unsigned{layout_->registers[address_].clearOnRead});
    wasRead(address_);
    next();
    return value;
}

void RegisterMap::powerCycle()
{
    for (std::size_t address = 0; address < values_.size(); ++address) {
        values_[address] = layout_->registers[address].reset;
    }
    address_ = 0;
    increments_ = layout_->increment != Increment::NEVER;
    for (Progress& progress : progress_) {
        progress = {};
    }
    startAndStop();
    updateInterrupt();
}

void RegisterMap::poke(std::size_t address, std::uint32_t value)
{
    values_[address] = static_cast<std::uint16_t>(value);
    startAndStop();
    updateInterrupt();
}

void RegisterMap::startAndStop()
{
    for (std::size_t index = 0; index < progress_.size(); ++index) {
        const Samples& samples = layout_->samples[index];
        Progress& progress = progress_[index];
        const bool runs = !samples.runsWhile || isSet(*samples.runsWhile);
        if (runs == std::exchange(progress.running, runs)) {
            continue;
        }
        progress.timer.reset();
        if (runs && samples.period > World::Clock::duration::zero()) {
            progress.due = world_.now();
            waitForRow(index);
        } else if (runs) {
            showRow(index);
        }
    }
}

// Counted from the last row, so that a late handler delays none of the next.
void RegisterMap::waitForRow(std::size_t index)
{
    Progress& progress = progress_[index];
    progress.due += layout_->samples[index].period;
    progress.timer = world_.after(progress.due - world_.now(), [this, index] {
        skipMissedRows(index);
        if (!isInReset()) {
            showRow(index);
            updateInterrupt();
        }
        waitForRow(index);
    });
}

// After a pause of the whole program nobody saw the rows in between.
void RegisterMap::skipMissedRows(std::size_t index)
{
    const Samples& samples = layout_->samples[index];
    Progress& progress = progress_[index];
    const auto missed = (world_.now() - progress.due) / samples.period;
    progress.due += missed * samples.period;
    const std::size_t row = progress.row + static_cast<std::size_t>(missed);
    progress.row = samples.repeats ? row : std::min(row, std::max(progress.row, rowsOf(samples) - 1));
}

void RegisterMap::showRow(std::size_t index)
{
    const Samples& samples = layout_->samples[index];
    const std::size_t columns = samples.registers.size();
    std::size_t& row = progress_[index].row;
    if (row >= rowsOf(samples)) {
        if (!samples.repeats) {
            return;
        }
        row %= rowsOf(samples);
    }
    const unsigned bits = static_cast<unsigned>(8 * layout_->registerBytes);
    for (std::size_t column = 0; column < columns; ++column) {
        const std::uint32_t value = samples.values[row * columns + column];
        for (std::size_t part = 0; part < samples.registersEach; ++part) {
            const std::size_t place = layout_->littleEndian ? part : samples.registersEach - 1 - part;
            values_[samples.registers[column] + part] =
                static_cast<std::uint16_t>((value >> (place * bits)) & ((1u << bits) - 1));
        }
    }
    ++row;
    if (samples.ready) {
        values_[samples.ready->address] |= samples.ready->mask;
    }
}

void RegisterMap::wasRead(std::size_t address)
{
    for (std::size_t index = 0; index < progress_.size(); ++index) {
        const Samples& samples = layout_->samples[index];
        if (address != samples.registers.back() + samples.registersEach - 1) {
            continue;
        }
        if (samples.ready) {
            values_[samples.ready->address] &= static_cast<std::uint16_t>(~unsigned{samples.ready->mask});
        }
        if (progress_[index].running && samples.period == World::Clock::duration::zero()) {
            showRow(index);
        }
    }
}

void RegisterMap::connect(std::string_view, WireEnd end)
{
    interrupt_ = end;
    updateInterrupt();
}

void RegisterMap::updateInterrupt() const
{
    if (const auto& interrupt = layout_->interrupt) {
        const bool raised = isSet(interrupt->follows) && (!interrupt->enabledBy || isSet(*interrupt->enabledBy));
        interrupt_.hold(raised ? interrupt->active : interrupt->inactive);
    }
}

} // namespace sim
