#include "record/vcd_file.hpp"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <fcntl.h>
#include <stdexcept>
#include <unistd.h>

#include <fmt/format.h>

#include "common/terminal.hpp"
#include "tarvixsdk/types.h"

namespace sim {

namespace {

constexpr std::size_t MOST_PENDING = 1 << 16; // bytes; a long transaction is written in parts

// A short name of printable characters.
std::string codeOf(std::size_t number)
{
    constexpr char FIRST = '!';
    constexpr std::size_t COUNT = '~' - '!' + 1;
    std::string code;
    do {
        code += static_cast<char>(FIRST + static_cast<char>(number % COUNT));
        number /= COUNT;
    } while (number != 0);
    return code;
}

// One word that no reader takes for a keyword.
std::string wordOf(std::string_view name)
{
    std::string word(name);
    std::ranges::replace_if(
        word,
        [](char c) {
            return !(c >= '0' && c <= '9') && !(c >= 'A' && c <= 'Z') && !(c >= 'a' && c <= 'z') && c != '-' &&
                   c != '.';
        },
        '_');
    return word;
}

} // namespace

VcdFile::VcdFile(const std::string& path)
    : path_(path), file_(::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666))
{
    if (!file_) {
        throw std::runtime_error(fmt::format("cannot write {}: {}", path_, std::strerror(errno)));
    }
    pending_ = "$version tarvix-sim " TARVIXSDK_VERSION " $end\n$timescale 10 ns $end\n";
}

void VcdFile::openScope(std::string_view name)
{
    pending_ += fmt::format("$scope module {} $end\n", wordOf(name));
}

VcdFile::Signal VcdFile::addSignal(std::string_view name, bool high)
{
    Signal signal{codeOf(signals_++), high};
    pending_ += fmt::format("$var wire 1 {} {} $end\n", signal.code, name);
    initialLevels_ += fmt::format("{}{}\n", high ? '1' : '0', signal.code);
    return signal;
}

void VcdFile::closeScope()
{
    pending_ += "$upscope $end\n";
}

void VcdFile::begin()
{
    pending_ += fmt::format("$enddefinitions $end\n#0\n$dumpvars\n{}$end\n", initialLevels_);
    if (const int error = write()) {
        throw std::runtime_error(fmt::format("cannot write {}: {}", path_, std::strerror(error)));
    }
}

void VcdFile::set(std::uint64_t tick, Signal& signal, bool high)
{
    if (signal.high == high) {
        return;
    }
    signal.high = high;
    passTo(tick);
    pending_ += high ? '1' : '0';
    pending_ += signal.code;
    pending_ += '\n';
    if (pending_.size() > MOST_PENDING) {
        flush(tick);
    }
}

void VcdFile::flush(std::uint64_t tick)
{
    passTo(tick);
    if (const int error = write()) {
        terminal::tell(
            fmt::format("tarvix-sim: cannot write {}: {}; the recording ends here", path_, std::strerror(error)));
    }
}

void VcdFile::passTo(std::uint64_t tick)
{
    if (tick <= tick_) {
        return;
    }
    tick_ = tick;
    char text[24];
    char* const end = std::to_chars(text, text + sizeof text, tick).ptr;
    pending_ += '#';
    pending_.append(text, end);
    pending_ += '\n';
}

// Returns an errno, or 0. After a failure what comes is dropped, and the file is as it was before what failed.
int VcdFile::write()
{
    std::string_view left = pending_;
    while (file_ && !left.empty()) {
        const auto count = ::write(file_.get(), left.data(), left.size());
        if (count >= 0) {
            left.remove_prefix(static_cast<std::size_t>(count));
        } else if (errno != EINTR) {
            const int error = errno;
            [[maybe_unused]] const int mended = ::ftruncate(file_.get(), size_); // a pipe has no line to mend
            file_.reset();
            pending_.clear();
            return error;
        }
    }
    size_ += static_cast<off_t>(pending_.size());
    pending_.clear();
    return 0;
}

} // namespace sim
