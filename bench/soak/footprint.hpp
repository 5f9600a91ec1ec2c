// What this program and the adapter's host use of the machine.
#pragma once

#include <array>

#include <sys/types.h>

namespace soak {

class Footprint {
public:
    // With so many sessions, whose buffers grow to the longest frame.
    Footprint(pid_t host, long sessions);

    bool isNoLargerThan(const Footprint& earlier) const;
    void print(const Footprint& earlier) const;

private:
    struct Figure {
        const char* name;
        long slack; // growth that means nothing
        long value = 0;
    };

    static void look(Figure* figures, pid_t process);

    std::array<Figure, 7> figures_;
};

} // namespace soak
