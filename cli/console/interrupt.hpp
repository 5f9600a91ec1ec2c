// Ctrl-C and similar signals end the command at its next safe point, with the adapter closed.
#pragma once

namespace tool {

// Handles SIGINT, SIGTERM and SIGHUP. A command that does not reach a safe point within a few seconds (an adapter
// that does not answer) is ended all the same, as is one that is interrupted twice.
void watchForInterrupts();

// While one lives, a signal waits: for what must not stop half-way. A second signal ends the program all the same.
class Uninterrupted {
public:
    Uninterrupted();
    ~Uninterrupted();
    Uninterrupted(const Uninterrupted&) = delete;
    Uninterrupted& operator=(const Uninterrupted&) = delete;
};

// Throws Interrupted once a signal came.
void throwIfInterrupted();

// Readable once a signal came, for poll.
int interruptDescriptor();

} // namespace tool
