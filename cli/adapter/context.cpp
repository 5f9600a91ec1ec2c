#include "adapter/context.hpp"

#include <chrono>
#include <thread>
#include <utility>

#include <fmt/format.h>

#include "adapter/statuses.hpp"
#include "common/terminal.hpp"
#include "console/errors.hpp"
#include "console/interrupt.hpp"

namespace tool {

void requireOpen(const OpenResult& result)
{
    switch (result.status) {
    case OpenStatus::OPENED:
        return;
    case OpenStatus::NO_PERMISSION:
        throw Failure(ExitStatus::NO_PERMISSION, fmt::format("cannot open {}: permission denied", result.path),
                      PERMISSION_ADVICE);
    case OpenStatus::IN_USE:
        throw Failure(ExitStatus::IN_USE, result.message, "wait for it with --wait 10s, or stop the other program");
    case OpenStatus::NO_ADAPTER:
        throw Failure(ExitStatus::ADAPTER_LOST, "the adapter has left the USB bus", "plug it back in");
    default:
        throw Failure(ExitStatus::REFUSED, result.message, "run 'tarvix doctor'");
    }
}

namespace {

// Tries again while another program holds the adapter, as long as the user wants to wait.
OpenResult openPatiently(TarvixSDK& sdk, const OpenOptions& options, std::chrono::milliseconds patience)
{
    constexpr std::chrono::milliseconds PAUSE{20};
    const auto deadline = std::chrono::steady_clock::now() + patience;
    for (;;) {
        OpenResult result = sdk.open(options);
        if (result.status != OpenStatus::IN_USE || std::chrono::steady_clock::now() >= deadline) {
            return result;
        }
        std::this_thread::sleep_for(PAUSE);
        throwIfInterrupted();
    }
}

// What a command may ask of the one that is missing.
Adapter noAdapter()
{
    Adapter adapter;
    adapter.reportSize = 64;
    return adapter;
}

} // namespace

Context::Context(GlobalOptions options) : options_(std::move(options)), output_(options_.json) {}

TarvixSDK& Context::sdk()
{
    throwIfInterrupted();
    if (!sdk_) {
        // Always a path, so that exactly the chosen adapter is opened whatever else carries its serial number.
        adapter_ = hasAdapter() ? chooseAdapter(options_.adapter) : noAdapter();
        auto sdk = std::make_unique<TarvixSDK>(static_cast<int>(options_.timeout.count()));
        OpenOptions open;
        open.path = adapter_->path;
        open.exclusive = !options_.shared;
        open.answer = answer_;
        const OpenResult result = openPatiently(*sdk, open, options_.wait.value_or(std::chrono::milliseconds(0)));
        requireOpen(result);
        sdk_ = std::move(sdk);
        output_.nameAdapter(adapter_->selector);
        if (hasAdapter()) {
            note(fmt::format("opened adapter {} at {}", adapter_->selector, adapter_->path));
        }
    }
    return *sdk_;
}

const Adapter& Context::adapter()
{
    sdk();
    return *adapter_;
}

void Context::close()
{
    sdk_.reset();
    settings_.clear();
}

void Context::check(StatusCode status, std::string_view action, std::string_view advice)
{
    throwIfInterrupted();
    if (status == StatusCode::SUCCESS) {
        return;
    }
    ExitStatus exitStatus = ExitStatus::REFUSED;
    std::string remedy(advice);
    switch (status) {
    case StatusCode::NO_RESPONSE:
        exitStatus = ExitStatus::NO_ANSWER;
        remedy = fmt::format("no answer within {} ms: raise --timeout or replug the adapter", options_.timeout.count());
        break;
    case StatusCode::ADAPTER_LOST:
        exitStatus = ExitStatus::ADAPTER_LOST;
        remedy = "the adapter has left the USB bus: plug it back in";
        break;
    case StatusCode::NOT_CONNECTED:
        exitStatus = ExitStatus::ADAPTER_LOST;
        remedy = "the connection to the adapter is closed: plug it back in";
        break;
    case StatusCode::INVALID_ARGUMENT:
        exitStatus = ExitStatus::USAGE;
        break;
    case StatusCode::UNEXPECTED_RESPONSE:
    case StatusCode::RESPONSE_TOO_SHORT:
        remedy = "the adapter sent an invalid answer: retry or run 'tarvix reset'";
        break;
    default:
        if (const DeviceStatusInfo* const info = findDeviceStatus(status); info != nullptr && remedy.empty()) {
            remedy = info->advice;
        } else if (remedy.empty()) {
            remedy = "the adapter refused the command: check its arguments, the wiring and 'tarvix rail show'";
        }
    }
    const NamedStatus named{nameOf(status), static_cast<unsigned>(status)};
    throw CommandFailed(exitStatus, named, fmt::format("{}: {} (0x{:04X})", action, named.name, named.number),
                        std::move(remedy));
}

void Context::checkTransfer(StatusCode status, std::string_view action, std::string_view advice)
{
    check(status, action, isStatus(status, DeviceStatus::NACK) ? advice : std::string_view{});
}

void Context::setUp(const std::string& controller, const std::string& settings,
                    const std::function<StatusCode(TarvixSDK&)>& initialise)
{
    TarvixSDK& adapter = sdk();
    const auto known = settings_.find(controller);
    if (known != settings_.end() && known->second == settings) {
        return;
    }
    settings_.erase(controller);
    check(initialise(adapter), fmt::format("setting up {}", controller));
    settings_[controller] = settings;
    note(fmt::format("set up {}: {}", controller, settings));
}

void Context::note(std::string_view text) const
{
    if (options_.verbose) {
        terminal::tell(fmt::format("tarvix: {}", text));
    }
}

} // namespace tool
