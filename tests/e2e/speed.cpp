#include <cstdio>

#include <unistd.h>

#include "scenario.hpp"

namespace e2e {

namespace {

constexpr unsigned LONGEST = 200; // seconds; many exchanges, one after another, on an emulated processor

// Prints figures for script/bench, and checks that the jobs succeed. /dev/uhid has no pace of its own to measure.
const Scenario SPEED("speed", [](Place place) {
    if (place.port == Port::UHID) {
        return;
    }
    const VirtualCable cable(place);
    ::alarm(LONGEST);
    const std::string flash = place.reportSize == 64 ? "131072" : "1048576";   // a few seconds
    const Outcome jobs = run({"job_benchmark", "jobs", "3", flash, "tarvix"}); // off the terminal: no progress
    std::printf("%s", jobs.output.c_str());
    require(jobs.exitStatus == 0, "the jobs failed");
});

} // namespace

} // namespace e2e
