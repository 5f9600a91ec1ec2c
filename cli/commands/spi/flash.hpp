// NOR flash memories: identification, and the commands below `tarvix spi flash`.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "commands/command.hpp"
#include "commands/spi/controller.hpp"

namespace tool {

// The three bytes of the JEDEC ID. Throws Failure when no memory answers.
Bytes readJedecId(Context& context, const SpiControllerOptions& controller);

// By custom, the third byte is a power of two.
std::optional<std::uint64_t> capacityOf(const Bytes& jedecId);

void addFlashCommands(Commands& spi);

} // namespace tool
