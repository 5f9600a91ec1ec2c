// Draws what happens on the adapters' buses and pins into a VCD file, one scope for each adapter, all on one timeline.
#pragma once

#include <chrono>
#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "model/probe.hpp"
#include "record/timeline.hpp"
#include "record/vcd_file.hpp"

namespace sim {

class VcdRecorder {
public:
    // Throws a std::runtime_error with one line for the user when it cannot write the file. If that happens later, it
    // says so on standard error, once.
    VcdRecorder(const std::string& path, const std::vector<std::string>& serialNumbers, Timeline::Duration longestPause,
                Timeline::Now now = std::chrono::steady_clock::now);
    ~VcdRecorder();
    VcdRecorder(const VcdRecorder&) = delete;
    VcdRecorder& operator=(const VcdRecorder&) = delete;

    // Lives as long as the recorder.
    Probe& adapter(std::size_t index);

private:
    class Scope;

    VcdFile file_;
    Timeline timeline_;
    std::vector<std::unique_ptr<Scope>> scopes_;
};

} // namespace sim
