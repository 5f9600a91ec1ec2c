#include "transport/hid_transport.hpp"

#include <algorithm>
#include <chrono>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string_view>
#include <system_error>

#include <hidapi.h>
#include <pthread.h>
#include <signal.h>

namespace {

constexpr int READ_TIMEOUT_MS = 100;

// A failing read is tried again after a pause that doubles up to the length of a read: a passing hiccup costs next to
// nothing, and an unplugged adapter costs ten calls a second.
constexpr std::chrono::milliseconds FIRST_PAUSE{1};
constexpr std::chrono::milliseconds LONGEST_PAUSE{READ_TIMEOUT_MS};

// hidapi keeps state of the whole process (its error string, its udev context) without a lock of its own; sessions may
// be opened and closed on several threads.
std::mutex& hidapiMutex()
{
    static std::mutex mutex;
    return mutex;
}

std::string toUtf8(std::wstring_view text)
{
    std::string bytes;
    for (const wchar_t character : text) {
        const auto code = static_cast<char32_t>(character);
        if (code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF)) {
            throw std::range_error("bad conversion");
        }
        if (code < 0x80) {
            bytes += static_cast<char>(code);
            continue;
        }
        const int continuations = code < 0x800 ? 1 : code < 0x10000 ? 2 : 3;
        bytes += static_cast<char>(0xFF00U >> (continuations + 1) | code >> 6 * continuations);
        for (int shift = 6 * (continuations - 1); shift >= 0; shift -= 6) {
            bytes += static_cast<char>(0x80U | (code >> shift & 0x3FU));
        }
    }
    return bytes;
}

const DeviceKind* findKind(const hid_device_info& info)
{
    const auto* const kind = std::find_if(DEVICE_CATALOGUE.begin(), DEVICE_CATALOGUE.end(), [&](const DeviceKind& row) {
        return row.vendorId == info.vendor_id && row.productId == info.product_id;
    });
    return kind == DEVICE_CATALOGUE.end() ? nullptr : kind;
}

struct Found {
    const DeviceKind* kind;
    std::string path;
};

std::optional<Found> findDevice(const std::string& path, const std::string& serial)
{
    const std::unique_ptr<hid_device_info, void (*)(hid_device_info*)> devices(hid_enumerate(0, 0),
                                                                               hid_free_enumeration);
    for (const hid_device_info* info = devices.get(); info != nullptr; info = info->next) {
        if (!serial.empty() && (info->serial_number == nullptr || toUtf8(info->serial_number) != serial)) {
            continue;
        }
        const DeviceKind* const kind = findKind(*info);
        if (kind != nullptr && (path.empty() || path == info->path)) {
            return Found{kind, info->path};
        }
    }
    return std::nullopt;
}

// Signals belong to the application's own threads; one that landed here would fail a read with EINTR.
class AllSignalsBlocked {
public:
    AllSignalsBlocked()
    {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &before_);
    }
    ~AllSignalsBlocked() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
    AllSignalsBlocked(const AllSignalsBlocked&) = delete;
    AllSignalsBlocked& operator=(const AllSignalsBlocked&) = delete;

private:
    sigset_t before_;
};

} // namespace

HidTransport::HidTransport(ReportHandler onReport) : onReport_(std::move(onReport))
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
    if (device_ != nullptr) {
        return true;
    }
    const std::lock_guard lock(hidapiMutex());
    const std::optional<Found> found = findDevice(path, serial);
    if (!found) {
        return false;
    }
    std::unique_ptr<hid_device_, void (*)(hid_device_*)> device(hid_open_path(found->path.c_str()), hid_close);
    if (!device) {
        return false;
    }
    outgoing_.assign(found->kind->reportSize + 1, 0); // byte 0 is the report ID, always 0
    kind_ = found->kind;
    failing_ = false;
    running_ = true;
    device_ = device.get();
    try {
        const AllSignalsBlocked inherited;
        reader_ = std::thread([this] { readReports(); });
    } catch (...) {
        device_ = nullptr;
        kind_ = nullptr;
        throw;
    }
    static_cast<void>(device.release());
    return true;
}

void HidTransport::close()
{
    if (device_ == nullptr) {
        return;
    }
    {
        const std::lock_guard lock(pauseMutex_);
        running_ = false;
    }
    pause_.notify_one();
    // join() alone leaves this to the C library, which ThreadSanitizer stands in for.
    if (reader_.get_id() == std::this_thread::get_id()) {
        throw std::system_error(std::make_error_code(std::errc::resource_deadlock_would_occur));
    }
    reader_.join();
    const std::unique_lock alone(callMutex_);
    hid_close(device_);
    device_ = nullptr;
    kind_ = nullptr;
}

bool HidTransport::write()
{
    return guarded([this] {
               return device_ == nullptr ? -1 : hid_write(device_, outgoing_.data(), outgoing_.size());
           }) >= 0;
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
            const int result = call();
            if (result < 0) {
                failing_ = true;
            }
            return result;
        }
    }
    const std::unique_lock alone(callMutex_);
    const int result = call();
    failing_ = result < 0;
    return result;
}

void HidTransport::readReports()
{
    // One buffer for the life of the thread, never cleared: behind a short report stand bytes of an earlier one, which
    // is harmless, for the segment header says how many count.
    std::vector<std::uint8_t> report(kind_->reportSize);
    auto pause = FIRST_PAUSE;
    while (running_) {
        const int result =
            guarded([&] { return hid_read_timeout(device_, report.data(), report.size(), READ_TIMEOUT_MS); });
        if (result >= 0) {
            pause = FIRST_PAUSE;
            if (result > 0) {
                onReport_(report);
            }
            continue;
        }
        std::unique_lock lock(pauseMutex_);
        pause_.wait_for(lock, pause, [this] { return !running_; });
        pause = std::min(2 * pause, LONGEST_PAUSE);
    }
}
