// Which NOR flash memory is there.
#pragma once

#include <cstdint>
#include <optional>

#include "adapter/context.hpp"
#include "arguments/data.hpp"
#include "commands/spi/controller.hpp"
#include "commands/spi/sfdp.hpp"

namespace tool {

// In place of what the memory says of itself.
struct FlashOverrides {
    std::optional<std::uint64_t> size{};
    std::optional<std::uint64_t> page{};
    std::optional<std::uint64_t> sector{};
};

// The three bytes of the JEDEC ID. The controller is set up. Throws Failure when no memory answers.
Bytes readJedecId(Context& context, const SpiControllerOptions& controller);

// By custom, the third byte is a power of two.
std::optional<std::uint64_t> capacityOf(const Bytes& jedecId);

// By the memory's SFDP table or, where it has none, by its JEDEC ID and custom; with all overrides by those alone.
// Throws Failure for a memory that this program cannot use, and UsageError for overrides that do not fit.
FlashParameters identifyFlash(Context& context, const SpiControllerOptions& controller, const FlashOverrides& options);

} // namespace tool
