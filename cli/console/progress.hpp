// How far long work has come.
#pragma once

#include <chrono>
#include <cstddef>
#include <string>

namespace tool {

// "reading: 12288 of 32768 bytes, 37 %, 24.0 KiB/s, 0:01 left" on standard error while long work goes on: on a terminal
// only, and not for the first half second.
class Progress {
public:
    Progress(std::string label, std::size_t total);
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    void update(std::size_t done);

private:
    std::string label_;
    std::size_t total_;
    bool enabled_;
    bool shown_ = false;
    std::chrono::steady_clock::time_point start_;
    std::chrono::steady_clock::time_point nextUpdate_;
};

} // namespace tool
