#include "scenarios.hpp"

namespace e2e {

const std::vector<Scenario> SCENARIOS{
    {"open", choose},
    {"info", info},
    {"eeprom", eeprom},
    {"transfer-32768", transfer32768},
    {"transfer-65535", transfer65535},
    {"pressure", pressure},
    {"queue", queue},
    {"notifications", notifications},
    {"i3c", i3c},
    {"reset", reset},
    {"unplug", unplug},
    {"replug", replug},
    {"lock", lock},
    {"loss", loss},
    {"permissions", permissions},
    {"udev-rule", udevRule},
};

} // namespace e2e
