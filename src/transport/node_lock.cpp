#include "transport/node_lock.hpp"

#include <cerrno>
#include <cstdio>
#include <fstream>
#include <sstream>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

namespace {

// Looks the file up in /proc/locks, whose lines are "1: FLOCK ADVISORY WRITE 4711 00:05:613 0 EOF".
std::int64_t holderOf(int descriptor)
{
    struct stat file {};
    if (::fstat(descriptor, &file) != 0) {
        return 0;
    }
    char name[64];
    std::snprintf(name, sizeof name, "%02x:%02x:%llu", ::major(file.st_dev), ::minor(file.st_dev),
                  static_cast<unsigned long long>(file.st_ino));
    std::ifstream locks("/proc/locks");
    for (std::string line; std::getline(locks, line);) {
        std::istringstream words(line);
        std::string number, kind, advisory, access, locked;
        std::int64_t process = 0;
        words >> number >> kind >> advisory >> access >> process >> locked;
        if (words && kind == "FLOCK" && locked == name) {
            return process > 0 ? process : 0; // other process namespaces show as 0 or -1
        }
    }
    return 0;
}

} // namespace

NodeLock::Result NodeLock::take(const std::string& path)
{
    release();
    descriptor_ = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
    if (descriptor_ < 0) {
        return errno == EACCES || errno == EPERM ? Result::NO_PERMISSION : Result::NO_FILE;
    }
    if (::flock(descriptor_, LOCK_EX | LOCK_NB) == 0) {
        return Result::HELD;
    }
    const bool taken = errno == EWOULDBLOCK;
    holder_ = taken ? holderOf(descriptor_) : 0;
    release();
    return taken ? Result::IN_USE : Result::NO_FILE;
}

void NodeLock::release()
{
    if (descriptor_ >= 0) {
        ::flock(descriptor_, LOCK_UN); // a forked child may have the descriptor, too
        ::close(descriptor_);
        descriptor_ = -1;
    }
}
