#include "devices/register_map.hpp"

#include <algorithm>
#include <cmath>
#include <set>
#include <utility>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "board/csv.hpp"
#include "board/types/bus_devices.hpp"

namespace sim {

namespace {

using Layout = RegisterMap::Layout;

std::uint64_t largest(const Layout& layout)
{
    return layout.registerBytes == 1 ? 0xFF : 0xFFFF;
}

std::uint16_t valueOf(const Node& node, const Layout& layout)
{
    return static_cast<std::uint16_t>(node.number(0, largest(layout)));
}

std::size_t addressOf(const Node& node, const Layout& layout)
{
    return node.number(0, layout.registers.size() - 1);
}

RegisterMap::Bits readBits(Object& object, const Layout& layout)
{
    RegisterMap::Bits bits{addressOf(object.get("register"), layout), static_cast<std::uint16_t>(largest(layout))};
    if (const auto mask = object.find("bits")) {
        bits.mask = valueOf(*mask, layout);
    }
    return bits;
}

std::optional<RegisterMap::Bits> readBits(const std::optional<Node>& node, const Layout& layout)
{
    if (!node) {
        return std::nullopt;
    }
    Object object(*node);
    const RegisterMap::Bits bits = readBits(object, layout);
    object.end();
    return bits;
}

// Which registers a definition is for.
struct Range {
    std::size_t first;
    std::size_t last;
};

// "0x28" or "0x28-0x2d". The values of a list may go beyond a single register, not beyond a range.
Range rangeOf(const std::string& key, const Node& node, const Layout& layout)
{
    const auto number = [&](std::string_view part) {
        const Json text = part;
        return addressOf(Node(node.file(), text, node.place()), layout);
    };
    const auto dash = key.find('-');
    const std::size_t first = number(std::string_view(key).substr(0, dash));
    const std::size_t last = dash == std::string::npos ? first : number(std::string_view(key).substr(dash + 1));
    if (last < first) {
        node.fail(fmt::format("the range {} ends before it begins", key));
    }
    return {first, last};
}

// One number, or a list of them for one register each.
std::vector<std::uint16_t> resetValues(const Node& node, const Layout& layout)
{
    std::vector<std::uint16_t> values;
    const bool isBytes = node.isText() && node.text().find(':') != std::string::npos;
    if (isBytes) {
        const auto bytes = node.bytes(layout.registers.size() * layout.registerBytes);
        if (bytes.size() % layout.registerBytes != 0) {
            node.fail(fmt::format("{} bytes are no whole number of 16-bit registers", bytes.size()));
        }
        const std::size_t low = layout.littleEndian ? 0 : layout.registerBytes - 1;
        for (std::size_t at = 0; at < bytes.size(); at += layout.registerBytes) {
            const int high = layout.registerBytes == 2 ? bytes[at + 1 - low] << 8 : 0;
            values.push_back(static_cast<std::uint16_t>(high | bytes[at + low]));
        }
    } else if (node.json().is_array()) {
        std::ranges::transform(node.items(1, layout.registers.size()), std::back_inserter(values),
                               [&](const Node& item) { return valueOf(item, layout); });
    } else {
        values.push_back(valueOf(node, layout));
    }
    return values;
}

void readRegister(const std::string& key, const Node& node, Layout& layout, std::set<std::size_t>& described)
{
    Range range = rangeOf(key, node, layout);
    std::vector<std::uint16_t> values{0};
    RegisterMap::Register how;
    if (node.isObject()) {
        Object object(node);
        if (const auto reset = object.find("reset")) {
            values = resetValues(*reset, layout);
        }
        const auto readMask = [&](const char* name, std::uint16_t& mask) {
            if (const auto given = object.find(name)) {
                const bool all = given->json().is_boolean();
                mask = all ? given->flag() ? static_cast<std::uint16_t>(largest(layout)) : std::uint16_t{0}
                           : valueOf(*given, layout);
            }
        };
        readMask("read_only", how.readOnly);
        readMask("write_1_to_clear", how.clearOnOne);
        readMask("clear_on_read", how.clearOnRead);
        object.end();
    } else {
        values = resetValues(node, layout);
    }
    if (values.size() > 1) {
        if (range.first == range.last) {
            range.last = range.first + values.size() - 1;
        }
        if (range.last >= layout.registers.size() || range.last - range.first + 1 < values.size()) {
            node.fail(
                fmt::format("{} values do not fit in the registers from 0x{:02x} on", values.size(), range.first));
        }
    }
    for (std::size_t address = range.first; address <= range.last; ++address) {
        if (!described.insert(address).second) {
            node.fail(fmt::format("register 0x{:02x} is described twice", address));
        }
        const std::size_t index = address - range.first;
        how.reset = values.size() == 1 ? values.front() : index < values.size() ? values[index] : std::uint16_t{0};
        layout.registers[address] = how;
    }
}

std::vector<double> rowsOf(const Node& node, std::size_t columns)
{
    constexpr std::size_t MOST_ROWS = 1'000'000;
    constexpr double MOST = 1e12;
    const auto numberOf = [](const Node& item) {
        return item.isText() ? static_cast<double>(item.number(0, UINT32_MAX)) : item.fraction(-MOST, MOST);
    };
    std::vector<double> values;
    for (const Node& row : node.items(1, MOST_ROWS)) {
        if (columns == 1 && !row.json().is_array()) {
            values.push_back(numberOf(row));
            continue;
        }
        std::ranges::transform(row.items(columns, columns), std::back_inserter(values), numberOf);
    }
    return values;
}

std::vector<double> readRows(Object& object, std::size_t columns)
{
    const auto values = object.find("values");
    const auto csv = object.find("csv");
    const auto names = object.find("columns");
    if (values.has_value() == csv.has_value()) {
        object.node().fail("give either 'values' or 'csv'");
    }
    if (values) {
        return rowsOf(*values, columns);
    }
    std::vector<std::string> wanted;
    std::ranges::transform(object.get("columns").items(columns, columns), std::back_inserter(wanted),
                           [](const Node& name) { return name.text(); });
    auto rows = readCsv(*csv, wanted);
    if (rows.empty()) {
        csv->fail("the file has no row of samples");
    }
    return rows;
}

std::uint32_t sampleOf(double value, std::size_t bits, const Node& node)
{
    const double rounded = std::round(value);
    const double size = std::ldexp(1.0, static_cast<int>(bits));
    if (rounded < -size / 2 || rounded >= size) {
        node.fail(fmt::format("the value {} does not fit in {} bits", value, bits));
    }
    return static_cast<std::uint32_t>(static_cast<std::int64_t>(rounded));
}

RegisterMap::Samples readSamples(const Node& node, const Layout& layout)
{
    constexpr double LONGEST_PERIOD = 3'600'000;
    constexpr double SHORTEST_PERIOD = 0.1;
    Object object(node);
    RegisterMap::Samples samples{};
    const std::size_t registerBits = 8 * layout.registerBytes;
    std::size_t bits = registerBits;
    if (const auto given = object.find("value_bits")) {
        if (bits = given->number(8, 32); bits % registerBits != 0) {
            given->fail(fmt::format("{} is not a multiple of {}, the bits of a register", bits, registerBits));
        }
    }
    samples.registersEach = bits / registerBits;
    for (const Node& first : object.get("registers").items(1, 64)) {
        samples.registers.push_back(addressOf(first, layout));
        if (samples.registers.back() + samples.registersEach > layout.registers.size()) {
            first.fail(fmt::format("a value of {} bits goes beyond the last register", bits));
        }
    }
    double scale = 1;
    if (const auto given = object.find("scale")) {
        scale = given->fraction(-1e9, 1e9);
    }
    for (const double value : readRows(object, samples.registers.size())) {
        samples.values.push_back(sampleOf(value * scale, bits, node));
    }
    if (const auto period = object.find("every_ms")) {
        samples.period = period->milliseconds(LONGEST_PERIOD, SHORTEST_PERIOD);
    }
    if (const auto repeat = object.find("repeat")) {
        samples.repeats = repeat->flag();
    }
    samples.ready = readBits(object.find("ready"), layout);
    samples.runsWhile = readBits(object.find("while"), layout);
    object.end();
    return samples;
}

RegisterMap::Interrupt readInterrupt(const Node& node, const Layout& layout)
{
    Object object(node);
    const RegisterMap::Bits bits = readBits(object, layout);
    const auto active = object.find("active");
    const bool high = active && active->choice({"low", "high"}) == 1;
    const auto openDrain = object.find("open_drain");
    const bool drains = openDrain && openDrain->flag();
    if (drains && high) {
        openDrain->fail("an open drain can only be active low");
    }
    RegisterMap::Interrupt interrupt{
        .follows = bits,
        .enabledBy = readBits(object.find("enable"), layout),
        .active = high ? Hold::DRIVE_HIGH : Hold::DRIVE_LOW,
        .inactive = drains ? Hold::NOTHING
                    : high ? Hold::DRIVE_LOW
                           : Hold::DRIVE_HIGH,
    };
    object.end();
    return interrupt;
}

// What goes over the wire, before any register is looked at.
Layout readFormat(Object& object)
{
    Layout layout;
    if (const auto bits = object.find("register_bits")) {
        if (const auto given = bits->number(8, 16); given != 8 && given != 16) {
            bits->fail(fmt::format("{} is neither 8 nor 16", given));
        } else {
            layout.registerBytes = given / 8;
        }
    }
    if (const auto bytes = object.find("address_bytes")) {
        layout.addressBytes = bytes->number(1, 2);
    }
    if (const auto order = object.find("byte_order")) {
        layout.littleEndian = order->choice({"big", "little"}) == 1;
    }
    if (const auto increment = object.find("auto_increment")) {
        layout.increment = static_cast<RegisterMap::Increment>(increment->choice({"always", "never", "top_bit"}));
    }
    const bool halved = layout.increment == RegisterMap::Increment::TOP_BIT;
    std::size_t size = std::size_t{1} << (8 * layout.addressBytes - (halved ? 1 : 0));
    if (const auto given = object.find("size")) {
        size = given->number(1, size);
    }
    layout.registers.resize(size);
    return layout;
}

} // namespace

void readRegisterMap(Object& object, DeviceBoard<BusDevice>& board)
{
    Layout layout = readFormat(object);
    std::set<std::size_t> described;
    if (const auto registers = object.find("registers")) {
        for (const auto& [key, node] : registers->members()) {
            readRegister(key, node, layout, described);
        }
    }
    if (const auto samples = object.find("samples")) {
        for (const Node& node : samples->items(0, 16)) {
            layout.samples.push_back(readSamples(node, layout));
        }
    }
    if (const auto interrupt = object.find("interrupt")) {
        layout.interrupt = readInterrupt(*interrupt, layout);
        board.lines = {"interrupt"};
    }
    board.make = [layout = std::make_shared<const Layout>(std::move(layout))](World& world) {
        return std::make_unique<RegisterMap>(layout, world);
    };
}

} // namespace sim
