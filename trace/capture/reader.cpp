#include "trace/capture/reader.hpp"

#include <algorithm>
#include <cerrno>
#include <string_view>
#include <system_error>

#include <fmt/format.h>
#include <pcap/pcap.h>

namespace trace {

namespace {

constexpr const char* ADVICE = "record with 'tarvix trace', or the kernel's traffic with 'tcpdump -i usbmon0 -w FILE'";

std::FILE* opened(const std::string& path)
{
    std::FILE* const file = path == "-" ? stdin : std::fopen(path.c_str(), "rbe");
    if (file == nullptr) {
        throw CaptureError(fmt::format("{}: {}", path, std::generic_category().message(errno)));
    }
    return file;
}

// Takes the file over, also when it fails.
pcap_t* openedCapture(std::FILE* file, const std::string& name)
{
    const int first = std::getc(file);
    if (first == EOF) {
        const bool unreadable = std::ferror(file) != 0;
        const std::string reason = unreadable ? std::generic_category().message(errno) : "an empty file";
        std::fclose(file);
        throw CaptureError(fmt::format("{}: {}", name, reason), unreadable ? "" : ADVICE);
    }
    std::ungetc(first, file);
    char error[PCAP_ERRBUF_SIZE] = "";
    pcap_t* const capture = pcap_fopen_offline_with_tstamp_precision(file, PCAP_TSTAMP_PRECISION_NANO, error);
    if (capture == nullptr) {
        std::fclose(file);
        throw CaptureError(fmt::format("{}: not a capture file ({})", name, error), ADVICE);
    }
    return capture;
}

std::string linkName(int linkType)
{
    const char* const description = pcap_datalink_val_to_description(linkType);
    return description != nullptr ? description : fmt::format("link type {}", linkType);
}

} // namespace

CaptureReader::CaptureReader(const std::string& path)
    : CaptureReader(opened(path), path == "-" ? "standard input" : path)
{
}

CaptureReader::CaptureReader(std::FILE* file, std::string name)
    : name_(std::move(name)), capture_(openedCapture(file, name_), pcap_close), linkType_(pcap_datalink(capture_.get()))
{
    if (linkType_ != LINK_USB_LINUX && linkType_ != LINK_USB_LINUX_MMAPPED) {
        throw CaptureError(fmt::format("{}: a capture of another kind: {}", name_, linkName(linkType_)), ADVICE);
    }
}

CaptureReader::~CaptureReader() = default;

bool CaptureReader::next(Record& record)
{
    while (true) {
        pcap_pkthdr* header = nullptr;
        const unsigned char* packet = nullptr;
        const int result = pcap_next_ex(capture_.get(), &header, &packet);
        if (result == PCAP_ERROR_BREAK) {
            std::clearerr(pcap_file(capture_.get()));
            return false;
        }
        if (result < 0) {
            const std::string_view reason = pcap_geterr(capture_.get());
            const bool truncated = reason.find("truncated") != std::string_view::npos;
            throw CaptureError(truncated ? fmt::format("{}: ends in the middle of record {}", name_, count_ + 1)
                                         : fmt::format("{}: damaged after {} records ({})", name_, count_, reason));
        }
        ++count_;
        if (!parseRecord(linkType_, {packet, header->caplen}, header->len, record)) {
            throw CaptureError(fmt::format("{}: damaged: record {} has {} bytes, too few for its header", name_, count_,
                                           header->caplen));
        }
        // With nanoseconds, as asked for, though the field is called otherwise.
        record.time = std::clamp<std::int64_t>(header->ts.tv_sec, 0, MOST_SECONDS) * SECOND + header->ts.tv_usec;
        return true;
    }
}

} // namespace trace
