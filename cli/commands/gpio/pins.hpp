// What the commands of the GPIO pins have in common.
#pragma once

#include <optional>

#include "adapter/context.hpp"
#include "arguments/choices.hpp"
#include "arguments/numbers.hpp"

namespace tool {

inline constexpr Range PIN{0, 7};
inline constexpr const char* PIN_ADVICE = "check the pin's number and direction";

using Role = std::optional<GpioFunctionality>; // none leaves the pin as it is

inline const Choices<Role> BIASES{{"as-is", std::nullopt},
                                  {"disabled", GpioFunctionality::INPUT},
                                  {"pull-up", GpioFunctionality::INPUT_PULL_UP},
                                  {"pull-down", GpioFunctionality::INPUT_PULL_DOWN}};

// Makes a pin an input with this bias, if there is one.
void applyBias(Context& context, unsigned pin, const Role& bias);

GpioLogicLevel readPin(Context& context, unsigned pin);

// Makes a pin an output of this type, if there is one, and drives it.
void drivePin(Context& context, unsigned pin, const Role& type, GpioLogicLevel level);

const char* nameOf(GpioLogicLevel level);
GpioLogicLevel opposite(GpioLogicLevel level);

} // namespace tool
