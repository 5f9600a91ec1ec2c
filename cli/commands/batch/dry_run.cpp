#include "commands/batch/dry_run.hpp"

#include <cstddef>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "console/errors.hpp"
#include "console/text.hpp"
#include "console/waiting.hpp"

namespace tool {

namespace {

class Muted {
public:
    explicit Muted(Output& output) : output_(output) { output_.mute(true); }
    ~Muted() { output_.mute(false); }
    Muted(const Muted&) = delete;
    Muted& operator=(const Muted&) = delete;

private:
    Output& output_;
};

constexpr const char* UNKNOWN = "the rest, if any, depends on the answer";

// Transaction id, command and SUCCESS.
Bytes successOf(const Bytes& request)
{
    constexpr std::size_t STATUS = 4;
    Bytes response(request.begin(), request.begin() + STATUS);
    response.resize(STATUS + 2);
    return response;
}

} // namespace

DryRun::DryRun(Context& context) : context_(context)
{
    refuseToWait();
    context.standIn([this](const Bytes& request) {
        frames_.push_back(request);
        return successOf(request);
    });
}

void DryRun::run(const std::string& place, const std::string& line, const std::function<void()>& command)
{
    frames_.clear();
    std::string note;
    try {
        const Muted muted(context_.output());
        command();
    } catch (const Failure& failure) {
        if (failure.exitStatus() == ExitStatus::USAGE) {
            throw;
        }
        note = frames_.empty() ? fmt::format("not evaluated: {}", failure.what()) : UNKNOWN;
    } catch (const AlreadyReported&) {
        note = UNKNOWN;
    }
    print(place, line, note);
}

void DryRun::print(const std::string& place, const std::string& line, const std::string& note)
{
    std::string text = fmt::format("{}: {}\n", place, line);
    Json fields{{"place", place}, {"line", line}, {"frames", Json::array()}};
    for (const Bytes& frame : frames_) {
        text += fmt::format("    {:02x}\n", fmt::join(frame, " "));
        fields["frames"].push_back(toHex(frame));
    }
    if (!note.empty()) {
        text += fmt::format("    ({})\n", note);
        fields["note"] = note;
    }
    context_.output().beginCommand("batch --dry-run");
    context_.output().printEvent(text, fields);
}

} // namespace tool
