#include "ports/run/private_directory.hpp"

#include <array>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <stdexcept>
#include <sys/file.h>
#include <system_error>
#include <vector>

#include "ports/run/socket.hpp"

namespace sim {

namespace {

namespace fs = std::filesystem;

constexpr const char* NAME = "tarvix-sim.";
constexpr auto TIME_TO_LOCK = std::chrono::minutes(10); // between making a directory and locking it; generous

std::vector<fs::path> parents()
{
    std::vector<fs::path> parents;
    for (const char* parent : std::to_array<const char*>({::getenv("XDG_RUNTIME_DIR"), ::getenv("TMPDIR"), "/tmp"})) {
        std::error_code missing;
        // The command may change its directory, and compares paths.
        if (fs::path path = parent ? fs::canonical(parent, missing) : fs::path(); !path.empty()) {
            parents.push_back(std::move(path));
        }
    }
    return parents;
}

FileDescriptor lock(const fs::path& directory, int flags)
{
    FileDescriptor descriptor(::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (descriptor && ::flock(descriptor.get(), LOCK_EX | flags) != 0) {
        descriptor.reset();
    }
    return descriptor;
}

// Of a directory that nobody has locked.
bool isAbandoned(const fs::path& directory)
{
    if (connectTo(directory / SOCKET_NAME)) {
        return false; // tarvix-sim 1.3 takes no lock
    }
    std::error_code gone;
    return errno == ECONNREFUSED ||
           fs::file_time_type::clock::now() - fs::last_write_time(directory, gone) > TIME_TO_LOCK;
}

// A tarvix-sim holds the lock of its directory for life. What a killed one leaves can be locked.
void removeStaleDirectories(const fs::path& parent)
{
    std::error_code ignored;
    for (const auto& entry : fs::directory_iterator(parent, ignored)) {
        if (!entry.path().filename().string().starts_with(NAME)) {
            continue;
        }
        if (const auto held = lock(entry.path(), LOCK_NB); held && isAbandoned(entry.path())) {
            fs::remove_all(entry.path(), ignored);
        }
    }
}

} // namespace

PrivateDirectory::PrivateDirectory()
{
    const auto candidates = parents();
    for (const auto& parent : candidates) {
        std::string pattern = (parent / NAME).string() + "XXXXXX";
        if (path_.empty() && socketAddress(pattern + '/' + LONGEST_NAME) && ::mkdtemp(pattern.data())) {
            path_ = pattern;
            lock_ = lock(path_, 0);
        }
        removeStaleDirectories(parent);
    }
    if (path_.empty()) {
        throw std::runtime_error("cannot create a directory for the socket: set TMPDIR to a writable directory with a "
                                 "path shorter than 70 characters");
    }
}

PrivateDirectory::~PrivateDirectory()
{
    std::error_code ignored;
    fs::remove_all(path_, ignored);
}

} // namespace sim
