// Devices that are programs of the user's.
#pragma once

#include <utility>

#include "devices/bus_device.hpp"
#include "devices/spi_device.hpp"
#include "devices/uart_peer.hpp"
#include "process/process.hpp"

namespace sim {

// What they have in common: the program, and an interrupt line that it raises.
template <class Kind>
class ProcessDevice : public Kind {
public:
    // `raised` is how the interrupt line is held while the program raises it, `released` while not.
    ProcessDevice(Process::Settings settings, World& world, Hold raised, Hold released)
        : process_(std::move(settings), world, [this](const protocol::Message& message) { hear(message); }),
          raised_(raised),
          released_(released)
    {
    }

    void powerCycle() override { process_.powerCycle(); }
    void reset() override { process_.reset(); }
    void connect(std::string_view, WireEnd end) override
    {
        interrupt_ = end;
        interrupt_.hold(released_);
    }

protected:
    virtual void sent(std::span<const std::uint8_t> /*bytes*/) {}

    void hear(const protocol::Message& message)
    {
        if (const auto* const interrupt = std::get_if<protocol::Interrupt>(&message)) {
            interrupt_.hold(interrupt->raised ? raised_ : released_);
        } else if (const auto* const uart = std::get_if<protocol::Sent>(&message)) {
            sent(uart->bytes);
        }
    }

    Process process_;

private:
    const Hold raised_;
    const Hold released_;
    WireEnd interrupt_;
};

class ProcessBusDevice final : public ProcessDevice<BusDevice> {
public:
    static constexpr const char* BUS = "i2c";
    using ProcessDevice::ProcessDevice;

    bool write(std::span<const std::uint8_t> stream) override
    {
        return process_.acknowledges(protocol::request("write", stream));
    }

    std::optional<std::size_t> read(std::span<std::uint8_t> into) override
    {
        const auto bytes = process_.bytesFor(protocol::request("read", into.size()), 0, into.size());
        if (!bytes) {
            return std::nullopt;
        }
        std::ranges::copy(*bytes, into.begin());
        return bytes->size();
    }
};

class ProcessSpiDevice final : public ProcessDevice<SpiDevice> {
public:
    static constexpr const char* BUS = "spi";
    using ProcessDevice::ProcessDevice;

    // One whose program has failed leaves its output floating.
    std::vector<std::uint8_t> exchange(std::span<const std::uint8_t> sent) override
    {
        return process_.bytesFor(protocol::request("exchange", sent), sent.size(), sent.size())
            .value_or(std::vector<std::uint8_t>(sent.size(), 0xFF));
    }
};

class ProcessUartPeer final : public ProcessDevice<UartPeer> {
public:
    static constexpr const char* BUS = "uart";
    using ProcessDevice::ProcessDevice;

    void receive(std::span<const std::uint8_t> bytes) override
    {
        process_.acknowledges(protocol::request("receive", bytes));
    }

private:
    void sent(std::span<const std::uint8_t> bytes) override { send(bytes); }
};

} // namespace sim
