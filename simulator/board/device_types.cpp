#include "board/device_types.hpp"

#include <algorithm>
#include <array>
#include <type_traits>
#include <utility>

#include <fmt/format.h>

#include "board/types/bus_devices.hpp"
#include "board/types/nor_flash.hpp"
#include "board/types/process.hpp"
#include "board/types/uart_script.hpp"
#include "devices/spi_loopback.hpp"

namespace sim {

namespace {

void readBusFaults(Object& object, DeviceFaults& faults)
{
    constexpr std::uint64_t LAST_BYTE = 0xFFFF;
    constexpr double LONGEST_STRETCH = 60'000;
    const auto nack = object.find("nack");
    const auto probability = object.find("nack_probability");
    if (nack || probability) {
        faults.nack = probability ? probability->fraction(0, 1) : 1;
    }
    if (nack && (!nack->isText() || nack->text() != "address")) {
        if (nack->isText()) {
            nack->fail(fmt::format("'{}' is neither \"address\" nor the number of a byte, from 1", nack->text()));
        }
        faults.nackByte = nack->number(1, LAST_BYTE);
    }
    if (const auto stretch = object.find("stretch_ms")) {
        faults.stretch = stretch->milliseconds(LONGEST_STRETCH);
    }
}

// What a type reads from its object. It fills in `make`, and `lines` where it has some.
template <class Kind>
struct Type {
    std::string name;
    void (*read)(Object& object, DeviceBoard<Kind>& board);
};

// A two-wire bus has acknowledgements and a clock to hold; on any other only bits can be wrong.
template <class Kind>
DeviceFaults readFaults(const Node& node)
{
    Object object(node);
    DeviceFaults faults{.active = true};
    if (const auto active = object.find("active")) {
        faults.active = active->flag();
    }
    if (const auto flip = object.find("flip_bits")) {
        faults.flip = flip->fraction(0, 1);
    }
    if constexpr (std::is_same_v<Kind, BusDevice>) {
        readBusFaults(object, faults);
    }
    object.end();
    return faults;
}

template <class Kind, std::size_t COUNT>
DeviceBoard<Kind> readDevice(const Node& node, const std::string& name, const std::array<Type<Kind>, COUNT>& types)
{
    Object object(node);
    std::vector<std::string> names;
    std::ranges::transform(types, std::back_inserter(names), [](const Type<Kind>& type) { return type.name; });
    const Type<Kind>& type = types[object.get("type").choice(names)];
    DeviceBoard<Kind> board{.name = name, .type = type.name, .lines = {}, .make = {}};
    if (const auto given = object.find("name")) {
        board.name = given->text();
    }
    if (const auto faults = object.find("faults")) {
        board.faults = readFaults<Kind>(*faults);
    }
    type.read(object, board);
    object.end();
    return board;
}

void readSpiLoopback(Object&, DeviceBoard<SpiDevice>& board)
{
    board.make = [](World&) { return std::make_unique<SpiLoopback>(); };
}

void readUartEcho(Object&, DeviceBoard<UartPeer>& board)
{
    board.make = [](World&) { return std::make_unique<UartEcho>(); };
}

const std::array BUS_DEVICES{
    Type<BusDevice>{"eeprom", readEeprom},
    Type<BusDevice>{"gpio_expander", readGpioExpander},
    Type<BusDevice>{"process", readProcess},
    Type<BusDevice>{"register_map", readRegisterMap},
    Type<BusDevice>{"temperature_sensor", readTemperatureSensor},
};

const std::array SPI_DEVICES{
    Type<SpiDevice>{"nor_flash", readNorFlash},
    Type<SpiDevice>{"loopback", readSpiLoopback},
    Type<SpiDevice>{"process", readProcess},
};

const std::array UART_PEERS{
    Type<UartPeer>{"echo", readUartEcho},
    Type<UartPeer>{"script", readUartScript},
    Type<UartPeer>{"process", readProcess},
};

} // namespace

DeviceBoard<BusDevice> readBusDevice(const Node& node, const std::string& name)
{
    return readDevice(node, name, BUS_DEVICES);
}

DeviceBoard<SpiDevice> readSpiDevice(const Node& node, const std::string& name)
{
    return readDevice(node, name, SPI_DEVICES);
}

DeviceBoard<UartPeer> readUartPeer(const Node& node, const std::string& name)
{
    return readDevice(node, name, UART_PEERS);
}

} // namespace sim
