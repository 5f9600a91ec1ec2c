// Reads capture files, ours and the kernel's, in all formats that libpcap knows.
#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>

#include "trace/capture/record.hpp"

struct pcap;

namespace trace {

// What is wrong with a file. What was read from it before is good.
class CaptureError : public std::runtime_error {
public:
    explicit CaptureError(const std::string& message, std::string advice = {})
        : std::runtime_error(message), advice_(std::move(advice))
    {
    }
    const std::string& advice() const { return advice_; }

private:
    std::string advice_;
};

class CaptureReader {
public:
    // "-" is standard input. Throws CaptureError when there is no such file, or it is no capture of USB traffic.
    explicit CaptureReader(const std::string& path);
    // Takes `file` over; `name` is for messages.
    CaptureReader(std::FILE* file, std::string name);
    ~CaptureReader();
    CaptureReader(const CaptureReader&) = delete;
    CaptureReader& operator=(const CaptureReader&) = delete;

    // False at the end; after that it may be called again, for a file that grows by whole records. Throws CaptureError
    // when the file is damaged from here on.
    bool next(Record& record);

    // How many records came.
    std::uint64_t count() const { return count_; }

private:
    std::string name_;
    std::unique_ptr<pcap, void (*)(pcap*)> capture_;
    int linkType_ = 0;
    std::uint64_t count_ = 0;
};

} // namespace trace
