// A pseudo-terminal that stands for a serial port.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include "common/file_descriptor.hpp"
#include "uart/line_settings.hpp"

namespace bridge {

class PseudoTerminal {
public:
    // With the line's settings, raw. Throws std::system_error.
    explicit PseudoTerminal(const tool::LineOptions& line);

    const std::string& path() const { return path_; }

    // The side that is ours, to wait for what programs write while one has the terminal open; and what is readable when
    // one opens it. While none has, the former never lets anybody wait.
    int descriptor() const { return controlling_.get(); }
    int openings() const { return openings_.get(); }
    void forgetOpenings() const;

    // Whether a program has it open. Any thread may ask.
    bool isOpen() const;

    struct Written {
        // BYTES: perhaps none, but more may follow. FLUSHED: a program dropped what it had received so far.
        enum { NOTHING, BYTES, FLUSHED, CLOSED } kind;
        std::span<const std::uint8_t> bytes; // in the buffer
    };
    Written read(std::span<std::uint8_t> buffer) const;
    std::size_t waiting() const; // bytes to be read, as far as the kernel knows

    // Drops what the last program left unread, as the last close of a serial port does, and forgets openings.
    void clear() const;

    // How many of the bytes programs will be able to read; the others do not fit now.
    std::size_t write(std::span<const std::uint8_t> bytes) const;

private:
    FileDescriptor controlling_;
    FileDescriptor openings_;
    std::string path_;
};

} // namespace bridge
