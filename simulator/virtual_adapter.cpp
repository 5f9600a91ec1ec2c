#include "virtual_adapter.hpp"

#include <optional>
#include <utility>

#include "bench/bench.hpp"
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

// The adapter between two restarts. Its parts refer to each other, so it stays where it was made.
struct Firmware {
    Firmware(const AdapterBoard& board, Bench& bench, Probe* probe)
        : system{.strings = {board.manufacturer, board.product, board.serialNumber, board.firmware, board.hardware}},
          voltage(board.voltage),
          gpio(notifications, bench.pins()),
          i2c{.ports = bench.i2cPorts(), .probe = probe},
          spi{.devices = bench.spiDevices(), .probe = probe},
          uart{.notifications = notifications, .peer = bench.uartPeer(), .probe = probe},
          i3cBus(bench.i3cTargets(), bench.legacyDevices(), notifications),
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
    const AdapterBoard board;
    const Send send;
    Probe* const probe;
    std::optional<Firmware> firmware;
    CommandTable table; // refers to the firmware, and each is made in the place of the last
    Bench bench;        // speaks to the firmware while there is one

    Model(AdapterBoard itsBoard, World& world, Send itsSend, Probe* itsProbe)
        : board(std::move(itsBoard)),
          send(std::move(itsSend)),
          probe(itsProbe),
          bench(board, world, [this](std::size_t pin, bool high) {
              if (probe != nullptr) {
                  probe->pin(pin, high);
              }
              if (firmware) {
                  changed(firmware->gpio, pin, high);
              }
          })
    {
        bench.uartPeer().onSend([this](std::span<const std::uint8_t> bytes) {
            if (firmware) {
                receive(firmware->uart, bytes);
            }
        });
        start();
        firmware->addCommands(table);
    }

    void start()
    {
        firmware.emplace(board, bench, probe);
        for (std::size_t pin = 0; probe != nullptr && pin < Gpio::COUNT; ++pin) {
            probe->pin(pin, bench.pins()[pin].isHigh());
        }
    }
    void settle() const
    {
        if (probe != nullptr) {
            probe->settle();
        }
    }
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
        if (!isOnBus() || target >= bench.i3cTargets().size()) {
            return false;
        }
        const bool raised = raiseEvent(firmware->i3cBus, *bench.i3cTargets()[target]);
        settle();
        sendNotifications();
        return raised;
    }
};

VirtualAdapter::VirtualAdapter(AdapterBoard board, World& world, Send send, Probe* probe)
    : model_(std::make_unique<Model>(std::move(board), world, std::move(send), probe))
{
}

VirtualAdapter::~VirtualAdapter() = default;

void VirtualAdapter::request(std::span<const std::uint8_t> frame)
{
    if (!model_->isOnBus() || frame.size() < Request::HEADER_SIZE) {
        return;
    }
    const OutputFrame response = model_->execute(frame);
    model_->settle();
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

void VirtualAdapter::settle()
{
    model_->settle();
    if (model_->isOnBus()) {
        model_->sendNotifications();
    }
}

void VirtualAdapter::powerUp()
{
    model_->bench.powerCycle();
    model_->start();
    model_->settle();
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
