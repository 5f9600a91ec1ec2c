#include "adapter/context.hpp"

#include <cerrno>
#include <cstdio>
#include <utility>

#include <fmt/format.h>
#include <unistd.h>

#include "adapter/statuses.hpp"
#include "console/errors.hpp"
#include "console/interrupt.hpp"

namespace tool {

namespace {

// The library says only that an adapter could not be opened; the device node says why.
[[noreturn]] void throwOpenFailure(const Adapter& adapter)
{
    const std::string what = fmt::format("cannot open {}", adapter.path);
    if (access(adapter.path.c_str(), R_OK | W_OK) != 0 && (errno == EACCES || errno == EPERM)) {
        throw Failure(ExitStatus::NO_PERMISSION, what + ": no permission", PERMISSION_ADVICE);
    }
    if (!isListed(adapter.path)) {
        throw Failure(ExitStatus::ADAPTER_LOST, what + ": the adapter is gone", "plug it in again");
    }
    throw Failure(ExitStatus::REFUSED, what, "see 'tarvix doctor': another program may hold it");
}

} // namespace

Context::Context(GlobalOptions options) : options_(std::move(options)), output_(options_.json) {}

TarvixSDK& Context::sdk()
{
    throwIfInterrupted();
    if (!sdk_) {
        // Always a path, so that exactly the chosen adapter is opened whatever else carries its serial number.
        adapter_ = chooseAdapter(options_.adapter);
        auto sdk = std::make_unique<TarvixSDK>(options_.timeoutMs);
        if (!sdk->connect(adapter_->path)) {
            throwOpenFailure(*adapter_);
        }
        sdk_ = std::move(sdk);
        note(fmt::format("opened adapter {} at {}", adapter_->selector, adapter_->path));
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
        if (adapter_ && isListed(adapter_->path)) {
            exitStatus = ExitStatus::NO_ANSWER;
            remedy = fmt::format("nothing came within {} ms: raise --timeout, or plug the adapter in again",
                                 options_.timeoutMs);
        } else {
            exitStatus = ExitStatus::ADAPTER_LOST;
            remedy = "the adapter left the bus: plug it in again";
        }
        break;
    case StatusCode::NOT_CONNECTED:
        exitStatus = ExitStatus::ADAPTER_LOST;
        remedy = "the adapter is not open: plug it in again";
        break;
    case StatusCode::INVALID_ARGUMENT:
        exitStatus = ExitStatus::USAGE;
        break;
    case StatusCode::UNEXPECTED_RESPONSE:
    case StatusCode::RESPONSE_TOO_SHORT:
        remedy = "the adapter's answer makes no sense: repeat the command, or run 'tarvix reset'";
        break;
    default:
        if (const DeviceStatusInfo* const info = findDeviceStatus(status); info != nullptr && remedy.empty()) {
            remedy = info->advice;
        } else if (remedy.empty()) {
            remedy = "the adapter refused: check the arguments, the wiring and 'tarvix rail show'";
        }
    }
    const NamedStatus named{nameOf(status), static_cast<unsigned>(status)};
    throw CommandFailed(exitStatus, named, fmt::format("{}: {} (0x{:04X})", action, named.name, named.number),
                        std::move(remedy));
}

void Context::checkTransfer(StatusCode status, std::string_view action, std::string_view advice)
{
    check(status, action, isStatus(status, "NACK") ? advice : std::string_view{});
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
        fmt::print(stderr, "tarvix: {}\n", text);
    }
}

} // namespace tool
