// The SPI controller, and transactions on it as commands make them.
#pragma once

#include <cstddef>
#include <cstdint>

#include "adapter/context.hpp"
#include "arguments/data.hpp"
#include "arguments/options.hpp"

namespace tool {

struct SpiControllerOptions {
    SpiMode mode = SpiMode::MODE_0;
    SpiBitOrder bitOrder = SpiBitOrder::MSB_FIRST;
    SpiDataWidth width = SpiDataWidth::BITS_8;
    SpiChipSelect select = SpiChipSelect::SELECT_0;
    SpiChipSelectPolarity polarity = SpiChipSelectPolarity::ACTIVE_LOW;
    std::uint32_t clock = 1'000'000;
};

// Those of any chip.
void addChipOptions(CLI::App& app, SpiControllerOptions& options);

// The rest, which matters to transfers only.
void addWordOptions(CLI::App& app, SpiControllerOptions& options);

void setUpController(Context& context, const SpiControllerOptions& options);

// One transaction of `length` bytes; zeros pad `data`.
Bytes exchangeBytes(Context& context, Bytes data, std::size_t length);

} // namespace tool
