#include "spi/session_spi.hpp"

#include <cerrno>

#include <poll.h>

#include "console/interrupt.hpp"
#include "cuse/open_file.hpp"

namespace bridge {

namespace {

void requireTransferred(StatusCode status)
{
    if (const int number = errnoOf(status); number != 0) {
        throw Errno{number};
    }
}

} // namespace

tool::Bytes SpiController::transfer(SpiChipSelect select, const SpiSettings& settings,
                                    std::span<const std::uint8_t> sent)
{
    requireTransferred(use(select, settings));
    tool::Bytes data(sent.begin(), sent.end());
    tool::Bytes received;
    requireTransferred(link_.sdk().spiTransfer(data, received, static_cast<std::uint16_t>(data.size())));
    return received;
}

StatusCode SpiController::use(SpiChipSelect select, const SpiSettings& settings)
{
    const InUse wanted{link_.generation(), select, settings};
    if (inUse_ == wanted) {
        return StatusCode::SUCCESS;
    }
    inUse_.reset();
    const StatusCode status = link_.sdk().spiControllerInit(settings.bitOrder, settings.mode, settings.width, select,
                                                            settings.polarity, settings.clock);
    if (status == StatusCode::SUCCESS) {
        inUse_ = wanted;
    }
    return status;
}

void SessionSpi::pause(std::chrono::microseconds time)
{
    const auto end = std::chrono::steady_clock::now() + time;
    for (std::chrono::nanoseconds left = time; left.count() > 0; left = end - std::chrono::steady_clock::now()) {
        pollfd interrupted{tool::interruptDescriptor(), POLLIN, 0};
        const timespec most{left.count() / 1'000'000'000, left.count() % 1'000'000'000};
        if (ppoll(&interrupted, 1, &most, nullptr) > 0) {
            throw Errno{EINTR};
        }
    }
}

} // namespace bridge
