#include "console/waiting.hpp"

#include <algorithm>
#include <iterator>

#include <poll.h>
#include <unistd.h>

#include "console/errors.hpp"
#include "console/interrupt.hpp"

namespace tool {

namespace {

timespec timeUntil(Deadline deadline)
{
    using namespace std::chrono;
    const auto left = std::max<nanoseconds>(deadline - steady_clock::now(), nanoseconds(0));
    const auto whole = floor<seconds>(left);
    return {static_cast<std::time_t>(whole.count()), static_cast<long>((left - whole).count())};
}

bool waitsRefused = false;

} // namespace

void refuseToWait()
{
    waitsRefused = true;
}

void waitForInput(std::optional<Deadline> deadline, int descriptor, int another)
{
    throwIfInterrupted();
    if (waitsRefused) {
        throw Failure(ExitStatus::NO_ANSWER, "nothing comes in a dry run");
    }
    pollfd waiting[] = {
        {descriptor, POLLIN, 0}, {another, POLLIN, 0}, {interruptDescriptor(), POLLIN, 0}, {STDOUT_FILENO, 0, 0}};
    const timespec limit = deadline ? timeUntil(*deadline) : timespec{};
    const int count = ppoll(waiting, std::size(waiting), deadline ? &limit : nullptr, nullptr);
    throwIfInterrupted();
    if (count > 0 && (waiting[3].revents & POLLERR) != 0) {
        throw OutputClosed{};
    }
}

bool isReadable(int descriptor)
{
    pollfd asked{descriptor, POLLIN, 0};
    return !waitsRefused && poll(&asked, 1, 0) > 0;
}

void sleepUntil(Deadline deadline)
{
    while (std::chrono::steady_clock::now() < deadline) {
        waitForInput(deadline);
    }
}

} // namespace tool
