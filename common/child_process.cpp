#include "common/child_process.hpp"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <spawn.h>
#include <stdexcept>
#include <sys/wait.h>
#include <unistd.h>

#include "common/terminal.hpp"

namespace child_process {

namespace {

namespace fs = std::filesystem;

constexpr int STATUS_NOT_EXECUTABLE = 126;
constexpr int STATUS_NOT_FOUND = 127;
constexpr int STATUS_SIGNALLED = 128;

std::vector<char*> pointersTo(const std::vector<std::string>& texts)
{
    std::vector<char*> pointers;
    std::ranges::transform(texts, std::back_inserter(pointers),
                           [](const std::string& text) { return const_cast<char*>(text.c_str()); });
    pointers.push_back(nullptr);
    return pointers;
}

} // namespace

std::string companion(std::string_view name, std::string_view directory)
{
    const auto home = fs::read_symlink("/proc/self/exe").parent_path();
    for (const auto& place : {home, home / directory}) {
        if (fs::exists(place / name)) {
            return fs::canonical(place / name).string();
        }
    }
    throw std::runtime_error(std::string(name) + " is missing: it belongs into " + home.string() + " or " +
                             (home / directory).lexically_normal().string());
}

std::string preloadLibrary(std::string_view name, std::string_view directory)
{
    std::string path = companion(name, directory);
    if (path.find_first_of(" :") != std::string::npos) {
        throw std::runtime_error("cannot preload " + path +
                                 ": the dynamic loader splits paths at spaces and colons; move it to one without");
    }
    return path;
}

std::vector<std::string> environmentWith(const std::string& library, Order order, std::string_view variable,
                                         const std::string& value)
{
    constexpr std::string_view PRELOAD = "LD_PRELOAD=";
    constexpr std::string_view SANITIZER = "ASAN_OPTIONS="; // AddressSanitizer wants to be loaded first, unless told so
    const std::string assignment = std::string(variable) + '=';
    std::string preload = library;
    std::string sanitizer = "verify_asan_link_order=0";
    std::vector<std::string> variables{assignment + value};
    for (char** each = environ; *each; ++each) {
        const std::string_view ours = *each;
        if (ours.starts_with(PRELOAD)) {
            const std::string others(ours.substr(PRELOAD.size()));
            if (!others.empty()) {
                preload = order == Order::FIRST ? library + ':' + others : others + ':' + library;
            }
        } else if (ours.starts_with(SANITIZER)) {
            sanitizer += ':' + std::string(ours.substr(SANITIZER.size()));
        } else if (!ours.starts_with(assignment)) {
            variables.emplace_back(ours);
        }
    }
    variables.push_back(std::string(PRELOAD) + preload);
    variables.push_back(std::string(SANITIZER) + sanitizer);
    return variables;
}

int start(const std::vector<std::string>& command, const std::vector<std::string>& environment,
          const sigset_t& signalMask, pid_t& child)
{
    const auto arguments = pointersTo(command);
    posix_spawnattr_t attributes;
    ::posix_spawnattr_init(&attributes);
    ::posix_spawnattr_setsigmask(&attributes, &signalMask);
    sigset_t defaults;
    ::sigemptyset(&defaults);
    if (!terminal::inheritedIgnoredSigpipe()) {
        ::sigaddset(&defaults, SIGPIPE);
    }
    ::posix_spawnattr_setsigdefault(&attributes, &defaults);
    ::posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    const int error =
        ::posix_spawnp(&child, arguments[0], nullptr, &attributes, arguments.data(), pointersTo(environment).data());
    ::posix_spawnattr_destroy(&attributes);
    return error;
}

int become(const std::string& path, const std::vector<std::string>& words)
{
    std::vector<char*> arguments = pointersTo(words);
    arguments.insert(arguments.begin(), const_cast<char*>(path.c_str()));
    if (!terminal::inheritedIgnoredSigpipe()) {
        std::signal(SIGPIPE, SIG_DFL);
    }
    ::execv(path.c_str(), arguments.data());
    const int error = errno;
    std::signal(SIGPIPE, SIG_IGN);
    return error;
}

bool mustForward(unsigned number, int code)
{
    return number != SIGCHLD && code != SI_KERNEL;
}

int statusOfError(int error)
{
    return error == ENOENT ? STATUS_NOT_FOUND : STATUS_NOT_EXECUTABLE;
}

int statusOf(int ended)
{
    return WIFSIGNALED(ended) ? STATUS_SIGNALLED + WTERMSIG(ended) : WEXITSTATUS(ended);
}

} // namespace child_process
