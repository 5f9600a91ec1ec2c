// The GPIO pins, wired in pairs: 0 with 1, 2 with 3, and so on.
#pragma once

#include <array>
#include <optional>

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

    Notifications& notifications;
    std::array<Pin, 8> pins{};
};

void addGpioCommands(CommandTable& table, Gpio& gpio);

} // namespace sim
