// The library's clock in the hands of the test. While a StoppedClock lives, the steady clock stands still, and the
// library's timed waits are written down and end as the test says: a test of timing then takes no time and is exact.
// The waits of the test and of the hidapi double go on as ever.
//
// It stands in for the C library's functions of this program, so it cannot be used with the sanitizers.
#pragma once

#include <chrono>
#include <cstddef>
#include <vector>

class StoppedClock {
public:
    StoppedClock();
    ~StoppedClock();
    StoppedClock(const StoppedClock&) = delete;
    StoppedClock& operator=(const StoppedClock&) = delete;

    // How long each wait asked for, in milliseconds, once `count` have begun; fewer after a generous limit. The clock
    // advances as if each had been waited out.
    std::vector<double> waits(std::size_t count) const;

    // From the wait with this index on, none ends but by a notification.
    void holdFrom(std::size_t index);

    // While on, waits of this thread count as the library's, and each ends early a few times, as the system permits.
    void watchThisThread(bool on);
};
