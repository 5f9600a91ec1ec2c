#include "devices/kept_file.hpp"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <sys/stat.h>
#include <unistd.h>

namespace sim {

namespace {

// All of it, or false with errno.
bool writeAll(int file, std::span<const std::uint8_t> bytes)
{
    while (!bytes.empty()) {
        const auto written = ::write(file, bytes.data(), bytes.size());
        if (written < 0 && errno != EINTR) {
            return false;
        }
        bytes = bytes.subspan(written < 0 ? 0 : static_cast<std::size_t>(written));
    }
    return ::fsync(file) == 0;
}

// As a new file would have it, unless the file is there.
mode_t modeOf(const std::string& path)
{
    constexpr mode_t PERMISSIONS = 07777;
    struct stat status {};
    if (::stat(path.c_str(), &status) == 0) {
        return status.st_mode & PERMISSIONS;
    }
    const mode_t mask = ::umask(0);
    ::umask(mask);
    return 0666 & ~mask;
}

// Through a file beside it, so that there is always a whole one. 0, or the error number.
int replace(const std::string& path, std::span<const std::uint8_t> contents)
{
    std::error_code unresolved;
    const auto resolved = std::filesystem::canonical(path, unresolved); // a link stays one
    const std::string target = unresolved ? path : resolved.string();
    std::string beside = target + ".XXXXXX";
    const int file = ::mkstemp(beside.data());
    if (file < 0) {
        return errno;
    }
    const bool written = writeAll(file, contents) && ::fchmod(file, modeOf(target)) == 0;
    int error = written ? 0 : errno;
    if (::close(file) != 0 && error == 0) {
        error = errno;
    }
    if (error == 0 && ::rename(beside.c_str(), target.c_str()) != 0) {
        error = errno;
    }
    if (error != 0) {
        ::unlink(beside.c_str());
    }
    return error;
}

} // namespace

void KeptFile::save(std::span<const std::uint8_t> contents, World& world)
{
    if (!isChanged()) {
        return;
    }
    const int error = replace(path_, contents);
    changed_ = error != 0;
    if (changed_) {
        world.tell("cannot write " + path_ + ": " + std::strerror(error) + "; the file is as it was");
    }
}

} // namespace sim
