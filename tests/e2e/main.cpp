// tarvix-e2e: plays the scenarios of the machine test, each in a process of its own, so that a crash or a hang of one
// is that one's failure.
//
//   tarvix-e2e --list [PATTERN]   prints the names of all plays, one a line
//   tarvix-e2e [PATTERN]          plays those whose name contains PATTERN
//
// Each play ends in one line, `e2e: ok NAME SECONDS` or `e2e: FAILED NAME SECONDS: REASON`, and all of them in
// `e2e: end PASSED FAILED`. A check that does not hold has a line of its own before.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <sched.h>
#include <unistd.h>

#include "scenario.hpp"

namespace {

using namespace e2e;

constexpr unsigned LONGEST_PLAY = 90; // seconds; a play takes a few, and `speed` sets its own limit

struct Play {
    std::string name;
    Scenario scenario;
    Place place;
};

// Figures take their time: `speed` is played only when it is asked for by name. Bridges see neither ports nor reports.
bool isMeant(const std::string& name, std::string_view pattern)
{
    const bool isBridge = name.find("/bridge-") != std::string::npos;
    return name.find(pattern) != std::string::npos && (!isBridge || name.starts_with("gadget/1024/")) &&
           (!name.ends_with("/speed") || pattern.find("speed") != std::string_view::npos);
}

std::vector<Play> playsNamed(std::string_view pattern)
{
    std::vector<Play> plays;
    for (const auto& [port, portName] : {std::pair{Port::UHID, "uhid"}, std::pair{Port::GADGET, "gadget"}}) {
        for (const std::size_t reportSize : {64U, 1024U}) {
            for (const Scenario& scenario : Scenario::all()) {
                const std::string name = std::string(portName) + '/' + std::to_string(reportSize) + '/' + scenario.name;
                if (isMeant(name, pattern)) {
                    plays.push_back({name, scenario, {port, reportSize}});
                }
            }
        }
    }
    return plays;
}

// Nothing makes a writer wait for /dev/uhid: the kernel keeps 31 output reports for the program behind it, and 63 input
// reports for a reader, and drops what is beyond. On a processor that the machine's host pauses alone, the one or the
// other would come too late.
void keepToOneProcessor()
{
    cpu_set_t first;
    CPU_ZERO(&first);
    CPU_SET(0, &first);
    require(::sched_setaffinity(0, sizeof first, &first) == 0, "cannot keep to one processor");
}

// Ends as programs do, with the library's static objects.
[[noreturn]] void playHere(const Play& play)
{
    ::alarm(LONGEST_PLAY);
    try {
        if (play.place.port == Port::UHID) {
            keepToOneProcessor();
        }
        play.scenario.play(play.place);
        std::exit(0);
    } catch (const std::exception& error) {
        std::printf("e2e: %s\n", error.what());
    }
    std::exit(1);
}

bool perform(const Play& play)
{
    const auto start = std::chrono::steady_clock::now();
    const int status = Child([&]() -> int { playHere(play); }).wait();
    const std::chrono::duration<double> time = std::chrono::steady_clock::now() - start;
    std::printf("e2e: %s %s %.1f s", status == 0 ? "ok" : "FAILED", play.name.c_str(), time.count());
    if (status == 0) {
        std::puts("");
        return true;
    }
    std::printf(": %s\n", status > 128 ? ::strsignal(status - 128) : "a check does not hold");
    for (const Place& place : {play.place, play.place.other()}) {
        const std::string log = contentsOf(place.log());
        std::printf("%s", log.substr(log.size() - std::min<std::size_t>(log.size(), 2000)).c_str());
    }
    return false;
}

} // namespace

int main(int count, char** arguments)
{
    const std::vector<std::string> words(arguments + 1, arguments + count);
    const bool list = !words.empty() && words[0] == "--list";
    const std::string pattern = words.size() > (list ? 1U : 0U) ? words.back() : "";
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    int passed = 0;
    int failed = 0;
    if (!list) {
        std::printf(
            "e2e: %ld processors; uhid plays keep to one, for the kernel keeps 31 output reports there and drops "
            "more\n",
            ::sysconf(_SC_NPROCESSORS_ONLN));
    }
    for (const Play& play : playsNamed(pattern)) {
        if (list) {
            std::puts(play.name.c_str());
        } else {
            ++(perform(play) ? passed : failed);
        }
    }
    if (!list) {
        std::printf("e2e: end %d %d\n", passed, failed);
    }
    return failed == 0 ? 0 : 1;
}
