#include "trace/command/record.hpp"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <filesystem>
#include <fmt/format.h>
#include <pcap/pcap.h>
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
#include "trace/command/report.hpp"
#include "trace/command/show.hpp"

namespace trace {

namespace {

namespace fs = std::filesystem;

using namespace tool;

constexpr const char* FILE_VARIABLE = "TARVIX_TRACE";

struct RecordOptions {
    std::string file; // empty for a name with the time
    bool force = false;
    bool preload = false;
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

// An empty capture. False if there is a file of that name, unless `force` says to overwrite it.
bool createCapture(const std::string& file, bool force)
{
    const int descriptor = ::open(file.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | (force ? O_TRUNC : O_EXCL), 0666);
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
    for (int i = 2; !createCapture(name, false); ++i) {
        name = fmt::format("{}-{}.pcap", stem, i);
    }
    terminal::tell(fmt::format("tarvix trace: recording to {}", name));
    return name;
}

std::string create(const RecordOptions& options)
{
    if (options.file.empty()) {
        return createNamedByTime();
    }
    if (!createCapture(options.file, options.force)) {
        throw Failure(ExitStatus::REFUSED, fmt::format("{} exists", options.file),
                      "choose another name, or overwrite it with --force");
    }
    return options.file;
}

// Waits for the end of the command, as a shell would; returns its exit status.
int await(pid_t child, int signals)
{
    int status = 0;
    while (true) {
        signalfd_siginfo signal{};
        if (::read(signals, &signal, sizeof signal) != sizeof signal) {
            continue;
        }
        if (child_process::mustForward(signal)) {
            ::kill(child, static_cast<int>(signal.ssi_signo));
        } else if (::waitpid(child, &status, WNOHANG) == child) {
            return child_process::statusOf(status);
        }
    }
}

// Returns the exit status of the command; `recorded` is false if there is none, because it could not be started.
int runCommand(const std::vector<std::string>& command, const std::vector<std::string>& environment, bool& recorded)
{
    sigset_t watched;
    sigset_t original;
    ::sigemptyset(&watched);
    for (const int number : {SIGCHLD, SIGINT, SIGQUIT, SIGTERM, SIGHUP}) {
        ::sigaddset(&watched, number);
    }
    ::sigprocmask(SIG_BLOCK, &watched, &original);
    const int signals = ::signalfd(-1, &watched, SFD_CLOEXEC);
    pid_t child = -1;
    const int error = child_process::start(command, environment, original, child);
    recorded = error == 0;
    if (error != 0) {
        terminal::tell(fmt::format("tarvix trace: cannot run {}: {}", command[0], std::strerror(error)));
        return child_process::statusOfError(error);
    }
    return await(child, signals);
}

std::vector<std::string> checkedCommand(const Context& context, const RecordOptions& options)
{
    constexpr const char* ADVICE = "the command to record stands behind '--', as in 'tarvix trace -- tarvix list'";
    if (!options.stray.empty()) {
        throw UsageError(fmt::format("unexpected argument '{}'", options.stray.front()), ADVICE);
    }
    if (context.options().command.empty()) {
        throw UsageError("missing command", ADVICE);
    }
    return context.options().command;
}

void record(Context& context, const RecordOptions& options)
{
    if (options.preload) {
        context.output().write(preloadLibrary() + '\n');
        return;
    }
    const auto command = checkedCommand(context, options);
    const std::string library = preloadLibrary();
    const std::string file = create(options);
    const auto environment = child_process::environmentWith(library, child_process::Order::FIRST, FILE_VARIABLE,
                                                            fs::absolute(file).string());
    bool recorded = false;
    const int status = runCommand(command, environment, recorded);
    std::error_code error;
    if (!recorded && !options.force) {
        fs::remove(file, error);
    } else if (recorded && fs::file_size(file, error) == sizeof(FileHeader)) {
        terminal::tell(fmt::format("tarvix trace: {} is empty: the command opened no adapter", file));
    }
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
    addTexts(app, "COMMAND", options.stray, "The command to run, with its arguments").valueName("-- COMMAND");
    Commands below = commands.below(app);
    addShowCommand(below);
    addReportCommand(below);
}

} // namespace trace
