// Whether the adapter is on the bus.
#pragma once

namespace sim {

enum class Presence {
    ON_BUS,
    RESTARTING, // back as soon as it is powered up
    BOOT_MODE,  // back when somebody plugs it in again
};

} // namespace sim
