#include "cuse/open_file.hpp"

namespace bridge {

std::span<const std::uint8_t> UserMemory::read(Area area)
{
    if (area.size == 0) {
        return {};
    }
    from_.push_back(area);
    if (fetched_.size() - used_ < area.size) {
        throw Incomplete{};
    }
    used_ += area.size;
    return fetched_.subspan(used_ - area.size, area.size);
}

void UserMemory::announce(Area area)
{
    if (area.size != 0) {
        to_.push_back(area);
        announced_ += area.size;
    }
}

void UserMemory::complete() const
{
    // More than was used is there when the program has changed its memory meanwhile.
    if (used_ != fetched_.size() || announced_ != room_) {
        throw Incomplete{};
    }
}

} // namespace bridge
