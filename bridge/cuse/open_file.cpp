#include "cuse/open_file.hpp"

#include <cerrno>

namespace bridge {

std::span<const std::uint8_t> UserMemory::read(Area area)
{
    const auto bytes = readLater(area);
    if (lacks_) {
        throw Incomplete{};
    }
    return bytes;
}

std::span<const std::uint8_t> UserMemory::readLater(Area area)
{
    if (area.size == 0) {
        return {};
    }
    from_.push_back(area);
    requireFewAreas();
    lacks_ |= fetched_.size() - used_ < area.size;
    if (lacks_) {
        return {};
    }
    used_ += area.size;
    return fetched_.subspan(used_ - area.size, area.size);
}

void UserMemory::announce(Area area)
{
    if (area.size != 0) {
        to_.push_back(area);
        requireFewAreas();
        announced_ += area.size;
    }
}

void UserMemory::complete() const
{
    // More than was used is there when the program has changed its memory meanwhile.
    if (lacks_ || used_ != fetched_.size() || announced_ != room_) {
        throw Incomplete{};
    }
}

void UserMemory::requireFewAreas() const
{
    constexpr std::size_t MOST = 256; // FUSE_IOCTL_MAX_IOV of the kernel's fs/fuse
    if (from_.size() + to_.size() > MOST) {
        throw Errno{EMSGSIZE};
    }
}

} // namespace bridge
