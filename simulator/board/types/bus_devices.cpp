#include "board/types/bus_devices.hpp"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <string_view>
#include <utility>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "devices/eeprom.hpp"
#include "devices/gpio_expander.hpp"
#include "devices/temperature_sensor.hpp"

namespace sim {

namespace {

// "file:NAME", which need not be there yet, as an absolute path.
std::filesystem::path keptFile(Object& object)
{
    constexpr std::string_view FILE = "file:";
    const auto contents = object.find("contents");
    if (!contents || !contents->isText() || !contents->text().starts_with(FILE)) {
        object.get("keep").fail("to be kept, contents must be \"file:NAME\"");
    }
    return std::filesystem::absolute(contents->file().parent_path() / contents->text().substr(FILE.size()));
}

void readContents(Object& object, Eeprom::Layout& layout)
{
    const auto keep = object.find("keep");
    bool isThere = true;
    if (keep && keep->flag()) {
        const auto file = keptFile(object);
        layout.keptIn = file.string();
        isThere = std::filesystem::exists(file);
        if (!std::filesystem::is_directory(file.parent_path())) {
            object.get("contents").fail(fmt::format("there is no directory {}", file.parent_path().string()));
        }
    }
    if (const auto contents = object.find("contents"); contents && isThere) {
        layout.contents = contents->bytes(layout.size);
    }
}

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
    readContents(object, layout);
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
