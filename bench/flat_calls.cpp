// Processor seconds of a flat I2C read on the adapter that is attached, for bench/python_calls.py: flat_calls CALLS
#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include <sys/resource.h>
#include <tarvixsdk/flat.h>

namespace {

double processorSeconds()
{
    rusage usage{};
    ::getrusage(RUSAGE_SELF, &usage);
    return static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
           static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) * 1e-6;
}

} // namespace

int main(int argc, char** argv)
{
    const int calls = argc == 2 ? std::atoi(argv[1]) : 0;
    TarvixSDK_Handle* const handle = TarvixSDK_Create(2000);
    TarvixSDK_OpenResult opened;
    if (calls < 1 || TarvixSDK_Open(handle, nullptr, nullptr, 0, &opened) != OpenStatus::OPENED ||
        TarvixSDK_I2cControllerInit(handle, 0, 400'000, 0) != StatusCode::SUCCESS) {
        return std::fputs("flat_calls: give a number of calls, and attach one adapter\n", stderr), 1;
    }
    const std::uint8_t pointer = 0;
    std::uint8_t data[2];
    const double begin = processorSeconds();
    for (int i = 0; i < calls; ++i) {
        if (TarvixSDK_I2cRead(handle, 0, 0x48, &pointer, 1, sizeof data, data, false) != StatusCode::SUCCESS) {
            return std::fputs("flat_calls: the adapter refused a command\n", stderr), 1;
        }
    }
    std::printf("%.9f\n", (processorSeconds() - begin) / calls);
    TarvixSDK_Destroy(handle);
}
