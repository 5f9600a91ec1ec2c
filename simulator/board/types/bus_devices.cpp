#include "board/types/bus_devices.hpp"

#include <algorithm>
#include <cmath>
#include <utility>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "board/types/contents.hpp"
#include "devices/eeprom.hpp"
#include "devices/gpio_expander.hpp"
#include "devices/temperature_sensor.hpp"

namespace sim {

namespace {

std::uint16_t temperatureOf(const Node& node)
{
    return static_cast<std::uint16_t>(std::lround(node.fraction(-128, 127.99) * 256));
}

} // namespace

void readEeprom(Object& object, DeviceBoard<BusDevice>& board)
{
    constexpr std::size_t MOST_ADDRESSES = 8;
    constexpr double LONGEST_WRITE = 60'000;
    Eeprom::Layout layout{};
    const Node size = object.get("size");
    layout.size = size.number(1, 0x100'0000);
    const Node page = object.get("page");
    layout.pageSize = page.number(1, layout.size);
    if (layout.size % layout.pageSize != 0) {
        page.fail(fmt::format("{} bytes are no whole number of pages of {}", layout.size, layout.pageSize));
    }
    layout.addressBytes = object.get("address_bytes").number(1, 4);
    board.addresses = Eeprom::addresses(layout);
    if (board.addresses > MOST_ADDRESSES) {
        size.fail(fmt::format("{} bytes are out of reach of {} address byte{}", layout.size, layout.addressBytes,
                              layout.addressBytes == 1 ? "" : "s"));
    }
    if (const auto time = object.find("write_ms")) {
        layout.writeTime = time->milliseconds(LONGEST_WRITE);
    }
    Contents contents = readContents(object, layout.size);
    layout.contents = std::move(contents.bytes);
    layout.keptIn = std::move(contents.keptIn);
    board.make = [layout = std::move(layout)](World& world) { return std::make_unique<Eeprom>(layout, world); };
}

void readGpioExpander(Object& object, DeviceBoard<BusDevice>& board)
{
    const Node count = object.get("lines");
    const std::size_t lines = count.number(8, 16);
    if (lines != 8 && lines != 16) {
        count.fail(fmt::format("{} is neither 8 nor 16", lines));
    }
    const auto pullUps = object.find("pull_ups");
    const bool pullsUp = pullUps && pullUps->flag();
    for (std::size_t line = 0; line < lines; ++line) {
        board.lines.push_back(std::to_string(line));
    }
    board.lines.emplace_back("interrupt");
    board.make = [lines, pullsUp](World&) { return std::make_unique<GpioExpander>(lines, pullsUp); };
}

void readTemperatureSensor(Object& object, DeviceBoard<BusDevice>& board)
{
    constexpr std::size_t MOST = 1'000'000;
    constexpr double LONGEST_PERIOD = 3'600'000;
    constexpr double SHORTEST_PERIOD = 0.1;
    TemperatureSensor::Course course;
    const auto period = object.find("every_ms");
    if (period) {
        course.period = period->milliseconds(LONGEST_PERIOD, SHORTEST_PERIOD);
    }
    if (const auto celsius = object.find("celsius"); celsius && celsius->json().is_array()) {
        course.temperatures.clear();
        std::ranges::transform(celsius->items(1, MOST), std::back_inserter(course.temperatures), temperatureOf);
        if (!period) {
            object.get("every_ms"); // which is missing
        }
    } else if (celsius) {
        course.temperatures = {temperatureOf(*celsius)};
    }
    board.make = [course = std::move(course)](World& world) {
        return std::make_unique<TemperatureSensor>(course, world);
    };
}

} // namespace sim
