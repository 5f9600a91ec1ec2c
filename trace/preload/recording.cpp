#include "trace/preload/recording.hpp"

#include <algorithm>
#include <array>
#include <atomic>
#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

#include "trace/preload/note.hpp"
#include "trace/preload/system.hpp"

namespace recorder {

namespace {

constexpr int NOT_YET = -1;
constexpr int NEVER = -2;
constexpr int LEAST_DESCRIPTOR = 900; // away from those that programs count on

constinit std::array<char, PATH_MAX> path{}; // empty for no recording
constinit std::atomic<int> file{NOT_YET};
constinit std::atomic<dev_t> fileDevice{0};
constinit std::atomic<ino_t> fileNumber{0};
constinit std::atomic<rlim_t> largestFile{RLIM_INFINITY};
constinit std::atomic<std::uint32_t> transfers{0};

// Told with the program's name, because others may go on.
int giveUp(const char* what, const char* why)
{
    if (file.exchange(NEVER) != NEVER) {
        std::array<char, PATH_MAX + 256> line{};
        const int size = std::snprintf(line.data(), line.size(), "tarvix trace: %s %s: %s; '%s' goes on unrecorded\n",
                                       what, path.data(), why, ::program_invocation_short_name);
        next::write.get()(STDERR_FILENO, line.data(), std::min(static_cast<std::size_t>(size), line.size() - 1));
    }
    return NEVER;
}

// Made absolute, because the program may go elsewhere.
__attribute__((constructor)) void findFile()
{
    const char* const given = std::getenv(FILE_VARIABLE);
    if (!given || !*given) {
        return;
    }
    std::array<char, PATH_MAX> directory{};
    const bool relative = *given != '/' && ::getcwd(directory.data(), directory.size());
    const int size =
        std::snprintf(path.data(), path.size(), "%s%s%s", relative ? directory.data() : "", relative ? "/" : "", given);
    if (static_cast<std::size_t>(size) >= path.size()) {
        giveUp("cannot open", ::strerrordesc_np(ENAMETOOLONG));
    }
}

bool isCapture(int descriptor)
{
    FileHeader header{};
    return ::pread(descriptor, &header, sizeof header, 0) == sizeof header && header.magic == FILE_HEADER.magic &&
           header.linkType == FILE_HEADER.linkType;
}

// Gives an empty file its header, once, whoever else is about to do the same.
bool begin(int descriptor)
{
    struct stat status {};
    ::flock(descriptor, LOCK_EX);
    const bool begun =
        ::fstat(descriptor, &status) == 0 &&
        (status.st_size > 0 || next::write.get()(descriptor, &FILE_HEADER, sizeof FILE_HEADER) == sizeof FILE_HEADER);
    ::flock(descriptor, LOCK_UN);
    return begun;
}

// Only what a write to it cannot stop or end the program.
bool isFile(const struct stat& status)
{
    return S_ISREG(status.st_mode) || S_ISCHR(status.st_mode);
}

int openFile()
{
    const int low = preload::nextOpen.get()(path.data(), O_RDWR | O_APPEND | O_CREAT | O_CLOEXEC | O_NONBLOCK, 0666);
    if (low < 0) {
        return giveUp("cannot open", ::strerrordesc_np(errno));
    }
    const int high = ::fcntl(low, F_DUPFD_CLOEXEC, LEAST_DESCRIPTOR);
    const int descriptor = high < 0 ? low : high;
    if (high >= 0) {
        next::close.get()(low);
    }
    struct stat status {};
    rlimit limit{};
    if (::fstat(descriptor, &status) != 0 || !isFile(status)) {
        next::close.get()(descriptor);
        return giveUp("cannot write", "it is not a file");
    }
    if (!begin(descriptor)) {
        return giveUp("cannot write", ::strerrordesc_np(errno));
    }
    if (S_ISREG(status.st_mode) && !isCapture(descriptor)) {
        next::close.get()(descriptor);
        return giveUp("cannot add to", "it is not a capture of tarvix trace");
    }
    ::getrlimit(RLIMIT_FSIZE, &limit);
    largestFile = limit.rlim_cur;
    fileDevice = status.st_dev;
    fileNumber = status.st_ino;
    int before = NOT_YET;
    if (!file.compare_exchange_strong(before, descriptor)) { // another thread was faster
        next::close.get()(descriptor);
        return before;
    }
    return descriptor;
}

// The file's descriptor if it has room for so many bytes; below 0 for none. A program may have closed all descriptors
// that it did not know, and have given the number to a file of its own.
int fileFor(std::size_t size)
{
    struct stat status {};
    int descriptor = file;
    if (descriptor >= 0 &&
        (::fstat(descriptor, &status) != 0 || status.st_dev != fileDevice || status.st_ino != fileNumber)) {
        file.compare_exchange_strong(descriptor, NOT_YET);
        descriptor = NOT_YET;
    }
    if (descriptor == NOT_YET) {
        descriptor = openFile();
        ::fstat(descriptor, &status);
    }
    // Past that a write would end the program.
    return descriptor >= 0 && static_cast<rlim_t>(status.st_size) + size > largestFile
               ? giveUp("cannot write", ::strerrordesc_np(EFBIG))
               : descriptor;
}

// Takes the beginning of a record away again, unless somebody has written behind it.
void cutOff(int descriptor, ssize_t written)
{
    struct stat status {};
    const off_t end = ::lseek(descriptor, 0, SEEK_CUR);
    if (written > 0 && ::fstat(descriptor, &status) == 0 && status.st_size == end) {
        [[maybe_unused]] const int done = ::ftruncate(descriptor, end - written);
    }
}

UsbHeader headerOf(const Adapter& adapter, std::uint64_t transfer, std::uint8_t event, std::uint8_t type,
                   std::uint8_t endpoint)
{
    UsbHeader header{};
    header.id = transfer;
    header.event = event;
    header.transfer = type;
    header.endpoint = endpoint;
    header.device = adapter.device;
    header.bus = adapter.bus;
    header.setupFlag = NO_SETUP;
    header.dataFlag = endpoint & CONTROL_IN ? NO_DATA_IN : NO_DATA_OUT;
    header.status = event == SUBMITTED ? IN_PROGRESS : 0;
    header.startFrame = adapter.handle;
    return header;
}

// With one write, so that no other process comes between its parts.
void append(UsbHeader usb, const void* data, std::size_t size)
{
    const std::size_t captured = std::min<std::size_t>(size, LONGEST_DATA);
    if (captured > 0) {
        usb.dataFlag = 0;
        usb.captured = static_cast<std::uint32_t>(captured);
    }
    usb.length = std::max(usb.length, static_cast<std::uint32_t>(size));
    struct {
        RecordHeader record;
        UsbHeader usb;
    } head{{}, usb};
    const auto whole = static_cast<ssize_t>(sizeof head + captured);
    const int descriptor = fileFor(static_cast<std::size_t>(whole));
    if (descriptor < 0) {
        return;
    }
    timespec wall{};
    timespec steady{};
    ::clock_gettime(CLOCK_REALTIME, &wall);
    ::clock_gettime(CLOCK_MONOTONIC, &steady);
    head.record = {static_cast<std::uint32_t>(wall.tv_sec), static_cast<std::uint32_t>(wall.tv_nsec),
                   static_cast<std::uint32_t>(sizeof usb + captured), static_cast<std::uint32_t>(sizeof usb + size)};
    head.usb.seconds = steady.tv_sec;
    head.usb.microseconds = static_cast<std::int32_t>(steady.tv_nsec / 1000);
    const iovec parts[] = {{&head, sizeof head}, {const_cast<void*>(data), captured}};
    const ssize_t written = ::writev(descriptor, parts, 2);
    if (written != whole) {
        const int error = written < 0 ? errno : ENOSPC;
        cutOff(descriptor, written);
        giveUp("cannot write", ::strerrordesc_np(error));
    }
}

// A number that no other transfer has.
std::uint64_t nextTransfer()
{
    return static_cast<std::uint64_t>(::getpid()) << 32 | ++transfers;
}

// Both halves of a control transfer from the adapter.
void appendControlIn(const Adapter& adapter, const std::array<std::uint8_t, 8>& setup, const void* data,
                     std::size_t size)
{
    const std::uint64_t transfer = nextTransfer();
    UsbHeader asked = headerOf(adapter, transfer, SUBMITTED, CONTROL, CONTROL_IN);
    asked.setupFlag = 0;
    std::ranges::copy(setup, asked.setup);
    asked.length = setup[6];
    append(asked, nullptr, 0);
    append(headerOf(adapter, transfer, COMPLETED, CONTROL, CONTROL_IN), data, size);
}

void appendDescriptors(const Adapter& adapter)
{
    const auto low = [](std::uint16_t value) { return static_cast<std::uint8_t>(value & 0xFF); };
    const auto high = [](std::uint16_t value) { return static_cast<std::uint8_t>(value >> 8); };
    const std::uint8_t device[] = {
        18,
        1,
        0x00, // a device descriptor
        2,
        0,
        0, // of USB 2.0
        0,
        64, // classes are the interfaces', 64 bytes in packets of endpoint 0
        low(adapter.vendor),
        high(adapter.vendor),
        low(adapter.product),
        high(adapter.product),
        0x00,
        1,
        1,
        2, // release 1.0, strings of manufacturer and product
        3,
        1, // of serial number; one configuration
    };
    static_assert(sizeof device == 18);
    appendControlIn(adapter, {0x80, 6, 0, 1, 0, 0, 18, 0}, device, sizeof device);
    std::array<std::uint8_t, 255> serial{};
    const std::size_t size = stringDescriptor(adapter.serial, serial);
    appendControlIn(adapter, {0x80, 6, 3, 3, 0x09, 0x04, 255, 0}, serial.data(), size);
}

void appendNote(const Adapter& adapter, const Note& note)
{
    UsbHeader header = headerOf(adapter, nextTransfer(), SUBMITTED, CONTROL, CONTROL_OUT);
    header.setupFlag = 0;
    header.setup[0] = NOTE_TYPE;
    header.setup[1] = NOTE_REQUEST;
    header.setup[6] = static_cast<std::uint8_t>(note.text().size() & 0xFF);
    header.setup[7] = static_cast<std::uint8_t>(note.text().size() >> 8);
    append(header, note.text().data(), note.text().size());
}

Note noteOf(const char* kind, const Adapter& adapter)
{
    Note note(kind);
    note.add("path", adapter.path).add("serial", adapter.serial);
    return note.add("process", static_cast<unsigned>(::getpid())).add("program", ::program_invocation_short_name);
}

} // namespace

bool records()
{
    return path[0] != '\0' && file != NEVER;
}

std::uint64_t recordOutput(const Adapter& adapter, const void* data, std::size_t size)
{
    const Unnoticed unnoticed;
    const auto* const report = static_cast<const std::uint8_t*>(data);
    const std::size_t numbered = report[0] != 0 ? 0 : 1;
    const std::uint64_t transfer = nextTransfer();
    append(headerOf(adapter, transfer, SUBMITTED, INTERRUPT, REPORT_OUT), report + numbered, size - numbered);
    return transfer;
}

void recordCompletion(const Adapter& adapter, std::uint64_t transfer, int error, std::size_t size)
{
    const Unnoticed unnoticed;
    UsbHeader header = headerOf(adapter, transfer, COMPLETED, INTERRUPT, REPORT_OUT);
    header.status = -error;
    header.length = static_cast<std::uint32_t>(size);
    append(header, nullptr, 0);
}

void recordInput(const Adapter& adapter, int error, const void* data, std::size_t size)
{
    const Unnoticed unnoticed;
    UsbHeader header = headerOf(adapter, nextTransfer(), COMPLETED, INTERRUPT, REPORT_IN);
    header.status = -error;
    append(header, data, size);
}

void recordOpening(const Adapter& adapter)
{
    const Unnoticed unnoticed;
    appendDescriptors(adapter);
    appendNote(adapter, noteOf(NOTE_OPEN, adapter));
}

void recordClosing(const Adapter& adapter)
{
    const Unnoticed unnoticed;
    appendNote(adapter, noteOf(NOTE_CLOSE, adapter));
}

void recordFailedOpening(const Adapter& adapter, const char* error)
{
    const Unnoticed unnoticed;
    appendNote(adapter, noteOf(NOTE_ERROR, adapter).add("doing", "open").add("error", error));
}

} // namespace recorder
