// How a run ends: the exit statuses and the exceptions that lead to them.
#pragma once

#include <stdexcept>
#include <string>
#include <utility>

namespace tool {

enum class ExitStatus : int {
    DONE = 0,
    REFUSED = 1, // by the adapter, by the bus, or by the operating system
    USAGE = 2,
    NO_ADAPTER = 3,
    SEVERAL_ADAPTERS = 4,
    NO_PERMISSION = 5,
    NO_ANSWER = 6,
    ADAPTER_LOST = 7,
    IN_USE = 8,        // by another program
    INTERRUPTED = 130, // by Ctrl-C; other signals likewise, 128 and their number
};

// Ends the command. `what` says what went wrong and with what, `advice` what to do; together they make one line.
class Failure : public std::runtime_error {
public:
    Failure(ExitStatus exitStatus, const std::string& message, std::string advice = {})
        : std::runtime_error(message), exitStatus_(exitStatus), advice_(std::move(advice))
    {
    }
    ExitStatus exitStatus() const { return exitStatus_; }
    const std::string& advice() const { return advice_; }

private:
    ExitStatus exitStatus_;
    std::string advice_;
};

// Wrong arguments or input files.
class UsageError : public Failure {
public:
    explicit UsageError(const std::string& message, std::string advice = {})
        : Failure(ExitStatus::USAGE, message, std::move(advice))
    {
    }
};

// A status of the library or the adapter, by name and number.
struct NamedStatus {
    std::string name; // "NACK"
    unsigned number;
};

// A command of the library that did not succeed.
class CommandFailed : public Failure {
public:
    CommandFailed(ExitStatus exitStatus, NamedStatus status, const std::string& message, std::string advice)
        : Failure(exitStatus, message, std::move(advice)), status_(std::move(status))
    {
    }
    const NamedStatus& status() const { return status_; }

private:
    NamedStatus status_;
};

// Ctrl-C or another signal that asks to end.
struct Interrupted {
    int signal;
};

// Ends the run with this status; the messages are out already.
struct AlreadyReported {
    ExitStatus exitStatus;
};

// Whoever read standard output has closed it: ends the run without a word.
struct OutputClosed {};

} // namespace tool
