// The GPIO pins, wired in pairs: 0 with 1, 2 with 3, and so on.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>

#include "model/command_table.hpp"
#include "model/notifications.hpp"
#include "tarvixsdk/types.h"

namespace sim {

class Gpio {
public:
    Gpio(CommandTable& table, Notifications& notifications);

private:
    struct Pin {
        GpioFunctionality functionality = GpioFunctionality::INPUT;
        GpioLogicLevel output = GpioLogicLevel::LOW;
        std::optional<GpioTriggerType> trigger; // none: not armed

        bool drives(GpioLogicLevel level) const;
        bool pulls(GpioLogicLevel level) const;
        bool firesOn(GpioLogicLevel newLevel) const;
    };

    void configurePin(Request& request, OutputFrame& response);
    void digitalWrite(Request& request, OutputFrame& response);
    void digitalRead(Request& request, OutputFrame& response);
    void configureInterrupt(Request& request, OutputFrame& response);
    void disableInterrupt(Request& request, OutputFrame& response);

    GpioLogicLevel levelOf(std::size_t pin) const;
    template <class Change>
    void changePair(std::size_t pin, Change change);

    Notifications& notifications_;
    std::array<Pin, 8> pins_;
};

} // namespace sim
