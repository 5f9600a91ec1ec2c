// Sends a line over the UART and prints what comes back: wire its output to its input (on the virtual adapter it is).
#include <chrono>
#include <condition_variable>
#include <mutex>

#include "bench.hpp"

int main(int argc, char** argv)
{
    // Before the adapter, whose reader thread uses them.
    std::mutex mutex;
    std::condition_variable arrived;
    std::string received;
    return run(argc, argv, [&](TarvixSDK& adapter) {
        adapter.onNotification([&](const Notification& notification) {
            if (const UartRxNotification* const bytes = notification.uartRx()) {
                const std::lock_guard lock(mutex);
                received.append(bytes->data, bytes->data + bytes->dataLength); // a copy: the frame is gone after this
                arrived.notify_one();
            }
        });

        const std::string line = "hello, board";
        check(adapter.uartInit(UartBaudRate::BAUD_115200, UartHwHandshake::DISABLED, UartParity::NONE,
                               UartDataSize::BITS_8, UartStopBit::ONE),
              "opening the UART");
        check(adapter.uartSendMessage({line.begin(), line.end()}), "sending");

        std::unique_lock lock(mutex);
        if (!arrived.wait_for(lock, std::chrono::seconds(2), [&] { return received.size() >= line.size(); })) {
            throw std::runtime_error("nothing came back: is the output wired to the input?");
        }
        std::printf("%s\n", received.c_str());
        lock.unlock();
        check(adapter.uartDeinit(), "closing the UART");
    });
}
