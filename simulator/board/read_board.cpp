#include "board/read_board.hpp"

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <iterator>
#include <set>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "board/device_types.hpp"
#include "board/serial_number.hpp"
#include "default_board.hpp"
#include "model/gpio.hpp"

namespace sim {

namespace {

constexpr std::size_t MOST_ADAPTERS = 128;
constexpr std::size_t PINS = Gpio::COUNT;

// Names of devices and wires, and the lines that devices have.
class Names {
public:
    template <class Kind>
    void add(const Node& node, const DeviceBoard<Kind>& device)
    {
        addName(node, device.name);
        lines_[device.name] = device.lines;
    }

    void addName(const Node& node, const std::string& name)
    {
        if (!all_.insert(name).second) {
            node.fail(fmt::format("another device or wire is named '{}'", name));
        }
    }

    std::string device(const Node& node) const
    {
        std::vector<std::string> names;
        std::ranges::transform(lines_, std::back_inserter(names), [](const auto& entry) { return entry.first; });
        return names[node.choice(names)];
    }

    // DEVICE.LINE
    WireBoard::Line line(const Node& node) const
    {
        std::vector<std::string> known;
        for (const auto& [device, lines] : lines_) {
            for (const std::string& line : lines) {
                known.push_back(device + '.' + line);
            }
        }
        if (known.empty()) {
            node.fail("no device of this board has a line");
        }
        const std::string& chosen = known[node.choice(known)];
        const auto dot = chosen.rfind('.');
        return {chosen.substr(0, dot), chosen.substr(dot + 1)};
    }

private:
    std::set<std::string> all_;
    std::map<std::string, std::vector<std::string>> lines_; // by device
};

void readText(Object& object, const std::string& key, std::string& text)
{
    if (const auto given = object.find(key)) {
        text = given->text();
    }
}

void readUsbString(Object& object, const std::string& key, std::string& text)
{
    if (const auto given = object.find(key)) {
        text = given->text();
        if (const auto wrong = wrongUsbString(text)) {
            given->fail(*wrong);
        }
    }
}

std::uint8_t addressIn(const std::string& key, const Node& device)
{
    const Json text = key;
    return static_cast<std::uint8_t>(Node(device.file(), text, device.place()).number(0, 0x7F));
}

void readAddresses(const Node& node, const std::string& prefix, Names& names,
                   std::map<std::uint8_t, DeviceBoard<BusDevice>>& devices)
{
    std::set<std::size_t> taken;
    for (const auto& [key, entry] : node.members()) {
        const std::uint8_t address = addressIn(key, entry);
        auto device = readBusDevice(entry, fmt::format("{}-0x{:02x}", prefix, address));
        if (const std::size_t row = std::bit_ceil(device.addresses); address % row != 0) {
            entry.fail(fmt::format("it takes {} addresses, the first of which must be a multiple of {}, not 0x{:02x}",
                                   device.addresses, row, address));
        }
        for (std::size_t index = 0; index < device.addresses; ++index) {
            if (!taken.insert(address + index).second) {
                entry.fail(fmt::format("address 0x{:02x} has a device already", address + index));
            }
        }
        names.add(entry, device);
        devices[address] = std::move(device);
    }
}

void readRail(Object& rails, const std::string& key, Voltage::Rail& rail)
{
    constexpr std::uint64_t MOST = 20'000;
    const auto given = rails.find(key);
    if (!given) {
        return;
    }
    Object object(*given);
    const auto read = [&](const std::string& name, std::uint16_t& millivolts, std::uint64_t low, std::uint64_t high) {
        if (const auto node = object.find(name)) {
            millivolts = static_cast<std::uint16_t>(node->number(low, high));
        }
    };
    read("minimum_mv", rail.minimum, 0, MOST);
    read("maximum_mv", rail.maximum, rail.minimum, MOST);
    read("initial_mv", rail.regulator, rail.minimum, rail.maximum);
    read("external_mv", rail.external, 0, MOST);
    if (rail.regulator < rail.minimum || rail.regulator > rail.maximum) {
        given->fail(fmt::format("initial_mv, {}, is not from {} to {}", rail.regulator, rail.minimum, rail.maximum));
    }
    object.end();
}

void readI2c(const Node& node, AdapterBoard& board, Names& names)
{
    const auto ports = node.items(0, board.i2c.size());
    for (std::size_t port = 0; port < ports.size(); ++port) {
        Object object(ports[port]);
        if (const auto devices = object.find("devices")) {
            readAddresses(*devices, fmt::format("i2c{}", port), names, board.i2c[port]);
        }
        if (const auto stuck = object.find("stuck")) {
            board.i2cStuck[port] = stuck->choice({"low"}) == 0;
        }
        object.end();
    }
}

void readSpi(const Node& node, AdapterBoard& board, Names& names)
{
    const auto selects = node.items(0, board.spi.size());
    for (std::size_t select = 0; select < selects.size(); ++select) {
        if (!selects[select].json().is_null()) {
            board.spi[select] = readSpiDevice(selects[select], fmt::format("spi{}", select));
            names.add(selects[select], *board.spi[select]);
        }
    }
}

void readI3c(const Node& node, AdapterBoard& board, Names& names)
{
    constexpr std::size_t MOST_TARGETS = 11;
    Object object(node);
    if (const auto targets = object.find("targets")) {
        for (const Node& target : targets->items(0, MOST_TARGETS)) {
            board.i3cTargets.push_back(readI3cTarget(target, fmt::format("i3c{}", board.i3cTargets.size())));
            names.add(target, board.i3cTargets.back());
        }
    }
    if (const auto devices = object.find("devices")) {
        readAddresses(*devices, "i3c", names, board.legacyDevices);
    }
    object.end();
}

WireBoard readWire(const Node& node, std::set<std::size_t>& wired, Names& names, std::size_t index)
{
    static const std::vector<std::string> LEVELS{"low", "high"};
    static const std::vector<std::string> PULLS{"down", "up"};
    Object object(node);
    WireBoard wire{.name = fmt::format("wire{}", index), .pins = {}};
    readText(object, "name", wire.name);
    names.addName(node, wire.name);
    const auto pins = object.find("pins");
    for (const Node& pin : pins ? pins->items(0, PINS) : std::vector<Node>()) {
        const std::size_t number = pin.number(0, PINS - 1);
        if (!wired.insert(number).second) {
            pin.fail(fmt::format("pin {} is on a wire already", number));
        }
        wire.pins.push_back(number);
    }
    const auto pull = object.find("pull");
    const auto level = object.find("level");
    if (pull && level) {
        node.fail("give either 'pull' or 'level'");
    }
    if (pull) {
        wire.hold = pull->choice(PULLS) == 1 ? Hold::PULL_HIGH : Hold::PULL_LOW;
    } else if (level) {
        wire.hold = level->choice(LEVELS) == 1 ? Hold::DRIVE_HIGH : Hold::DRIVE_LOW;
    }
    if (const auto button = object.find("button")) {
        wire.button = button->choice(LEVELS) == 1 ? Hold::DRIVE_HIGH : Hold::DRIVE_LOW;
    }
    if (const auto lines = object.find("lines")) {
        for (const Node& line : lines->items(0, 64)) {
            wire.lines.push_back(names.line(line));
        }
    }
    if (const auto resets = object.find("resets")) {
        for (const Node& device : resets->items(0, 64)) {
            wire.resets.push_back(names.device(device));
        }
    }
    object.end();
    return wire;
}

void readGpio(const Node& node, AdapterBoard& board, Names& names)
{
    Object object(node);
    std::set<std::size_t> wired;
    if (const auto wires = object.find("wires")) {
        for (const Node& wire : wires->items(0, 64)) {
            board.wires.push_back(readWire(wire, wired, names, board.wires.size()));
        }
    }
    object.end();
}

AdapterBoard readAdapter(const Node& node)
{
    AdapterBoard board;
    Object object(node);
    Names names;
    if (const auto serial = object.find("serial")) {
        board.serialNumber = serial->text();
        if (const auto wrong = wrongSerialNumber(board.serialNumber)) {
            serial->fail(*wrong);
        }
    }
    if (const auto size = object.find("report_size")) {
        if (board.reportSize = size->number(64, 1024); board.reportSize != 64 && board.reportSize != 1024) {
            size->fail(fmt::format("{} is neither 64 nor 1024", board.reportSize));
        }
    }
    if (const auto strings = object.find("strings")) {
        Object texts(*strings);
        readUsbString(texts, "manufacturer", board.manufacturer);
        readUsbString(texts, "product", board.product);
        readUsbString(texts, "firmware", board.firmware);
        readUsbString(texts, "hardware", board.hardware);
        texts.end();
    }
    if (const auto rails = object.find("rails")) {
        Object both(*rails);
        readRail(both, "shared", board.voltage.shared);
        readRail(both, "i3c", board.voltage.i3c);
        both.end();
    }
    if (const auto i2c = object.find("i2c")) {
        readI2c(*i2c, board, names);
    }
    if (const auto spi = object.find("spi")) {
        readSpi(*spi, board, names);
    }
    static const Json ECHO{{"type", "echo"}};
    const auto uart = object.find("uart");
    board.uart = readUartPeer(uart.value_or(Node(node.file(), ECHO, node.place() + "/uart")), "uart");
    names.add(uart.value_or(node), board.uart);
    if (const auto i3c = object.find("i3c")) {
        readI3c(*i3c, board, names);
    }
    if (const auto gpio = object.find("gpio")) { // last: it names devices
        readGpio(*gpio, board, names);
    }
    object.end();
    return board;
}

} // namespace

Board parseBoard(const std::filesystem::path& file, std::string_view text)
{
    constexpr std::uint64_t VERSION = 1;
    const Json document = parseDocument(file, text);
    Object object(Node(file, document));
    object.find("$schema"); // for editors
    const Node version = object.get("version");
    if (version.number(0, UINT32_MAX) != VERSION) {
        version.fail(fmt::format("this program reads version {}", VERSION));
    }
    Board board;
    std::set<std::string> serialNumbers;
    for (const Node& adapter : object.get("adapters").items(1, MOST_ADAPTERS)) {
        board.push_back(readAdapter(adapter));
        if (!serialNumbers.insert(board.back().serialNumber).second) {
            adapter.fail(fmt::format("another adapter has the serial number '{}'", board.back().serialNumber));
        }
    }
    object.end();
    return board;
}

Board readBoard(const std::filesystem::path& file)
{
    std::ifstream stream(file, std::ios::binary);
    const std::string text{std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
    if (!stream) {
        throw BoardError(fmt::format("{}: cannot be read: {}", file.string(), std::strerror(errno)));
    }
    return parseBoard(file, text);
}

std::string defaultBoardText()
{
    return DEFAULT_BOARD;
}

Board defaultBoard()
{
    return parseBoard("default.json", DEFAULT_BOARD);
}

} // namespace sim
