// What every command gets: the options that hold for all commands, the output, and the adapter.
#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "adapter/listing.hpp"
#include "console/output.hpp"
#include "tarvixsdk/sdk.hpp"

namespace tool {

struct GlobalOptions {
    std::string adapter;                           // selector; empty for the only one
    std::chrono::milliseconds timeout{2000};       // of each exchange
    std::optional<std::chrono::milliseconds> wait; // for an adapter that another program is using
    bool shared = false;                           // take no lock
    bool json = false;
    bool verbose = false;
    std::vector<std::string> command; // of another program, for commands that run one
};

// Throws Failure unless the adapter was opened.
void requireOpen(const OpenResult& result);

class Context {
public:
    explicit Context(GlobalOptions options);

    const GlobalOptions& options() const { return options_; }
    Output& output() { return output_; }

    // The chosen adapter, opened on first use and kept open for the rest of the run.
    TarvixSDK& sdk();

    // The adapter that `sdk` opened.
    const Adapter& adapter();

    // The adapter if it is open, else null: for cleaning up, which opens nothing.
    TarvixSDK* openSdk() { return sdk_.get(); }

    // From now on there is no adapter: `answer` stands in for it, as OpenOptions::answer does.
    void standIn(decltype(OpenOptions::answer) answer) { answer_ = std::move(answer); }
    bool hasAdapter() const { return !answer_; }

    // Closes the adapter; the next use opens it again.
    void close();

    // Returns if `status` is success, throws CommandFailed otherwise: the one place that turns a status into an exit
    // status and a message. `action` says what was tried ("reading pin 3"), `advice` what to do when the adapter or
    // the bus refused. Also a safe point for Ctrl-C.
    void check(StatusCode status, std::string_view action, std::string_view advice = {});

    // Checks a transfer: `advice` is for a target that does not acknowledge, other refusals have their own.
    void checkTransfer(StatusCode status, std::string_view action, std::string_view advice);

    // Sets a controller up, so that no user has to: runs `initialise` unless this run has already set `controller`
    // ("I2C bus 0") up with the same `settings` ("100 kHz"). Reported under -v.
    void setUp(const std::string& controller, const std::string& settings,
               const std::function<StatusCode(TarvixSDK&)>& initialise);

    // One line on standard error, under -v only.
    void note(std::string_view text) const;

private:
    GlobalOptions options_;
    Output output_;
    std::optional<Adapter> adapter_;
    std::unique_ptr<TarvixSDK> sdk_;
    decltype(OpenOptions::answer) answer_;
    std::map<std::string, std::string> settings_; // by controller
};

} // namespace tool
