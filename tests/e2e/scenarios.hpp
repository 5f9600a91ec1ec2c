// What the machine test checks, by name. docs/machine-test.md says what each is about.
#pragma once

#include <vector>

#include "virtual_cable.hpp"

namespace e2e {

struct Scenario {
    const char* name;
    void (*play)(Place place); // throws Failed
};

extern const std::vector<Scenario> SCENARIOS;

// finding.cpp
void choose(Place place);
void info(Place place);

// traffic.cpp
void eeprom(Place place);
void transfer32768(Place place);
void transfer65535(Place place);
void pressure(Place place);

// report_queue.cpp
void queue(Place place);

// notifications.cpp
void notifications(Place place);
void i3c(Place place);

// coming_and_going.cpp
void reset(Place place);
void unplug(Place place);
void replug(Place place);

// strict_sessions.cpp
void lock(Place place);
void loss(Place place);

// permissions.cpp
void permissions(Place place);
void udevRule(Place place);

} // namespace e2e
