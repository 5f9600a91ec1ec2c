#include "devices/temperature_sensor.hpp"

namespace sim {

bool TemperatureSensor::write(std::span<const std::uint8_t> stream)
{
    if (stream.empty()) {
        return true;
    }
    pointer_ = stream.front() % registers_.size();
    if (pointer_ == TEMPERATURE) {
        return true;
    }
    for (auto data = stream.subspan(1); data.size() >= 2; data = data.subspan(2)) {
        registers_[pointer_] = static_cast<std::uint16_t>(data[0] << 8 | data[1]);
    }
    return true;
}

std::optional<std::size_t> TemperatureSensor::read(std::span<std::uint8_t> into)
{
    const std::uint16_t value = pointer_ == TEMPERATURE ? temperature() : registers_[pointer_];
    for (std::size_t i = 0; i < into.size(); ++i) {
        into[i] = static_cast<std::uint8_t>(i % 2 == 0 ? value >> 8 : value);
    }
    return into.size();
}

void TemperatureSensor::powerCycle()
{
    registers_ = DEFAULTS;
    pointer_ = TEMPERATURE;
    start_ = world_.now();
}

void TemperatureSensor::poke(std::size_t address, std::uint32_t value)
{
    if (address == TEMPERATURE) {
        course_ = {.temperatures = {static_cast<std::uint16_t>(value)}};
    } else {
        registers_[address] = static_cast<std::uint16_t>(value);
    }
}

std::uint16_t TemperatureSensor::temperature() const
{
    const auto passed = course_.period.count() == 0 ? 0 : (world_.now() - start_) / course_.period;
    return course_.temperatures[static_cast<std::size_t>(passed) % course_.temperatures.size()];
}

} // namespace sim
