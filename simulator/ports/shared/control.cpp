#include "ports/shared/control.hpp"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <limits>
#include <stdexcept>
#include <utility>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "bench/bench.hpp"
#include "board/document.hpp"
#include "model/firmware.hpp"

namespace sim {

namespace {

using Adapters = std::vector<AdapterHost*>;
using BenchDevice = Bench::BenchDevice;
using BenchWire = Bench::BenchWire;

constexpr std::size_t MOST_VALUES = 4096; // so that a message holds them

// ---- State ----------------------------------------------------------------------------------------------------------

const char* levelName(bool high)
{
    return high ? "high" : "low";
}

Json railState(const Voltage::Rail& rail)
{
    return {{"millivolts", rail.usesExternal ? rail.external : rail.regulator},
            {"regulator_millivolts", rail.regulator},
            {"external", rail.usesExternal}};
}

Json pinState(const Gpio& gpio, std::size_t number, const std::string& wire)
{
    static constexpr std::array FUNCTIONS{"input", "output", "pull_up", "pull_down", "open_drain"};
    static constexpr std::array TRIGGERS{"rising", "falling", "both"};
    const Gpio::Pin& pin = gpio.pins[number];
    return {{"level", levelName(gpio.ends[number].isHigh())},
            {"function", FUNCTIONS.at(static_cast<std::size_t>(pin.functionality))},
            {"output", levelName(pin.output == GpioLogicLevel::HIGH)},
            {"interrupt", pin.trigger ? TRIGGERS.at(static_cast<std::size_t>(*pin.trigger)) : "none"},
            {"wire", wire}};
}

Json wireState(const BenchWire& wire)
{
    Json state{{"name", wire.name},
               {"level", levelName(wire.wire->isHigh())},
               {"pins", wire.pins},
               {"hand", wire.hand == Hold::NOTHING ? "released" : levelName(wire.hand == Hold::DRIVE_HIGH)}};
    if (wire.button) {
        state["pressed"] = wire.pressed;
    }
    return state;
}

Json i2cState(const I2c::Settings& settings, const I2c::Port& port)
{
    Json state{{"initialised", settings.initialised}, {"stuck", port.stuck}};
    if (settings.initialised) {
        state["frequency_hz"] = settings.frequency;
    }
    return state;
}

Json spiState(const Spi& spi)
{
    Json state{{"initialised", spi.settings.has_value()}};
    if (const auto& settings = spi.settings) {
        state["mode"] = settings->mode;
        state["bits"] = settings->dataWidth == SpiDataWidth::BITS_16 ? 16 : 8;
        state["order"] = settings->bitOrder == SpiBitOrder::LSB_FIRST ? "lsb" : "msb";
        state["select"] = settings->chipSelect;
        state["select_active"] = levelName(settings->chipSelectPolarity == SpiChipSelectPolarity::ACTIVE_HIGH);
        state["frequency_hz"] = settings->frequency;
    }
    return state;
}

Json uartState(const Uart& uart)
{
    Json state{{"initialised", uart.settings.has_value()}};
    if (uart.settings) {
        state["bits"] = 5 + static_cast<int>(uart.settings->dataSize);
    }
    return state;
}

Json faultsState(const DeviceFaults& faults)
{
    Json state = Json::object();
    if (faults.active && faults.nack > 0) {
        state["nack"] = faults.nack;
    }
    if (faults.active && faults.flip > 0) {
        state["flip"] = faults.flip;
    }
    if (faults.active && faults.stretch.count() > 0) {
        state["stretch_ms"] = std::chrono::duration<double, std::milli>(faults.stretch).count();
    }
    return state;
}

Json deviceState(const BenchDevice& part, FaultSource* faults)
{
    Json facts = Json::object();
    for (const Fact& fact : part.device->facts()) {
        std::visit([&](const auto& value) { facts[fact.name] = value; }, fact.value);
    }
    const Device::Cells cells = part.device->cells();
    Json state{{"name", part.name},        {"type", part.type},         {"place", part.place},
               {"cells", cells.count},     {"cell_bytes", cells.bytes}, {"in_reset", part.device->isInReset()},
               {"state", std::move(facts)}};
    if (faults) {
        state["faults"] = faultsState(faults->settings());
    }
    return state;
}

Json adapterState(const AdapterHost& adapter)
{
    return {{"serial", adapter.serialNumber()},
            {"product", adapter.identity().product},
            {"report_size", adapter.reportSize()},
            {"present", adapter.isPresent()}};
}

Json faultsState(const FaultPlan& faults)
{
    Json state = Json::object();
    for (std::size_t fault = 0; fault < FAULT_NAMES.size(); ++fault) {
        if (faults.probability[fault] > 0) {
            state[std::string(FAULT_NAMES[fault])] = faults.probability[fault];
        }
    }
    return state;
}

Json stateOf(AdapterHost& host)
{
    VirtualAdapter& adapter = host.adapter();
    const Firmware& firmware = adapter.firmware();
    Json state = adapterState(host);
    state["rails"] = {{"shared", railState(firmware.voltage.shared)}, {"i3c", railState(firmware.voltage.i3c)}};
    state["pins"] = std::vector<Json>(Gpio::COUNT);
    state["wires"] = Json::array();
    for (const BenchWire& wire : adapter.bench().wires()) {
        state["wires"].push_back(wireState(wire));
        for (const std::size_t pin : wire.pins) {
            state["pins"][pin] = pinState(firmware.gpio, pin, wire.name);
        }
    }
    state["i2c"] = Json::array();
    for (std::size_t port = 0; port < firmware.i2c.ports.size(); ++port) {
        state["i2c"].push_back(i2cState(firmware.i2c.settings[port], firmware.i2c.ports[port]));
    }
    state["spi"] = spiState(firmware.spi);
    state["uart"] = uartState(firmware.uart);
    state["i3c"] = {{"initialised", firmware.i3c.initialised}, {"up", firmware.i3cBus.isUp()}};
    state["faults"] = faultsState(host.faults());
    state["devices"] = Json::array();
    for (const BenchDevice& part : adapter.bench().devices()) {
        state["devices"].push_back(deviceState(part, adapter.bench().faults(part.name)));
    }
    return state;
}

// ---- Requests -------------------------------------------------------------------------------------------------------

// What a request says. An operation asks for all of its keys, ends them, and then acts.
class Order {
public:
    Order(const Adapters& adapters, Object& keys) : adapters_(adapters), keys_(keys), host_(&findAdapter()) {}

    Node get(const std::string& key) { return keys_.get(key); }
    std::optional<Node> find(const std::string& key) { return keys_.find(key); }
    void end() const { keys_.end(); }

    const Adapters& adapters() const { return adapters_; }
    AdapterHost& host() const { return *host_; }
    Bench& bench() const { return host_->adapter().bench(); }

    AdapterHost& presentHost() const
    {
        if (!host_->isPresent()) {
            throw std::runtime_error(
                fmt::format("adapter {} is not plugged in: try 'tarvix-sim trigger replug'", host_->serialNumber()));
        }
        return *host_;
    }

    // By its name, or as that of a pin: "pin3".
    BenchWire& wire()
    {
        const Node node = get("wire");
        std::vector<BenchWire>& wires = bench().wires();
        const std::string name = node.text();
        for (std::size_t pin = 0; pin < Gpio::COUNT && std::ranges::count(wires, name, &BenchWire::name) == 0; ++pin) {
            if (name == fmt::format("pin{}", pin)) {
                return *std::ranges::find_if(
                    wires, [pin](const BenchWire& wire) { return std::ranges::count(wire.pins, pin) != 0; });
            }
        }
        return named(node, wires);
    }
    BenchDevice& device() { return named(get("device"), bench().devices()); }

    Frame bytes(const Node& node) const
    {
        Frame bytes;
        for (const Node& item : node.items(0, MOST_VALUES)) {
            bytes.push_back(static_cast<std::uint8_t>(item.number(0, 0xFF)));
        }
        return bytes;
    }

private:
    template <class Named>
    static Named& named(const Node& node, std::vector<Named>& all)
    {
        std::vector<std::string> names;
        std::ranges::transform(all, std::back_inserter(names), [](const Named& one) { return one.name; });
        return all[node.choice(names)];
    }

    AdapterHost& findAdapter()
    {
        const auto given = keys_.find("adapter");
        if (!given) {
            return *adapters_.front();
        }
        if (given->isText()) {
            const std::string name = given->text();
            const auto found = std::ranges::find(adapters_, name, &AdapterHost::serialNumber);
            if (found != adapters_.end()) {
                return **found;
            }
        }
        const Json& value = given->json();
        std::uint64_t index = adapters_.size();
        const std::string text = value.is_string() ? value.get<std::string>() : value.dump();
        const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), index);
        if (error != std::errc{} || end != text.data() + text.size() || index >= adapters_.size()) {
            throw std::runtime_error(fmt::format("no adapter '{}': give a serial number, or an index from 0 to {}",
                                                 text, adapters_.size() - 1));
        }
        return *adapters_[index];
    }

    const Adapters& adapters_;
    Object& keys_;
    AdapterHost* host_;
};

Json listAdapters(Order& order)
{
    order.end();
    Json list = Json::array();
    for (AdapterHost* const host : order.adapters()) {
        list.push_back(adapterState(*host));
    }
    return {{"adapters", std::move(list)}};
}

Json showState(Order& order)
{
    order.end();
    return stateOf(order.host());
}

template <bool PRESSED>
Json pressButton(Order& order)
{
    BenchWire& wire = order.wire();
    order.end();
    if (!wire.button) {
        throw std::runtime_error(
            fmt::format("wire '{}' has no button: use set, or give it one in the board file", wire.name));
    }
    Bench::press(wire, PRESSED);
    return Json::object();
}

Json setWire(Order& order)
{
    static constexpr std::array HOLDS{Hold::DRIVE_LOW, Hold::DRIVE_HIGH, Hold::NOTHING};
    BenchWire& wire = order.wire();
    const Hold how = HOLDS[order.get("level").choice({"low", "high", "released"})];
    order.end();
    Bench::hold(wire, how);
    return Json::object();
}

// A device that has cells, and the address of one.
std::pair<BenchDevice*, std::size_t> readAddress(Order& order)
{
    BenchDevice& part = order.device();
    const Node address = order.get("address");
    const Device::Cells cells = part.device->cells();
    if (cells.count == 0) {
        throw std::runtime_error(fmt::format("device '{}' has neither registers nor memory", part.name));
    }
    return {&part, address.number(0, cells.count - 1)};
}

Json getCells(Order& order)
{
    const auto [part, address] = readAddress(order);
    const auto given = order.find("count");
    const std::size_t most = std::min(MOST_VALUES, part->device->cells().count - address);
    const std::size_t count = given ? given->number(1, most) : 1;
    order.end();
    Json values = Json::array();
    for (std::size_t i = 0; i < count; ++i) {
        values.push_back(part->device->peek(address + i));
    }
    return {{"values", std::move(values)}, {"cell_bytes", part->device->cells().bytes}};
}

Json putCells(Order& order)
{
    const auto [part, address] = readAddress(order);
    const Device::Cells cells = part->device->cells();
    const std::uint64_t highest = std::numeric_limits<std::uint32_t>::max() >> (8 * (4 - cells.bytes));
    std::vector<std::uint32_t> values;
    for (const Node& value : order.get("values").items(1, std::min(MOST_VALUES, cells.count - address))) {
        values.push_back(static_cast<std::uint32_t>(value.number(0, highest)));
    }
    order.end();
    for (std::size_t i = 0; i < values.size(); ++i) {
        part->device->poke(address + i, values[i]);
    }
    return Json::object();
}

Json receiveOnUart(Order& order)
{
    const Frame bytes = order.bytes(order.get("bytes"));
    order.end();
    if (!order.presentHost().receiveOnUart(bytes)) {
        throw std::runtime_error("nobody would hear it: the program has not initialised the UART");
    }
    return Json::object();
}

Json takeUartSent(Order& order)
{
    order.end();
    const ByteLog::Contents sent = order.bench().uartSent().take();
    return {{"bytes", sent.bytes}, {"lost", sent.lost}};
}

// The index of an I3C target, which is named as a device, or counted.
std::size_t readTarget(Order& order)
{
    if (!order.find("device")) {
        const auto index = order.find("target");
        return index ? index->number(0, 127) : 0;
    }
    const auto& targets = order.bench().i3cTargets();
    const BenchDevice& part = order.device();
    const auto found = std::ranges::find(targets, part.device.get());
    if (found == targets.end()) {
        throw std::runtime_error(fmt::format("device '{}' is no I3C target", part.name));
    }
    return static_cast<std::size_t>(found - targets.begin());
}

Json raiseInterrupt(Order& order)
{
    const std::size_t target = readTarget(order);
    const auto payload = order.find("bytes");
    const Frame bytes = payload ? order.bytes(*payload) : Frame();
    order.end();
    if (!order.presentHost().raiseInBandInterrupt(target, bytes)) {
        throw std::runtime_error(fmt::format("target {} of adapter {} cannot interrupt now: no such target, no dynamic "
                                             "address, or interrupts disabled",
                                             target, order.host().serialNumber()));
    }
    return Json::object();
}

Json raiseHotJoin(Order& order)
{
    const std::size_t target = readTarget(order);
    order.end();
    if (!order.presentHost().raiseHotJoin(target)) {
        throw std::runtime_error(fmt::format("target {} of adapter {} cannot join now: no such target, already on the "
                                             "bus, or hot-joins disabled",
                                             target, order.host().serialNumber()));
    }
    return Json::object();
}

Json powerCycle(Order& order)
{
    BenchDevice& part = order.device();
    order.end();
    part.device->powerCycle();
    return Json::object();
}

Json reset(Order& order)
{
    BenchDevice& part = order.device();
    const auto held = order.find("held");
    const bool holds = !held || held->flag();
    order.end();
    Bench::holdInReset(part, holds);
    if (!held) {
        Bench::holdInReset(part, false);
    }
    return Json::object();
}

// Of the adapter.
void setFault(Order& order)
{
    const std::size_t fault = order.get("fault").choice({FAULT_NAMES.begin(), FAULT_NAMES.end()});
    const auto probability = order.find("probability");
    const double chosen = probability ? probability->fraction(0, 1) : 1;
    order.end();
    order.host().setFault(Fault{fault}, chosen);
}

// With no more than a device, what the board file says of it.
void setDeviceFault(Order& order)
{
    enum { NACK, FLIP, STRETCH };
    constexpr double LONGEST_STRETCH = 60'000;
    FaultSource* const source = order.bench().faults(order.device().name);
    if (!source) {
        throw std::runtime_error("an I3C target has no faults");
    }
    DeviceFaults faults = source->settings();
    if (const auto name = order.find("fault")) {
        faults = faults.active ? faults : DeviceFaults();
        const std::size_t fault = name->choice({"nack", "flip", "stretch"});
        const auto given = order.find("probability");
        if (fault == STRETCH) {
            faults.stretch = order.get("milliseconds").milliseconds(LONGEST_STRETCH);
        } else {
            (fault == NACK ? faults.nack : faults.flip) = given ? given->fraction(0, 1) : 1;
        }
    }
    order.end();
    faults.active = faults.nack > 0 || faults.flip > 0 || faults.stretch.count() > 0;
    source->settings() = faults;
}

Json startFault(Order& order)
{
    order.find("device") ? setDeviceFault(order) : setFault(order);
    return Json::object();
}

Json holdBus(Order& order)
{
    const std::size_t port = order.get("port").number(0, order.bench().i2cPorts().size() - 1);
    const auto held = order.find("held");
    const bool holds = !held || held->flag();
    order.end();
    order.bench().setStuck(port, holds);
    return Json::object();
}

Json endFaults(Order& order)
{
    order.end();
    for (std::size_t fault = 0; fault < FAULT_NAMES.size(); ++fault) {
        order.host().setFault(Fault{fault}, 0);
    }
    for (const BenchDevice& part : order.bench().devices()) {
        if (FaultSource* const faults = order.bench().faults(part.name)) {
            faults->settings().active = false;
        }
    }
    for (std::size_t port = 0; port < order.bench().i2cPorts().size(); ++port) {
        order.bench().setStuck(port, false);
    }
    return Json::object();
}

Json unplug(Order& order)
{
    order.end();
    order.presentHost().pullOut();
    return Json::object();
}

Json replug(Order& order)
{
    order.end();
    order.host().plugIn();
    return Json::object();
}

struct Operation {
    const char* name;
    Json (*perform)(Order& order);
};

constexpr std::array OPERATIONS{
    Operation{"adapters", listAdapters},
    Operation{"state", showState},
    Operation{"press", pressButton<true>},
    Operation{"release", pressButton<false>},
    Operation{"set", setWire},
    Operation{"get", getCells},
    Operation{"put", putCells},
    Operation{"uart", receiveOnUart},
    Operation{"uart_sent", takeUartSent},
    Operation{"ibi", raiseInterrupt},
    Operation{"hot_join", raiseHotJoin},
    Operation{"power_cycle", powerCycle},
    Operation{"reset", reset},
    Operation{"fault", startFault},
    Operation{"stuck", holdBus},
    Operation{"faults_off", endFaults},
    Operation{"unplug", unplug},
    Operation{"replug", replug},
};

} // namespace

std::string control(const Adapters& adapters, std::string_view text)
{
    static const std::filesystem::path NO_FILE;
    const Json document = parseDocument("the request", text);
    Object keys(Node(NO_FILE, document));
    std::vector<std::string> names;
    std::ranges::transform(OPERATIONS, std::back_inserter(names), &Operation::name);
    const Operation& operation = OPERATIONS[keys.get("do").choice(names)];
    Order order(adapters, keys);
    const Json answer = operation.perform(order);
    order.host().settle();
    return answer.dump(-1, ' ', true, Json::error_handler_t::replace);
}

} // namespace sim
