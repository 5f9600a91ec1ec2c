// Waiting that Ctrl-C ends at once, and so does whoever reads standard output by closing it.
#pragma once

#include <chrono>
#include <optional>

namespace tool {

using Deadline = std::chrono::steady_clock::time_point;

// From now on each wait for something throws Failure: it would never come.
void refuseToWait();

// Until the deadline (none: without limit), until a descriptor can be read (-1 for none), or a little less: the caller
// looks again. Throws Interrupted and OutputClosed.
void waitForInput(std::optional<Deadline> deadline, int descriptor = -1, int another = -1);

// Whether a read of the descriptor would not wait; false for -1, and when waits are refused.
bool isReadable(int descriptor);

// Until the deadline, and no less.
void sleepUntil(Deadline deadline);

} // namespace tool
