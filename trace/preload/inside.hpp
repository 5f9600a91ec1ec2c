// Whether this thread is inside hidapi: what hidapi asks of itself or of the C library is not the program's.
#pragma once

namespace recorder {

class Inside {
public:
    Inside() { ++depth; }
    ~Inside() { --depth; }
    Inside(const Inside&) = delete;
    Inside& operator=(const Inside&) = delete;

    static bool any() { return depth > 0; }

private:
    static inline constinit thread_local int depth __attribute__((tls_model("initial-exec"))) = 0;
};

} // namespace recorder
