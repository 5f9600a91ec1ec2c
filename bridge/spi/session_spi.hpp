// The adapter's SPI controller, which all of its chip selects share.
#pragma once

#include <memory>
#include <optional>
#include <utility>

#include "session/adapter_link.hpp"
#include "spi/spi_bus.hpp"

namespace bridge {

class SpiController {
public:
    explicit SpiController(AdapterLink& link) : link_(link) {}

    // As SpiBus::transfer.
    tool::Bytes transfer(SpiChipSelect select, const SpiSettings& settings, std::span<const std::uint8_t> sent);

    // Sets it up, unless it is so already.
    StatusCode use(SpiChipSelect select, const SpiSettings& settings);

private:
    struct InUse {
        unsigned generation; // of the adapter
        SpiChipSelect select;
        SpiSettings settings;

        bool operator==(const InUse&) const = default;
    };

    AdapterLink& link_;
    std::optional<InUse> inUse_;
};

class SessionSpi final : public SpiBus {
public:
    SessionSpi(std::shared_ptr<SpiController> controller, SpiChipSelect select)
        : controller_(std::move(controller)), select_(select)
    {
    }

    tool::Bytes transfer(const SpiSettings& settings, std::span<const std::uint8_t> sent) override
    {
        return controller_->transfer(select_, settings, sent);
    }
    void pause(std::chrono::microseconds time) override;

private:
    const std::shared_ptr<SpiController> controller_;
    const SpiChipSelect select_;
};

} // namespace bridge
