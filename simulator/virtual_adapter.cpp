#include "virtual_adapter.hpp"

#include <optional>
#include <utility>

#include "bench/bench.hpp"
#include "model/command_table.hpp"
#include "model/firmware.hpp"
#include "model/output_frame.hpp"
#include "model/refusal.hpp"
#include "model/request.hpp"

namespace sim {

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

const AdapterBoard& VirtualAdapter::board() const
{
    return model_->board;
}

const Firmware& VirtualAdapter::firmware() const
{
    return *model_->firmware;
}

Bench& VirtualAdapter::bench()
{
    return model_->bench;
}

bool VirtualAdapter::receiveOnUart(std::span<const std::uint8_t> bytes)
{
    if (!model_->isOnBus() || !model_->firmware->uart.settings) {
        return false;
    }
    receive(model_->firmware->uart, bytes);
    return true;
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
