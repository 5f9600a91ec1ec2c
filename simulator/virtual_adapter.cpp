#include "virtual_adapter.hpp"

#include <array>
#include <initializer_list>
#include <optional>
#include <string>
#include <utility>

#include "devices/eeprom.hpp"
#include "devices/i3c_target.hpp"
#include "devices/nor_flash.hpp"
#include "devices/spi_loopback.hpp"
#include "devices/temperature_sensor.hpp"
#include "model/ccc.hpp"
#include "model/command_table.hpp"
#include "model/gpio.hpp"
#include "model/i2c.hpp"
#include "model/i3c.hpp"
#include "model/i3c_bus.hpp"
#include "model/notifications.hpp"
#include "model/output_frame.hpp"
#include "model/refusal.hpp"
#include "model/request.hpp"
#include "model/spi.hpp"
#include "model/system.hpp"
#include "model/uart.hpp"
#include "model/voltage.hpp"

namespace sim {

namespace {

// The chips on the adapter's buses, where they are, and what outlives a restart of the adapter.
struct Bench {
    TemperatureSensor temperatureSensor;
    Eeprom smallEeprom{{.size = 256, .pageSize = 8, .addressBytes = 1}};
    Eeprom largeEeprom{{.size = 0x8000, .pageSize = 64, .addressBytes = 2}};
    NorFlash flash;
    SpiLoopback loopback;
    Eeprom legacyEeprom{{.size = 256, .pageSize = 8, .addressBytes = 1}};
    std::array<I3cTarget, 2> i3cTargets{
        I3cTarget{{
            .staticAddress = 0x30,
            .pid = {0x7F, 0xFE, 0x12, 0x34, 0x50, 0x01},
            .bcr = bcr::ADVANCED | bcr::IBI_PAYLOAD | bcr::IBI_CAPABLE | bcr::SPEED_LIMITED,
            .dcr = 0x63,
            .capabilities = {caps1::HDR_DDR, caps2::VERSION_1_1 | caps2::TWO_GROUPS, 0x00, 0x00},
        }},
        I3cTarget{{
            .staticAddress = 0x31,
            .pid = {0x7F, 0xFE, 0x56, 0x78, 0x90, 0x02},
            .bcr = bcr::ADVANCED | bcr::IBI_CAPABLE,
            .dcr = 0xC6,
            .capabilities = {0x00, caps2::VERSION_1_1 | caps2::TWO_GROUPS, 0x00, 0x00},
        }},
    };

    I2c::Ports i2cPorts()
    {
        return {{{.devices = {{0x48, &temperatureSensor}, {0x50, &smallEeprom}}}, {.devices = {{0x51, &largeEeprom}}}}};
    }
    Spi::Devices spiDevices() { return {&flash, &loopback, nullptr, nullptr}; }
    I3cBus::Targets i3cTargetList() { return {&i3cTargets[0], &i3cTargets[1]}; }
    I3cBus::LegacyDevices legacyDevices() { return {{0x57, &legacyEeprom}}; }

    // The adapter's rails went away for a moment.
    void powerCycle()
    {
        const std::initializer_list<BusDevice*> busDevices{&temperatureSensor, &smallEeprom,   &largeEeprom,
                                                           &legacyEeprom,      &i3cTargets[0], &i3cTargets[1]};
        for (BusDevice* const device : busDevices) {
            device->powerCycle();
        }
        flash.powerCycle();
        loopback.powerCycle();
    }
};

// The adapter between two restarts. Its parts refer to each other, so it stays where it was made.
struct Firmware {
    Firmware(const std::string& serialNumber, Bench& bench)
        : system{.serialNumber = serialNumber},
          gpio{.notifications = notifications},
          i2c{.ports = bench.i2cPorts()},
          spi{.devices = bench.spiDevices()},
          uart{.notifications = notifications},
          i3cBus(bench.i3cTargetList(), bench.legacyDevices(), notifications),
          i3c{.bus = i3cBus}
    {
    }
    Firmware(const Firmware&) = delete;
    Firmware& operator=(const Firmware&) = delete;

    void addCommands(CommandTable& table)
    {
        addSystemCommands(table, system);
        addVoltageCommands(table, voltage);
        addGpioCommands(table, gpio);
        addI2cCommands(table, i2c);
        addSpiCommands(table, spi);
        addUartCommands(table, uart);
        addI3cCommands(table, i3c);
        addCccCommands(table, i3cBus);
    }

    Notifications notifications;
    System system;
    Voltage voltage;
    Gpio gpio;
    I2c i2c;
    Spi spi;
    Uart uart;
    I3cBus i3cBus;
    I3c i3c;
};

} // namespace

struct VirtualAdapter::Model {
    std::string serialNumber;
    Send send;
    Bench bench;
    std::optional<Firmware> firmware;
    CommandTable table; // refers to the firmware, and each is made in the place of the last

    void start() { firmware.emplace(serialNumber, bench); }
    bool isOnBus() const { return firmware->system.presence == Presence::ON_BUS; }

    OutputFrame execute(std::span<const std::uint8_t> frame)
    {
        Request request(frame);
        const CommandTable::Row* const row = table.find(request.code());
        OutputFrame response(request.transactionId(), request.code(), row ? row->dataOffset : OutputFrame::HEADER_SIZE);
        try {
            require(row != nullptr, DeviceStatus::UNKNOWN_COMMAND);
            row->execute(request, response);
        } catch (const Refusal& refusal) {
            response.setStatus(refusal.status);
        }
        return response;
    }

    void sendNotifications()
    {
        for (const Frame& frame : firmware->notifications.take()) {
            send(frame);
        }
    }

    template <class Raise>
    bool raise(std::size_t target, Raise raiseEvent)
    {
        if (!isOnBus() || target >= bench.i3cTargets.size()) {
            return false;
        }
        const bool raised = raiseEvent(firmware->i3cBus, bench.i3cTargets[target]);
        sendNotifications();
        return raised;
    }
};

VirtualAdapter::VirtualAdapter(std::string serialNumber, Send send) : model_(std::make_unique<Model>())
{
    model_->serialNumber = std::move(serialNumber);
    model_->send = std::move(send);
    model_->start();
    model_->firmware->addCommands(model_->table);
}

VirtualAdapter::~VirtualAdapter() = default;

void VirtualAdapter::request(std::span<const std::uint8_t> frame)
{
    if (!model_->isOnBus() || frame.size() < Request::HEADER_SIZE) {
        return;
    }
    const OutputFrame response = model_->execute(frame);
    // Reset and boot mode take the adapter off the bus before it could answer.
    if (model_->isOnBus()) {
        model_->send(response.bytes());
        model_->sendNotifications();
    }
}

Presence VirtualAdapter::presence() const
{
    return model_->firmware->system.presence;
}

void VirtualAdapter::powerUp()
{
    model_->bench.powerCycle();
    model_->start();
}

bool VirtualAdapter::raiseInBandInterrupt(std::size_t target, std::span<const std::uint8_t> payload)
{
    return model_->raise(target,
                         [&](I3cBus& bus, I3cTarget& device) { return bus.raiseInBandInterrupt(device, payload); });
}

bool VirtualAdapter::raiseHotJoin(std::size_t target)
{
    return model_->raise(target, [](I3cBus& bus, I3cTarget& device) { return bus.raiseHotJoin(device); });
}

} // namespace sim
