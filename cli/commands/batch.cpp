// tarvix batch: many commands over one open adapter.
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <optional>
#include <string>
#include <system_error>
#include <vector>

#include <fcntl.h>
#include <fmt/format.h>
#include <poll.h>
#include <unistd.h>

#include "adapter/context.hpp"
#include "arguments/options.hpp"
#include "arguments/words.hpp"
#include "commands/command.hpp"
#include "console/errors.hpp"
#include "console/interrupt.hpp"
#include "console/report.hpp"

namespace tool {

namespace {

struct BatchOptions {
    RunLine runLine = nullptr;
    std::string file;
    bool keepGoing = false;
};

class Lines {
public:
    explicit Lines(const std::string& file)
        : name_(file == "-" ? "standard input" : file), stream_(openFile(file), std::fclose)
    {
        if (!stream_) {
            fail();
        }
    }

    // Without its end; empty after the last line.
    std::optional<std::string> next()
    {
        char* text = nullptr;
        std::size_t capacity = 0;
        errno = 0;
        const ssize_t length = getline(&text, &capacity, stream_.get());
        const std::unique_ptr<char, void (*)(void*)> owner(text, std::free);
        if (length < 0) {
            throwIfInterrupted();
            if (std::ferror(stream_.get()) != 0) {
                fail();
            }
            return std::nullopt;
        }
        std::string line(text, static_cast<std::size_t>(length));
        if (line.ends_with('\n')) {
            line.pop_back();
        }
        return line;
    }

    const std::string& name() const { return name_; }

private:
    // A batch on standard input takes it away from its commands, for which it is empty.
    static std::FILE* openFile(const std::string& file)
    {
        if (file != "-") {
            return std::fopen(file.c_str(), "re");
        }
        const int input = fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 3);
        const int empty = open("/dev/null", O_RDONLY | O_CLOEXEC);
        dup2(empty, STDIN_FILENO);
        ::close(empty);
        std::FILE* const stream = input < 0 ? nullptr : fdopen(input, "r");
        if (stream == nullptr) {
            errno = EBADF; // closed, and occupied since by something that cannot be read
        }
        return stream;
    }

    [[noreturn]] void fail() const
    {
        throw UsageError(fmt::format("FILE: {}: {}", name_, std::generic_category().message(errno)));
    }

    std::string name_;
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> stream_;
};

// A late answer would be taken for the next command's, so it must arrive while the adapter is closed.
void getBackInStep(Context& context)
{
    context.close();
    pollfd interrupt{interruptDescriptor(), POLLIN, 0};
    poll(&interrupt, 1, context.options().timeoutMs);
    std::vector<std::uint8_t> string;
    // The one exchange that notices when it gets another's answer.
    if (context.sdk().getUsbString(string, 1) != StatusCode::SUCCESS) {
        throw Failure(ExitStatus::NO_ANSWER, "the adapter does not answer in time: the rest of the batch was not run",
                      "raise --timeout or replug the adapter");
    }
}

void batch(Context& context, const BatchOptions& options)
{
    Lines lines(options.file);
    std::optional<ExitStatus> firstFailure;
    unsigned number = 0;
    while (const auto line = lines.next()) {
        throwIfInterrupted();
        ++number;
        context.output().beginCommand("batch");
        try {
            if (const auto words = splitWords(*line); !words.empty()) {
                context.note(*line);
                options.runLine(context, words);
            }
        } catch (const Failure& failure) {
            report(context.output(), failure, fmt::format("{}:{}", lines.name(), number));
            firstFailure = firstFailure.value_or(failure.exitStatus());
            if (!options.keepGoing) {
                break;
            }
            if (failure.exitStatus() == ExitStatus::NO_ANSWER) {
                getBackInStep(context);
            }
        }
    }
    if (firstFailure) {
        throw AlreadyReported{*firstFailure};
    }
}

} // namespace

void addBatchCommand(Commands& commands, RunLine runLine)
{
    auto [app, options] = commands.add<BatchOptions>(
        "batch", "Run commands from a file on one open adapter: one per line, without 'tarvix' and common options",
        batch, {"tarvix batch - < /dev/null"});
    options.runLine = runLine;
    addText(app, "FILE", options.file, "Command file, or - for standard input; # starts a comment").required();
    addFlag(app, "-k,--keep-going", options.keepGoing, "Continue after a failed command");
}

} // namespace tool
