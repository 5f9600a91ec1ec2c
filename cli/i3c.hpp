// The I3C bus as commands find it.
#pragma once

#include "context.hpp"

namespace tool {

// What happens to targets without an address when a bus has to be brought up.
enum class Unassigned { STAY, GET_ADDRESSES };

// A bus that is up stays as it is, addresses included. One that is not is brought up with the default settings.
void ensureI3cBus(Context& context, Unassigned unassigned);

} // namespace tool
