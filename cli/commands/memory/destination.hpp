// Where what was read from a memory goes.
#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "console/output.hpp"

namespace tool {

// A file, which is emptied, or standard output for "-".
class Destination {
public:
    // Throws UsageError for standard output that would get JSON, or is a terminal, and for a file that was refused;
    // Failure for one that cannot be written.
    Destination(Output& output, const std::string& file);
    ~Destination();
    Destination(const Destination&) = delete;
    Destination& operator=(const Destination&) = delete;

    // As errors call it.
    const std::string& name() const { return name_; }

    // At once. Throws Failure.
    void write(std::span<const std::uint8_t> bytes) const;

private:
    [[noreturn]] void fail() const;

    Output& output_;
    std::string name_;
    int descriptor_ = -1; // of the file
};

} // namespace tool
