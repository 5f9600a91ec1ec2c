#include "transport/hid_transport.hpp"

#include <algorithm>
#include <chrono>
#include <fstream>
#include <memory>
#include <system_error>

#include <hidapi.h>
#include <unistd.h>

#include "transport/reader_signals.hpp"

namespace {

constexpr int READ_TIMEOUT_MS = 100;

// How long a strict session's reader waits at first and right after a report, doubling to the full length while nothing
// comes: a session that ends after a command ends at once, and an idle one costs nothing.
constexpr int FIRST_READ_TIMEOUT_MS = 4;

// How long the reader waits right after a failed write: the next write has to wait for it. See guarded().
constexpr int READ_TIMEOUT_AFTER_FAILED_WRITE_MS = 1;

// A failing read is tried again after a pause that doubles up to the length of a read: a passing hiccup costs next to
// nothing, and an unplugged adapter costs ten calls a second.
constexpr std::chrono::milliseconds FIRST_PAUSE{1};
constexpr std::chrono::milliseconds LONGEST_PAUSE{READ_TIMEOUT_MS};

// That many failed reads in a row, 63 ms, are no hiccup: the adapter is lost.
constexpr int FAILURES_OF_A_LOSS = 7;

// As the kernel knows it, without characters that a terminal would obey.
std::string processName(std::int64_t process)
{
    std::ifstream file("/proc/" + std::to_string(process) + "/comm");
    std::string name;
    std::getline(file, name);
    for (char& character : name) {
        if (character < 0x20 || character >= 0x7F) {
            character = '?';
        }
    }
    return name;
}

OpenResult opened(const std::string& path)
{
    return {OpenStatus::OPENED, path, 0, "opened " + path};
}

OpenResult notFound(const OpenOptions& options)
{
    std::string message = "no adapter attached";
    if (!options.path.empty() || !options.serialNumber.empty()) {
        message += options.path.empty() ? "" : " at " + options.path;
        message += options.serialNumber.empty() ? "" : " with serial number " + options.serialNumber;
    }
    return {OpenStatus::NO_ADAPTER, {}, 0, message};
}

OpenResult severalFound(std::size_t count)
{
    return {OpenStatus::SEVERAL_ADAPTERS,
            {},
            0,
            std::to_string(count) + " adapters attached: choose one by path or serial number"};
}

OpenResult inUse(const std::string& path, std::int64_t holder)
{
    std::string message = path + " is in use by another session";
    if (holder != 0) {
        const std::string name = processName(holder);
        message = path + " is in use by process " + std::to_string(holder) + (name.empty() ? "" : " (" + name + ")");
    }
    return {OpenStatus::IN_USE, path, holder, message};
}

OpenResult noPermission(const std::string& path)
{
    return {OpenStatus::NO_PERMISSION, path, 0, "no permission to open " + path};
}

OpenResult failed(const std::string& path)
{
    return {OpenStatus::FAILED, path, 0, "cannot open " + path};
}

} // namespace

HidTransport::HidTransport(ReportHandler onReport, LossHandler onLoss)
    : onReport_(std::move(onReport)), onLoss_(std::move(onLoss))
{
    const std::lock_guard lock(hidapiMutex());
    hid_init();
}

// hid_exit is called for every instance, also while others are open: hidapi counts nothing, and neither does this.
HidTransport::~HidTransport()
{
    close();
    const std::lock_guard lock(hidapiMutex());
    hid_exit();
}

bool HidTransport::open(const std::string& path, const std::string& serial)
{
    const std::lock_guard lock(hidapiMutex());
    const std::optional<FoundDevice> found = findDevice(path, serial);
    return found && start(*found, false);
}

OpenResult HidTransport::open(const OpenOptions& options)
{
    const std::lock_guard lock(hidapiMutex());
    std::vector<AdapterInfo> adapters = enumerateAdapters();
    std::erase_if(adapters, [&](const AdapterInfo& adapter) {
        return (!options.path.empty() && options.path != adapter.path) ||
               (!options.serialNumber.empty() && options.serialNumber != adapter.serialNumber);
    });
    if (adapters.empty()) {
        return notFound(options);
    }
    if (adapters.size() > 1 && options.path.empty() && options.serialNumber.empty()) {
        return severalFound(adapters.size());
    }
    const std::string& path = adapters.front().path;
    NodeLock nodeLock;
    if (options.exclusive) {
        switch (nodeLock.take(path)) {
        case NodeLock::Result::HELD:
        case NodeLock::Result::NO_FILE:
            break;
        case NodeLock::Result::NO_PERMISSION:
            return noPermission(path);
        case NodeLock::Result::IN_USE:
            return inUse(path, nodeLock.holder());
        }
    }
    OpenResult result = opened(path); // before it is true: afterwards nothing may fail
    if (start({adapters.front().reportSize, path}, options.strict)) {
        nodeLock_.swap(nodeLock);
        return result;
    }
    const bool mayNot = ::access(path.c_str(), F_OK) == 0 && ::access(path.c_str(), R_OK | W_OK) != 0;
    return mayNot ? noPermission(path) : failed(path);
}

// False when hidapi cannot open it.
bool HidTransport::start(const FoundDevice& found, bool strict)
{
    std::unique_ptr<hid_device_, void (*)(hid_device_*)> device(hid_open_path(found.path.c_str()), hid_close);
    if (!device) {
        return false;
    }
    path_ = found.path;
    reportSize_ = found.reportSize;
    outgoing_.assign(reportSize_ + 1, 0); // byte 0 is the report ID, always 0
    incoming_.assign(reportSize_, 0);
    strict_ = strict;
    lost_ = false;
    failing_ = false;
    writeFailed_ = false;
    running_ = true;
    home_.moveHere();
    device_ = device.get();
    try {
        const SignalsBlocked inherited;
        reader_ = std::thread([this, signals = inherited.before()] { readReports(signals); });
    } catch (...) {
        device_ = nullptr;
        throw;
    }
    static_cast<void>(device.release());
    return true;
}

void HidTransport::close()
{
    if (!isOpen()) {
        return;
    }
    {
        const std::lock_guard lock(pauseMutex_);
        running_ = false;
    }
    pause_.notify_one();
    // join() alone leaves this to the C library, which ThreadSanitizer stands in for.
    if (isReaderThread()) {
        throw std::system_error(std::make_error_code(std::errc::resource_deadlock_would_occur));
    }
    reader_.join();
    const std::unique_lock alone(callMutex_);
    hid_close(device_.exchange(nullptr));
    nodeLock_.release();
}

bool HidTransport::write()
{
    const int result = guarded([this](hid_device_* device) {
        return device == nullptr ? -1 : hid_write(device, outgoing_.data(), outgoing_.size());
    });
    if (result < 0) {
        writeFailed_ = true;
    }
    return result >= 0;
}

// Every read and write goes through here. hidapi before 0.15 keeps one error string for each device, and a failing
// call stores it and the next call, of either direction, frees it, so two of them at once free it twice. While all is
// well reads and writes run side by side and no string exists; from a failure on each call runs alone, until one
// succeeds. A write that blocks for seconds on a deaf adapter therefore never holds up the reader.
template <typename Call>
int HidTransport::guarded(Call call)
{
    {
        const std::shared_lock sideBySide(callMutex_);
        if (!failing_) {
            const int result = call(device_);
            if (result < 0) {
                failing_ = true;
            }
            return result;
        }
    }
    const std::unique_lock alone(callMutex_);
    const int result = call(device_);
    failing_ = result < 0;
    return result;
}

void HidTransport::readReports(sigset_t applicationSignals) noexcept
{
    setApplicationSignals(applicationSignals);
    reader() = this;
    const int firstTimeout = strict_ ? FIRST_READ_TIMEOUT_MS : READ_TIMEOUT_MS;
    int timeout = firstTimeout;
    int failures = 0; // in a row
    while (running_) {
        if (writeFailed_.exchange(false)) {
            timeout = READ_TIMEOUT_AFTER_FAILED_WRITE_MS;
        }
        // The buffer is never cleared: after a short report come bytes of an earlier one, which is harmless, for the
        // segment header says how many count.
        const int result = guarded(
            [&](hid_device_* device) { return hid_read_timeout(device, incoming_.data(), incoming_.size(), timeout); });
        if (result < 0) {
            if (!pauseAfterFailure(++failures)) {
                return;
            }
            continue;
        }
        failures = 0;
        lost_ = false;
        timeout = std::min(2 * timeout, READ_TIMEOUT_MS);
        if (result > 0) {
            onReport_(incoming_);
            timeout = firstTimeout;
        }
    }
}

// False when there is nothing left to read from.
bool HidTransport::pauseAfterFailure(int failures)
{
    if (failures == FAILURES_OF_A_LOSS) {
        lost_ = true;
        onLoss_();
        if (strict_) {
            return false;
        }
    }
    const auto pause = std::min(FIRST_PAUSE * (1 << std::min(failures - 1, FAILURES_OF_A_LOSS)), LONGEST_PAUSE);
    std::unique_lock lock(pauseMutex_);
    pause_.wait_for(lock, pause, [this] { return !running_; });
    return true;
}

const HidTransport*& HidTransport::reader()
{
    thread_local const HidTransport* transport = nullptr;
    return transport;
}
