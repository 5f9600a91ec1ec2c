// What recording costs a program: exchanges of two reports through the recorder, and past it, by turns in one process.
// Run with the recorder preloaded, on one adapter of tarvix-sim: recorded_reports TURNS
#include <array>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <dlfcn.h>
#include <string>
#include <vector>

#include <hidapi.h>

#include "by_turns.hpp"

namespace {

constexpr int PER_TURN = 100;

struct Functions {
    decltype(&hid_write) write;
    decltype(&hid_read_timeout) read;
};

// Those of the library that is preloaded last, which is tarvix-sim's.
Functions pastTheRecorder()
{
    const char* const preloaded = std::getenv("LD_PRELOAD");
    const std::string libraries = preloaded != nullptr ? preloaded : "";
    const auto colon = libraries.rfind(':');
    void* const last =
        colon == libraries.npos ? nullptr : ::dlopen(libraries.c_str() + colon + 1, RTLD_LAZY | RTLD_NOLOAD);
    if (last == nullptr) {
        return {};
    }
    return {reinterpret_cast<decltype(&hid_write)>(::dlsym(last, "hid_write")),
            reinterpret_cast<decltype(&hid_read_timeout)>(::dlsym(last, "hid_read_timeout"))};
}

double now(clockid_t clock)
{
    timespec time{};
    ::clock_gettime(clock, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

// Asks for USB string 3.
bool exchange(const Functions& functions, hid_device* device)
{
    const std::array<unsigned char, 65> request{0x00, 0x17, 0x00, 0x01, 0x00, 0x07, 0x04, 0x03};
    std::array<unsigned char, 64> answer{};
    return functions.write(device, request.data(), request.size()) == int{request.size()} &&
           functions.read(device, answer.data(), answer.size(), 10'000) == int{answer.size()};
}

// Seconds that one exchange takes, and those of this process.
struct Costs {
    std::vector<double> wall, processor;

    bool add(const Functions& functions, hid_device* device)
    {
        const double begin[] = {now(CLOCK_MONOTONIC), now(CLOCK_PROCESS_CPUTIME_ID)};
        for (int i = 0; i < PER_TURN; ++i) {
            if (!exchange(functions, device)) {
                return false;
            }
        }
        wall.push_back((now(CLOCK_MONOTONIC) - begin[0]) / PER_TURN);
        processor.push_back((now(CLOCK_PROCESS_CPUTIME_ID) - begin[1]) / PER_TURN);
        return true;
    }
};

} // namespace

int main(int count, char** arguments)
{
    const int turns = count == 2 ? std::atoi(arguments[1]) : 0;
    const Functions recorded{&hid_write, &hid_read_timeout};
    const Functions plain = pastTheRecorder();
    hid_device* const device = ::hid_open(0x1FC9, 0x82FC, nullptr);
    if (turns < 1 || plain.write == nullptr || device == nullptr) {
        return std::fputs("recorded_reports: give a number of turns, in 'tarvix-sim run -- tarvix trace --'\n", stderr),
               1;
    }
    Costs ours;
    Costs floor;
    for (int i = 0; i < turns; ++i) {
        if (!ours.add(recorded, device) || !floor.add(plain, device)) {
            return std::fputs("recorded_reports: the adapter does not answer\n", stderr), 1;
        }
    }
    std::printf("bench: trace/wall %.9f %.9f \n", median(ours.wall), median(floor.wall));
    std::printf("bench: trace/cpu %.9f %.9f \n", median(ours.processor), median(floor.processor));
    ::hid_close(device);
}
