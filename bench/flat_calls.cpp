// Processor seconds of a flat I2C read on the adapter that is attached, for bench/python_calls.py: flat_calls CALLS
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>

#include <tarvixsdk/flat.h>

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
    const std::clock_t begin = std::clock();
    for (int i = 0; i < calls; ++i) {
        if (TarvixSDK_I2cRead(handle, 0, 0x48, &pointer, 1, sizeof data, data, false) != StatusCode::SUCCESS) {
            return std::fputs("flat_calls: the adapter refused a command\n", stderr), 1;
        }
    }
    std::printf("%.9f\n", static_cast<double>(std::clock() - begin) / CLOCKS_PER_SEC / calls);
    TarvixSDK_Destroy(handle);
}
