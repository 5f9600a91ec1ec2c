#include "ports/run/private_directory.hpp"

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <system_error>

#include "ports/run/socket.hpp"

namespace sim {

namespace {

namespace fs = std::filesystem;

constexpr const char* NAME = "tarvix-sim.";

// What a killed tarvix-sim leaves has a socket on which nobody listens.
void removeStaleDirectories(const fs::path& parent)
{
    std::error_code ignored;
    for (const auto& entry : fs::directory_iterator(parent, ignored)) {
        const auto socket = (entry.path() / SOCKET_NAME).string();
        if (entry.path().filename().string().starts_with(NAME) && !connectTo(socket) && errno == ECONNREFUSED) {
            fs::remove_all(entry.path(), ignored);
        }
    }
}

} // namespace

PrivateDirectory::PrivateDirectory()
{
    for (const char* parent : {::getenv("XDG_RUNTIME_DIR"), ::getenv("TMPDIR"), const_cast<char*>("/tmp")}) {
        if (!parent || !*parent) {
            continue;
        }
        // Absolute: the command may change its directory.
        std::string pattern = (fs::absolute(parent) / NAME).string() + "XXXXXX";
        if (socketAddress(pattern + '/' + LONGEST_NAME) && ::mkdtemp(pattern.data())) {
            path_ = pattern;
            removeStaleDirectories(parent);
            return;
        }
    }
    throw std::runtime_error("cannot create a directory for the socket: set TMPDIR to a writable directory with a path "
                             "shorter than 70 characters");
}

PrivateDirectory::~PrivateDirectory()
{
    std::error_code ignored;
    fs::remove_all(path_, ignored);
}

} // namespace sim
