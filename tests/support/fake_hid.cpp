#include "support/fake_hid.hpp"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <cwchar>

#include <hidapi.h>

struct hid_device_ {
    std::shared_ptr<fake_hid::Device> device;
};

namespace fake_hid {

namespace {

constexpr std::chrono::seconds LIMIT{30};
constexpr std::chrono::milliseconds LINGER{50};

thread_local bool reader = false;
thread_local bool inside = false;

// A call of one of hidapi's functions for the whole process.
class ProcessCall {
public:
    ProcessCall()
    {
        std::unique_lock lock(mutex);
        bus().overlaps += running++ > 0 ? 1 : 0;
        changed.notify_all();
        if (bus().lingers) {
            changed.wait_for(lock, LINGER, [] { return running > 1; });
        }
        inside = true;
    }
    ~ProcessCall()
    {
        inside = false;
        const std::lock_guard lock(mutex);
        --running;
    }
    ProcessCall(const ProcessCall&) = delete;
    ProcessCall& operator=(const ProcessCall&) = delete;

private:
    static inline std::mutex mutex;
    static inline std::condition_variable changed;
    static inline int running = 0;
};

} // namespace

// One hidapi call of this device, and what it does to the device's error string.
template <typename Body>
int Device::call(Body body)
{
    std::unique_lock lock(mutex_);
    overlaps_ += running_++ > 0 && errorStored_ ? 1 : 0;
    inside = true;
    const int result = body(lock);
    inside = false;
    errorStored_ = result < 0;
    --running_;
    changed_.notify_all();
    return result;
}

Device::Device(Entry entry) : entry_(std::move(entry)) {}

void Device::deliverReport(Bytes report)
{
    const std::lock_guard lock(mutex_);
    input_.push_back(std::move(report));
    idle_ = false;
    changed_.notify_all();
}

void Device::deliverFrame(const Bytes& frame)
{
    const std::lock_guard lock(mutex_);
    for (Bytes& report : cut(frame)) {
        deliverReport(std::move(report));
    }
}

std::vector<Bytes> Device::cut(const Bytes& frame) const
{
    const std::size_t capacity = reportSize() - 2;
    std::vector<Bytes> reports;
    for (std::size_t begin = 0; begin == 0 || begin < frame.size(); begin += capacity) {
        const std::size_t end = std::min(begin + capacity, frame.size());
        const std::size_t header = (end - begin) << 2 | (begin == 0 ? 1U : 0U) | (end == frame.size() ? 2U : 0U);
        const Bytes head{static_cast<std::uint8_t>(header), static_cast<std::uint8_t>(header >> 8)};
        reports.push_back(padded(head + part(frame, begin, end), reportSize()));
    }
    return reports;
}

void Device::forget()
{
    const std::lock_guard lock(mutex_);
    reports_.clear();
    frames_.clear();
    reads_ = 0;
    readTimeouts_ = 0;
}

bool Device::waitUntil(const std::function<bool(const Device&)>& condition) const
{
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, LIMIT, [&] { return condition(*this); });
}

void Device::enter() const
{
    if (forbidden_) {
        std::fputs("a forbidden device is used\n", stderr);
        std::_Exit(1);
    }
}

int Device::write(const std::uint8_t* data, std::size_t length)
{
    return call([&](auto& lock) {
        if (holdWrites_) {
            ++heldWrites_;
            changed_.notify_all();
            changed_.wait(lock, [this] { return !holdWrites_; });
        }
        const bool failing = failingWrite_ > 0 && --failingWrite_ == 0;
        if (unplugged_ || failWrites_ || failing) {
            ++failedWrites_;
            return -1;
        }
        reports_.emplace_back(data, data + length);
        const unsigned header = data[1] | static_cast<unsigned>(data[2]) << 8;
        if ((header & 1U) != 0) {
            partial_.clear();
        }
        const std::size_t count = std::min<std::size_t>(header >> 2 & 0x3FF, length - 3);
        partial_.insert(partial_.end(), data + 3, data + 3 + count);
        if ((header & 2U) != 0) {
            frames_.push_back(partial_);
            changed_.notify_all();
            if (handler_) {
                handler_(partial_);
            }
        }
        return static_cast<int>(shortenWrites_ ? length / 2 : length);
    });
}

int Device::read(std::uint8_t* data, std::size_t length, std::chrono::milliseconds timeout)
{
    return call([&](auto& lock) {
        ++reads_;
        readTimeouts_ += static_cast<int>(timeout.count());
        reader = true;
        pthread_sigmask(SIG_BLOCK, nullptr, &readerSignals_);
        idle_ = input_.empty();
        changed_.notify_all();
        changed_.wait_for(lock, timeout, [&] { return unplugged_ || failingReads_ > 0 || !input_.empty(); });
        idle_ = false;
        if (unplugged_ || failingReads_ > 0) {
            failingReads_ -= failingReads_ > 0 ? 1 : 0;
            ++failedReads_;
            return -1;
        }
        if (input_.empty()) {
            return 0;
        }
        const Bytes report = std::move(input_.front());
        input_.pop_front();
        std::copy_n(report.begin(), std::min(length, report.size()), data);
        return static_cast<int>(std::min(length, report.size()));
    });
}

bool isInside()
{
    return inside;
}

bool onReaderThread()
{
    return reader && !inside;
}

Bus& bus()
{
    static Bus bus;
    return bus;
}

void reset()
{
    bus() = Bus{};
}

std::shared_ptr<Device> attach(Entry entry)
{
    return bus().devices.emplace_back(std::make_shared<Device>(std::move(entry)));
}

} // namespace fake_hid

int hid_init()
{
    const fake_hid::ProcessCall call;
    ++fake_hid::bus().inits;
    return 0;
}

int hid_exit()
{
    const fake_hid::ProcessCall call;
    ++fake_hid::bus().exits;
    return 0;
}

hid_device_info* hid_enumerate(unsigned short vendor_id, unsigned short product_id)
{
    const fake_hid::ProcessCall call;
    hid_device_info* first = nullptr;
    hid_device_info** next = &first;
    for (const auto& device : fake_hid::bus().devices) {
        const fake_hid::Entry& entry = device->entry();
        if ((vendor_id != 0 && vendor_id != entry.vendorId) || (product_id != 0 && product_id != entry.productId)) {
            continue;
        }
        auto info = std::make_unique<hid_device_info>();
        info->path = entry.path.empty() ? nullptr : strdup(entry.path.c_str());
        info->vendor_id = entry.vendorId;
        info->product_id = entry.productId;
        info->serial_number = entry.serial ? wcsdup(entry.serial->c_str()) : nullptr;
        *next = info.release();
        next = &(*next)->next;
    }
    fake_hid::bus().enumerations += first != nullptr ? 1 : 0;
    return first;
}

void hid_free_enumeration(hid_device_info* devs)
{
    fake_hid::bus().enumerations -= devs != nullptr ? 1 : 0;
    while (devs != nullptr) {
        const std::unique_ptr<hid_device_info> info(devs);
        devs = info->next;
        free(info->path);
        free(info->serial_number);
    }
}

hid_device* hid_open_path(const char* path)
{
    const fake_hid::ProcessCall call;
    for (const auto& device : fake_hid::bus().devices) {
        if (device->entry().path == path && device->entry().openable) {
            device->opened();
            return new hid_device_{device};
        }
    }
    return nullptr;
}

void hid_close(hid_device* dev)
{
    dev->device->enter();
    dev->device->closed();
    delete dev;
}

int hid_write(hid_device* dev, const unsigned char* data, size_t length)
{
    dev->device->enter();
    return dev->device->write(data, length);
}

int hid_read_timeout(hid_device* dev, unsigned char* data, size_t length, int milliseconds)
{
    dev->device->enter();
    return dev->device->read(data, length, std::chrono::milliseconds(milliseconds));
}
