// soak: runs mixed commands on virtual adapters for long, under `tarvix-sim run`, and checks every answer. See usage(),
// and script/soak. Fails when a SUCCESS carries wrong data, when a notification holds what was not sent, when heap,
// descriptors or threads of this program or of tarvix-sim grow between a tenth of the commands and their end, and when
// too little or too much failed.
#include <algorithm>
#include <barrier>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <iterator>
#include <memory>
#include <new>
#include <string_view>
#include <thread>
#include <vector>

#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include "client.hpp"
#include "footprint.hpp"

namespace soak {

void fail(const std::string& what)
{
    std::fprintf(stderr, "soak: %s\n", what.c_str());
    std::_Exit(1);
}

namespace {

using Clock = std::chrono::steady_clock;

const struct {
    std::string_view name;
    long Options::*value;
    long least;
} OPTIONS[]{
    {"--commands", &Options::commands, 1},
    {"--sessions", &Options::sessions, 1},
    {"--programs", &Options::programs, 1},
    {"--reopen-after", &Options::reopenAfter, 0},
    {"--timeout", &Options::timeout, 0},
    {"--seed", &Options::seed, 0},
    {"--faults-at-least", &Options::faultsAtLeast, 0},
    {"--faults-at-most", &Options::faultsAtMost, 0},
};

void usage()
{
    std::puts("usage: tarvix-sim run [OPTIONS] -- soak [OPTION NUMBER]...\n"
              "  --commands N         how many, all sessions together (default 100000)\n"
              "  --sessions N         that many at once, each with an adapter of its own (default 1)\n"
              "  --programs N         that many at once, which take turns at the same adapters (default 1)\n"
              "  --reopen-after N     close the session and open it again after about N operations (default 0: never)\n"
              "  --timeout MS         of a command; less than --fault-delay, late answers come too late (default 20)\n"
              "  --seed N             of the choice of commands and data (default 1)\n"
              "  --faults-at-least P  percent of the commands that have to meet one (default 0)\n"
              "  --faults-at-most P   percent of the commands that may meet one (default 50)");
}

// Exits on --help and on a mistake.
Options optionsOf(const std::vector<std::string>& words)
{
    Options options;
    for (std::size_t i = 0; i < words.size(); i += 2) {
        if (words[i] == "--help") {
            usage();
            std::exit(0);
        }
        const auto option =
            std::find_if(std::begin(OPTIONS), std::end(OPTIONS), [&](const auto& it) { return it.name == words[i]; });
        char* end = nullptr;
        const long number = i + 1 < words.size() ? std::strtol(words[i + 1].c_str(), &end, 10) : -1;
        if (option == std::end(OPTIONS) || number < option->least || *end != '\0') {
            std::fprintf(stderr, "soak: '%s' must be an option and have a whole number; see soak --help\n",
                         words[i].c_str());
            std::exit(2);
        }
        options.*option->value = number;
    }
    return options;
}

// Looks again for a while: the host may still be closing what a session left.
Footprint settled(pid_t host, long sessions, const Footprint* earlier)
{
    constexpr int LOOKS = 100;
    for (int look = 1;; ++look) {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        const Footprint footprint(host, sessions);
        if (earlier == nullptr || footprint.isNoLargerThan(*earlier) || look == LOOKS) {
            return footprint;
        }
    }
}

void report(const Options& options, const Client::Counts& counts, double seconds)
{
    std::printf("soak: %ld commands in %.1f s, %.0f a second, every answer as it should be\n", counts.commands, seconds,
                static_cast<double>(counts.commands) / seconds);
    std::printf("  %ld sessions opened, %ld adapters lost, %ld commands without an answer in time, %ld cut short, "
                "%ld late or double answers dropped\n  %ld of %ld notifications heard whole\n",
                counts.opened, counts.lost, counts.noResponses, counts.tooShort, counts.dropped, counts.heard,
                counts.told);
    require(100 * counts.faults() >= counts.commands * options.faultsAtLeast, "too few faults");
    require(100 * counts.faults() <= counts.commands * options.faultsAtMost, "too many faults");
    const bool closesEarly = options.reopenAfter > 0; // before what its last command caused
    require(2 * counts.heard >= counts.told || closesEarly, "too few notifications");
}

int run(const Options& options, Shared& shared, std::uint32_t program, pid_t host)
{
    const long commands = options.commands / options.sessions;
    const auto begin = Clock::now();
    const auto seconds = [begin] { return std::chrono::duration<double>(Clock::now() - begin).count(); };
    std::vector<std::unique_ptr<Client>> clients;
    for (long i = 0; i < options.sessions; ++i) {
        clients.push_back(std::make_unique<Client>(options, shared, i, program));
    }
    std::vector<Footprint> footprints;
    // All pause at a tenth and at the end, with their sessions open.
    std::barrier pause(options.sessions, [&]() noexcept {
        footprints.push_back(settled(host, options.sessions, footprints.empty() ? nullptr : &footprints.front()));
    });
    const auto work = [&](Client& client, bool tells) {
        client.start();
        for (int tenth = 1; tenth <= 10; ++tenth) {
            while (client.commands() < commands * tenth / 10) {
                client.perform();
            }
            if (tells && commands >= 100'000) {
                std::printf("soak: %d0 %% after %.0f s, %ld faults in %ld commands\n", tenth, seconds(),
                            client.counts().faults(), client.commands());
            }
            if (tenth == 1 || tenth == 10) {
                pause.arrive_and_wait();
            }
        }
    };
    std::vector<std::thread> threads;
    for (const auto& client : clients) {
        threads.emplace_back(work, std::ref(*client), client == clients.front());
    }
    Client::Counts counts;
    for (std::size_t i = 0; i < clients.size(); ++i) {
        threads[i].join();
        counts += clients[i]->counts();
    }
    report(options, counts, seconds());
    footprints.back().print(footprints.front());
    require(footprints.back().isNoLargerThan(footprints.front()), "it grows");
    return 0;
}

// Several programs that take turns at the same adapters, or one.
int share(const Options& options, pid_t host)
{
    void* const memory = ::mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    auto& shared = *new (memory) Shared{};
    if (options.programs == 1) {
        return run(options, shared, 0, host);
    }
    for (long program = 0; program < options.programs; ++program) {
        if (::fork() == 0) {
            for (++shared.ready; shared.ready < options.programs;) {
                std::this_thread::yield();
            }
            std::exit(run(options, shared, static_cast<std::uint32_t>(program), host));
        }
    }
    for (long program = 0; program < options.programs; ++program) {
        int status = -1;
        require(::wait(&status) > 0 && status == 0, "a program failed");
    }
    std::printf("soak: %d times refused, %d times by name\n", shared.refusals.load(), shared.named.load());
    require(shared.named > 0, "neither kept the other out");
    return 0;
}

// The C library keeps small freed blocks for each thread and counts them as in use: does without.
void startWithoutCaches(char** arguments)
{
    if (std::getenv("GLIBC_TUNABLES") == nullptr) {
        ::setenv("GLIBC_TUNABLES", "glibc.malloc.tcache_count=0", 0);
        ::execv("/proc/self/exe", arguments);
        fail("cannot start again");
    }
}

} // namespace

} // namespace soak

int main(int count, char** arguments)
{
    soak::startWithoutCaches(arguments);
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    return soak::share(soak::optionsOf({arguments + 1, arguments + count}), ::getppid());
}
