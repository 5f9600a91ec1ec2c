// Sessions and forks. A forked child has its parent's memory, but not its threads, and what these had locked stays
// locked. So a session belongs to the process that opened it: to a child it is not connected, and is left as it is.
#pragma once

#include <atomic>

// The process that something lives in.
class HomeProcess {
public:
    HomeProcess() { moveHere(); }

    void moveHere();
    bool isHere() const; // false in a child that was forked since

private:
    std::atomic<unsigned> number_;
};
