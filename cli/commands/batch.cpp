// tarvix batch: many commands over one open adapter.
#include <cerrno>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <system_error>

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include "adapter/context.hpp"
#include "arguments/data.hpp"
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
    bool noFiles = false;
};

constexpr std::size_t LONGEST_LINE = 1 << 20; // bytes

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
        ++number_;
        std::string line;
        errno = 0;
        int c;
        while ((c = std::getc(stream_.get())) != EOF && c != '\n') {
            if (line.size() == LONGEST_LINE) {
                throw UsageError(fmt::format("FILE: {}: longer than {} bytes", place(), LONGEST_LINE),
                                 "put long data into a file and write @FILE");
            }
            line += static_cast<char>(c);
        }
        if (c == EOF) {
            throwIfInterrupted();
            if (std::ferror(stream_.get()) != 0) {
                fail();
            }
            if (line.empty()) {
                return std::nullopt;
            }
        }
        return line;
    }

    // Of the line that `next` returned: "setup.txt:3".
    std::string place() const { return fmt::format("{}:{}", name_, number_); }

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
    unsigned number_ = 0;
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> stream_;
};

void batch(Context& context, const BatchOptions& options)
{
    Lines lines(options.file);
    std::optional<ExitStatus> firstFailure;
    if (options.noFiles) {
        refuseFiles();
    }
    while (const auto line = lines.next()) {
        throwIfInterrupted();
        context.output().beginCommand("batch");
        try {
            if (const auto words = splitWords(*line); !words.empty()) {
                context.note(*line);
                options.runLine(context, words);
            }
        } catch (const Failure& failure) {
            report(context.output(), failure, lines.place());
            firstFailure = firstFailure.value_or(failure.exitStatus());
            if (!options.keepGoing) {
                break;
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
        batch, {"tarvix batch - < /dev/null", "tarvix batch --no-files - < /dev/null"},
        "Words are quoted as in a shell; a line has at most 1 MiB. A batch can send every file\n"
        "that you can read to the adapter (@FILE): run one from elsewhere with --no-files.");
    options.runLine = runLine;
    addText(app, "FILE", options.file, "Command file, or - for standard input; # starts a comment").required();
    addFlag(app, "-k,--keep-going", options.keepGoing, "Continue after a failed command");
    addFlag(app, "--no-files", options.noFiles, "Refuse @FILE, for a batch from elsewhere");
}

} // namespace tool
