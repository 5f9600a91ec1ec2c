#include "process/child.hpp"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <iterator>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

#include <fmt/format.h>

#include "common/terminal.hpp"

namespace sim {

namespace {

using std::chrono::milliseconds;

// For whoever ends when its input does; the others are killed.
constexpr milliseconds TIME_TO_END{500};
// From the end of the output to the end of the program.
constexpr milliseconds TIME_TO_EXIT{100};

struct Pipe {
    explicit Pipe(int flags)
    {
        int ends[2];
        if (::pipe2(ends, flags) != 0) {
            throw std::system_error(errno, std::generic_category(), "pipe");
        }
        reading = FileDescriptor(ends[0]);
        writing = FileDescriptor(ends[1]);
    }

    FileDescriptor reading;
    FileDescriptor writing;
};

void doNotBlock(const FileDescriptor& descriptor)
{
    ::fcntl(descriptor.get(), F_SETFL, O_NONBLOCK);
}

// In the new process, with nothing but calls that are allowed there. A group of its own, because the terminal's
// signals are for the command under test, and so that all of it can be ended.
[[noreturn]] void become(char* const* words, const char* directory, pid_t parent, int input, int output, int failure)
{
    ::setpgid(0, 0);
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    sigset_t none;
    ::sigemptyset(&none);
    ::sigprocmask(SIG_SETMASK, &none, nullptr);
    if (!terminal::inheritedIgnoredSigpipe()) {
        ::signal(SIGPIPE, SIG_DFL);
    }
    if (::getppid() == parent && ::chdir(directory) == 0 && ::dup2(input, STDIN_FILENO) >= 0 &&
        ::dup2(output, STDOUT_FILENO) >= 0) {
        ::execvp(words[0], words);
    }
    const int error = errno;
    [[maybe_unused]] const auto told = ::write(failure, &error, sizeof error);
    ::_exit(127);
}

} // namespace

Child::Child(const Command& command)
{
    Pipe toChild(O_CLOEXEC);
    Pipe fromChild(O_CLOEXEC);
    Pipe failure(O_CLOEXEC); // closed by a successful start
    std::vector<char*> words;
    std::ranges::transform(command.words, std::back_inserter(words),
                           [](const std::string& word) { return const_cast<char*>(word.c_str()); });
    words.push_back(nullptr);
    const std::string directory = command.directory.string();
    const pid_t parent = ::getpid();
    pid_ = ::fork();
    if (pid_ == 0) {
        become(words.data(), directory.c_str(), parent, toChild.reading.get(), fromChild.writing.get(),
               failure.writing.get());
    }
    if (pid_ < 0) {
        throw std::system_error(errno, std::generic_category(), "fork");
    }
    ::setpgid(pid_, pid_); // whoever is first
    failure.writing.reset();
    int error = 0;
    if (::read(failure.reading.get(), &error, sizeof error) == sizeof error) {
        reap();
        throw std::system_error(error, std::generic_category());
    }
    input_ = std::move(toChild.writing);
    output_ = std::move(fromChild.reading);
    doNotBlock(input_);
    doNotBlock(output_);
}

Child::~Child()
{
    input_.reset();
    output_.reset();
    if (pid_ > 0) {
        endsWithin(TIME_TO_END);
        reap();
    }
}

bool Child::endsWithin(milliseconds time) const
{
    const FileDescriptor process(static_cast<int>(::syscall(SYS_pidfd_open, pid_, 0)));
    pollfd ended{process.get(), POLLIN, 0};
    return process && ::poll(&ended, 1, static_cast<int>(time.count())) == 1;
}

// Until here the process keeps its number, and so the group does.
int Child::reap()
{
    ::kill(-pid_, SIGKILL);
    int status = 0;
    while (::waitpid(pid_, &status, 0) < 0 && errno == EINTR) {
    }
    pid_ = -1;
    return status;
}

std::string Child::end()
{
    if (pid_ < 0) {
        return {};
    }
    pollfd output{output_.get(), POLLIN, 0};
    const bool closed = ::poll(&output, 1, 0) == 1 && (output.revents & POLLHUP) != 0;
    const bool ended = closed && endsWithin(TIME_TO_EXIT);
    const int status = reap();
    if (!ended) {
        return closed ? "closed its output" : "";
    }
    if (WIFSIGNALED(status)) {
        const char* const name = ::sigdescr_np(WTERMSIG(status));
        return fmt::format("ended by signal {} ({})", WTERMSIG(status), name ? name : "unknown");
    }
    return fmt::format("ended with status {}", WEXITSTATUS(status));
}

} // namespace sim
