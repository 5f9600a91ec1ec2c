// What a capture file is made of: the classic pcap format with time stamps in nanoseconds and records as Linux' usbmon
// makes them, so that the world's tools read it. All in the byte order of the machine that wrote it.
//
// Included by the recorder, which is preloaded into programs of any kind: nothing here needs a library.
#pragma once

#include <cstddef>
#include <cstdint>

namespace trace {

// Of the file.
struct FileHeader {
    std::uint32_t magic;
    std::uint16_t majorVersion;
    std::uint16_t minorVersion;
    std::uint32_t zone;     // 0: times are UTC
    std::uint32_t accuracy; // 0
    std::uint32_t snapshotLength;
    std::uint32_t linkType;
};
static_assert(sizeof(FileHeader) == 24);

inline constexpr std::uint32_t LONGEST_DATA = 64 * 1024; // of a record; hidraw takes 16 KiB
inline constexpr FileHeader FILE_HEADER{
    .magic = 0xA1B23C4D, // nanoseconds
    .majorVersion = 2,
    .minorVersion = 4,
    .zone = 0,
    .accuracy = 0,
    .snapshotLength = 64 + LONGEST_DATA,
    .linkType = 220, // DLT_USB_LINUX_MMAPPED
};

// Of each record, before the UsbHeader. The time is the wall clock's.
struct RecordHeader {
    std::uint32_t seconds;
    std::uint32_t nanoseconds;
    std::uint32_t captured; // bytes that follow
    std::uint32_t original; // bytes that there were
};
static_assert(sizeof(RecordHeader) == 16);

// usbmon's. Ours has the monotonic clock's time, for differences; the kernel's has the wall clock's here, too.
struct UsbHeader {
    std::uint64_t id; // the same in the submission of a transfer and in its completion
    std::uint8_t event;
    std::uint8_t transfer;
    std::uint8_t endpoint;
    std::uint8_t device;
    std::uint16_t bus;
    char setupFlag; // 0 if there is a setup packet
    char dataFlag;  // 0 if there is data
    std::int64_t seconds;
    std::int32_t microseconds;
    std::int32_t status; // 0 or a negative error number
    std::uint32_t length;
    std::uint32_t captured; // bytes of data that follow
    std::uint8_t setup[8];
    std::int32_t interval;
    std::int32_t startFrame; // ours: which of the program's handles
    std::uint32_t flags;
    std::uint32_t descriptors;
};
static_assert(sizeof(UsbHeader) == 64);

inline constexpr std::uint8_t SUBMITTED = 'S';
inline constexpr std::uint8_t COMPLETED = 'C';
inline constexpr std::uint8_t NOT_SUBMITTED = 'E';

inline constexpr std::uint8_t INTERRUPT = 1;
inline constexpr std::uint8_t CONTROL = 2;

inline constexpr std::uint8_t CONTROL_OUT = 0x00;
inline constexpr std::uint8_t CONTROL_IN = 0x80;
inline constexpr std::uint8_t REPORT_OUT = 0x01; // endpoints of the adapter
inline constexpr std::uint8_t REPORT_IN = 0x81;

inline constexpr char NO_SETUP = '-';
inline constexpr char NO_DATA_IN = '<';
inline constexpr char NO_DATA_OUT = '>';

inline constexpr std::int32_t IN_PROGRESS = -115; // status of a submission

// A submitted control transfer to the device that never travelled: its data is one line of JSON, which says what the
// bus does not. Setup packet: NOTE_TYPE, NOTE_REQUEST, zeros, and the length of the data.
inline constexpr std::uint8_t NOTE_TYPE = 0x40; // out, vendor, device
inline constexpr std::uint8_t NOTE_REQUEST = 'T';

// The kinds of a note, its member "note". Every note has "process" and "program" of who wrote it, "path", and "serial"
// if that is known.
inline constexpr const char* NOTE_OPEN = "open";
inline constexpr const char* NOTE_CLOSE = "close";
inline constexpr const char* NOTE_ERROR = "error"; // with "doing": open, read or write; and "error", its text

// The adapters of which there are records.
inline constexpr std::uint16_t VENDOR_ID = 0x1FC9;
inline constexpr bool isAdapter(std::uint16_t vendor, std::uint16_t product)
{
    return vendor == VENDOR_ID && (product == 0x82FC || product == 0x82FD);
}

} // namespace trace
