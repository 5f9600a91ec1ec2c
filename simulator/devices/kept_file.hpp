// A file that keeps the contents of a memory from one run to the next.
#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "devices/world.hpp"

namespace sim {

class KeptFile {
public:
    // An empty path keeps nothing.
    explicit KeptFile(std::string path) : path_(std::move(path)) {}

    void change() { changed_ = true; }
    bool isChanged() const { return changed_ && !path_.empty(); }

    // Replaces the file as a whole if the memory was changed since the last time. Tells the user when that fails, and
    // tries again the next time.
    void save(std::span<const std::uint8_t> contents, World& world);

private:
    std::string path_;
    bool changed_ = false;
};

} // namespace sim
