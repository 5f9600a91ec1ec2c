// The GPIO pins. What they are wired to is the bench's.
#pragma once

#include <array>
#include <cstddef>
#include <optional>

#include "devices/wire.hpp"
#include "model/command_table.hpp"
#include "model/notifications.hpp"
#include "tarvixsdk/types.h"

namespace sim {

struct Gpio {
    struct Pin {
        GpioFunctionality functionality = GpioFunctionality::INPUT;
        GpioLogicLevel output = GpioLogicLevel::LOW;
        std::optional<GpioTriggerType> trigger; // none: not armed
    };

    static constexpr std::size_t COUNT = 8;
    using Ends = std::array<WireEnd, COUNT>;

    // All pins become inputs.
    Gpio(Notifications& itsNotifications, const Ends& itsEnds);

    Notifications& notifications;
    const Ends& ends;
    std::array<Pin, COUNT> pins{};
};

// The level of a pin's wire has changed.
void changed(Gpio& gpio, std::size_t pin, bool high);

void addGpioCommands(CommandTable& table, Gpio& gpio);

} // namespace sim
