// tarvix-e2e: plays the scenarios of the machine test, each in a process of its own, so that a crash or a hang of one
// is that one's failure.
//
//   tarvix-e2e --list [PATTERN]   prints the names of all plays, one a line
//   tarvix-e2e [PATTERN]          plays those whose name contains PATTERN
//
// Each play ends in one line, `e2e: ok NAME SECONDS` or `e2e: FAILED NAME SECONDS: REASON`, and all of them in
// `e2e: end PASSED FAILED`.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "scenarios.hpp"
#include "waiting.hpp"

namespace {

using namespace e2e;

constexpr unsigned LONGEST_PLAY = 90; // seconds; a play takes a few
constexpr const char* REASON_FILE = "/tmp/reason";

struct Play {
    std::string name;
    Scenario scenario;
    Place place;
};

std::vector<Play> playsNamed(std::string_view pattern)
{
    std::vector<Play> plays;
    for (const auto& [port, portName] : {std::pair{Port::UHID, "uhid"}, std::pair{Port::GADGET, "gadget"}}) {
        for (const std::size_t reportSize : {64U, 1024U}) {
            for (const Scenario& scenario : SCENARIOS) {
                const std::string name = std::string(portName) + '/' + std::to_string(reportSize) + '/' + scenario.name;
                if (name.find(pattern) != std::string::npos) {
                    plays.push_back({name, scenario, {port, reportSize}});
                }
            }
        }
    }
    return plays;
}

void leaveReason(const char* reason)
{
    if (std::FILE* const file = std::fopen(REASON_FILE, "w")) {
        std::fputs(reason, file);
        std::fclose(file);
    }
}

int playHere(const Play& play)
{
    ::alarm(LONGEST_PLAY);
    leaveReason("");
    try {
        play.scenario.play(play.place);
        return 0;
    } catch (const std::exception& error) {
        leaveReason(error.what());
    }
    return 1;
}

std::string reasonFor(int waitStatus)
{
    if (WIFSIGNALED(waitStatus)) {
        return WTERMSIG(waitStatus) == SIGALRM ? "did not end"
                                               : "ended by signal " + std::to_string(WTERMSIG(waitStatus));
    }
    return contentsOf(REASON_FILE);
}

bool perform(const Play& play)
{
    const auto start = std::chrono::steady_clock::now();
    const pid_t child = ::fork();
    if (child == 0) {
        std::exit(playHere(play));
    }
    int status = -1;
    ::waitpid(child, &status, 0);
    const std::chrono::duration<double> time = std::chrono::steady_clock::now() - start;
    const bool passed = child > 0 && status == 0;
    if (passed) {
        std::printf("e2e: ok %s %.1f s\n", play.name.c_str(), time.count());
        return true;
    }
    std::printf("e2e: FAILED %s %.1f s: %s\n", play.name.c_str(), time.count(), reasonFor(status).c_str());
    for (const Place& place : {play.place, play.place.other()}) {
        const std::string log = contentsOf(logOf(place));
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
