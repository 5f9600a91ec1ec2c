// A Value Change Dump, the format of waveform viewers: levels of signals, and when they change.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <sys/types.h>

#include "common/file_descriptor.hpp"

namespace sim {

// What has been flushed stays, whatever ends this process, and is a whole file.
class VcdFile {
public:
    static constexpr std::uint64_t TICKS_PER_SECOND = 100'000'000; // the fastest clock, 50 MHz, changes at each tick

    struct Signal {
        std::string code;
        bool high;
    };

    // Replaces what was in the file. Throws a std::runtime_error with one line for the user.
    explicit VcdFile(const std::string& path);
    VcdFile(const VcdFile&) = delete;
    VcdFile& operator=(const VcdFile&) = delete;

    // The header: scopes with their signals, then `begin`.
    void openScope(std::string_view name);
    [[nodiscard]] Signal addSignal(std::string_view name, bool high);
    void closeScope();
    void begin();

    // Time never goes back.
    void set(std::uint64_t tick, Signal& signal, bool high);
    void flush(std::uint64_t tick); // and says that nothing more happens before that tick

private:
    void passTo(std::uint64_t tick);
    int write();

    const std::string path_;
    FileDescriptor file_; // closed once writing has failed
    std::string pending_; // whole lines
    std::string initialLevels_;
    off_t size_ = 0; // of what has been written
    std::size_t signals_ = 0;
    std::uint64_t tick_ = 0;
};

} // namespace sim
