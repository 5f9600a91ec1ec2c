#include "trace/command/record.hpp"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <filesystem>
#include <fmt/format.h>
#include <iterator>
#include <optional>
#include <pcap/pcap.h>
#include <poll.h>
#include <string>
#include <sys/signalfd.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include "arguments/options.hpp"
#include "common/child_process.hpp"
#include "common/terminal.hpp"
#include "console/errors.hpp"
#include "trace/capture/layout.hpp"
#include "trace/command/live.hpp"
#include "trace/command/presenter.hpp"
#include "trace/command/report.hpp"
#include "trace/command/show.hpp"

namespace trace {

namespace {

namespace fs = std::filesystem;

using namespace tool;

constexpr const char* FILE_VARIABLE = "TARVIX_TRACE";

struct RecordOptions : ShowOptions {
    std::string file; // empty for a name with the time
    bool force = false;
    bool preload = false;
    bool live = false;
    std::vector<std::string> stray;
};

std::string preloadLibrary()
{
    return child_process::preloadLibrary(TARVIX_TRACE_LIBRARY, TARVIX_TRACE_LIBRARY_DIRECTORY);
}

[[noreturn]] void failToWrite(const std::string& file)
{
    throw Failure(ExitStatus::REFUSED, fmt::format("cannot write {}: {}", file, std::strerror(errno)));
}

// An empty capture. False if there is a file of that name.
bool createCapture(const std::string& file)
{
    const int descriptor = ::open(file.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | O_EXCL, 0666);
    if (descriptor < 0 && errno == EEXIST) {
        return false;
    }
    std::FILE* const stream = descriptor < 0 ? nullptr : ::fdopen(descriptor, "w");
    if (stream == nullptr) {
        failToWrite(file);
    }
    pcap_t* const format = ::pcap_open_dead_with_tstamp_precision(static_cast<int>(FILE_HEADER.linkType),
                                                                  static_cast<int>(FILE_HEADER.snapshotLength),
                                                                  PCAP_TSTAMP_PRECISION_NANO);
    pcap_dumper_t* const dumper = ::pcap_dump_fopen(format, stream);
    if (dumper == nullptr || ::pcap_dump_flush(dumper) != 0) {
        const int error = errno;
        ::unlink(file.c_str());
        errno = error;
        failToWrite(file);
    }
    ::pcap_dump_close(dumper);
    ::pcap_close(format);
    return true;
}

// With a name that nothing has, which is told.
std::string createNamedByTime()
{
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    ::localtime_r(&now, &local);
    char stem[64];
    std::strftime(stem, sizeof stem, "tarvix-%Y%m%d-%H%M%S", &local);
    std::string name = fmt::format("{}.pcap", stem);
    for (int i = 2; !createCapture(name); ++i) {
        name = fmt::format("{}-{}.pcap", stem, i);
    }
    terminal::tell(fmt::format("tarvix trace: recording to {}", name));
    return name;
}

// The capture that the new one overwrites: out of its way until the command runs. If that never does, it comes back.
class SetAside {
public:
    explicit SetAside(const std::string& file) : file_(file), aside_(fmt::format("{}.{}", file, ::getpid()))
    {
        if (std::rename(file_.c_str(), aside_.c_str()) != 0) {
            failToWrite(file_);
        }
    }
    SetAside(const SetAside&) = delete;
    SetAside& operator=(const SetAside&) = delete;
    ~SetAside()
    {
        if (!dropped_) {
            std::rename(aside_.c_str(), file_.c_str());
        }
    }
    void drop()
    {
        ::unlink(aside_.c_str());
        dropped_ = true;
    }

private:
    const std::string file_;
    const std::string aside_;
    bool dropped_ = false;
};

struct NewCapture {
    explicit NewCapture(const RecordOptions& options) : file(options.file)
    {
        if (file.empty()) {
            file = createNamedByTime();
            return;
        }
        if (options.force && fs::is_regular_file(file)) {
            before.emplace(file);
        }
        if (!createCapture(file)) {
            throw Failure(ExitStatus::REFUSED, fmt::format("{} exists", file),
                          options.force ? "it is not a file: choose another name"
                                        : "choose another name, or overwrite it with --force");
        }
    }

    std::string file;
    std::optional<SetAside> before; // the one that it overwrites
};

// Waits for the end of the command, as a shell would; returns its exit status.
int await(pid_t child, int signals, Live* live)
{
    while (true) {
        pollfd waiting[] = {{signals, POLLIN, 0}, {live != nullptr ? live->news() : -1, POLLIN, 0}};
        ::poll(waiting, std::size(waiting), -1);
        if (waiting[1].revents != 0) {
            live->print();
        }
        signalfd_siginfo signal{};
        if (waiting[0].revents == 0 || ::read(signals, &signal, sizeof signal) != sizeof signal) {
            continue;
        }
        int status = 0;
        if (child_process::mustForward(signal.ssi_signo, signal.ssi_code)) {
            ::kill(child, static_cast<int>(signal.ssi_signo));
        } else if (::waitpid(child, &status, WNOHANG) == child) {
            if (live != nullptr) {
                live->end();
            }
            return child_process::statusOf(status);
        }
    }
}

// In place of the signals' handlers: a descriptor that says which came.
int watchSignals(sigset_t& original)
{
    sigset_t watched;
    ::sigemptyset(&watched);
    for (const int number : {SIGCHLD, SIGINT, SIGQUIT, SIGTERM, SIGHUP}) {
        ::sigaddset(&watched, number);
    }
    ::sigprocmask(SIG_BLOCK, &watched, &original);
    return ::signalfd(-1, &watched, SFD_CLOEXEC);
}

void checkUse(const GlobalOptions& common, const RecordOptions& options)
{
    constexpr const char* ADVICE = "the command to record stands behind '--', as in 'tarvix trace -- tarvix list'";
    if (!options.stray.empty()) {
        throw UsageError(fmt::format("unexpected argument '{}'", options.stray.front()), ADVICE);
    }
    if (common.command.empty()) {
        throw UsageError("missing command", ADVICE);
    }
    if (options.file == "-") {
        throw UsageError("--output: standard output is the command's", "name a file");
    }
    if (!options.live && static_cast<const ShowOptions&>(options) != ShowOptions{}) {
        throw UsageError("nothing is printed without --live",
                         "everything is recorded: 'tarvix trace show' prints of it what you choose");
    }
}

// The exit status of the command. If it cannot be started, that is told, and everything is as it was before.
int run(const std::vector<std::string>& command, const std::string& library, NewCapture& capture, Live* live)
{
    const std::string& file = capture.file;
    sigset_t signalMask;
    const int signals = watchSignals(signalMask);
    const auto environment = child_process::environmentWith(library, child_process::Order::FIRST, FILE_VARIABLE,
                                                            fs::absolute(file).string());
    pid_t child = -1;
    if (const int error = child_process::start(command, environment, signalMask, child)) {
        terminal::tell(fmt::format("tarvix trace: cannot run {}: {}", command[0], std::strerror(error)));
        fs::remove(file);
        return child_process::statusOfError(error);
    }
    if (capture.before) {
        capture.before->drop();
    }
    if (live != nullptr) {
        ::dup2(STDERR_FILENO, STDOUT_FILENO); // standard output is the command's
    }
    const int status = await(child, signals, live);
    std::error_code gone;
    if (fs::file_size(file, gone) == sizeof(FileHeader)) {
        terminal::tell(
            fmt::format("tarvix trace: {} is empty: the command opened no adapter, or cannot be recorded; see "
                        "'What is recorded' in the guide to traces",
                        file));
    }
    return status;
}

void record(Context& context, const RecordOptions& options)
{
    if (options.preload) {
        context.output().write(preloadLibrary() + '\n');
        return;
    }
    checkUse(context.options(), options);
    const std::string library = preloadLibrary();
    std::optional<Presenter> presenter;
    if (options.live) {
        presenter.emplace(context.output(), options, true);
    }
    NewCapture capture(options);
    std::optional<Live> live;
    if (presenter) {
        live.emplace(*presenter, capture.file);
    }
    const int status = run(context.options().command, library, capture, live ? &*live : nullptr);
    throw AlreadyReported{static_cast<ExitStatus>(status)};
}

} // namespace

void addTraceCommands(Commands& commands)
{
    auto [app, options] = commands.add("trace", "Record what programs and adapters say to each other", record,
                                       {"tarvix trace -o run.pcap -- tarvix i2c get 0x48 0 -n 2"});
    addText(app, "-o,--output", options.file, "The capture to make, instead of tarvix-DATE-TIME.pcap")
        .valueName("FILE");
    addFlag(app, "--force", options.force, "Overwrite a file of that name");
    addFlag(app, "--preload", options.preload,
            "Print the path of the library that records, for LD_PRELOAD, and do nothing else");
    addFlag(app, "--live", options.live, "Print what is recorded, on standard error, as 'tarvix trace show' does");
    addShowOptions(app, options);
    addTexts(app, "COMMAND", options.stray, "The command to run, with its arguments").valueName("-- COMMAND");
    Commands below = commands.below(app);
    addShowCommand(below);
    addReportCommand(below);
}

} // namespace trace
