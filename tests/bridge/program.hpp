// A program that makes calls on an open file, and the kernel's part in them: memory is fetched when it is asked for.
#pragma once

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <string>
#include <vector>

#include "cuse/open_file.hpp"

namespace bridge {

class Program {
public:
    explicit Program(bool is32Bits = false) : is32Bits_(is32Bits) {}

    static constexpr std::uint64_t BASE = 0x10000; // where its memory begins

    // Puts bytes behind the others; returns where.
    std::uint64_t put(const Bytes& bytes)
    {
        memory_.insert(memory_.end(), bytes.begin(), bytes.end());
        return BASE + memory_.size() - bytes.size();
    }
    Bytes get(std::uint64_t address, std::size_t size) const
    {
        const auto first = memory_.begin() + static_cast<std::ptrdiff_t>(address - BASE);
        return {first, first + static_cast<std::ptrdiff_t>(size)};
    }

    // A record of the kernel's interface: numbers with their sizes in bytes, 0 for a pointer.
    struct Field {
        std::uint64_t value;
        std::size_t size;
    };
    Bytes record(std::initializer_list<Field> fields) const
    {
        Bytes bytes;
        for (const Field& field : fields) {
            for (std::size_t i = 0; i < (field.size == 0 ? pointerSize() : field.size); ++i) {
                bytes.push_back(static_cast<std::uint8_t>(field.value >> 8 * i));
            }
        }
        return bytes;
    }
    std::size_t pointerSize() const { return is32Bits_ ? 4 : 8; }

    // What ioctl returns, or the negative errno.
    int ioctl(OpenFile& file, unsigned long command, std::uint64_t argument)
    {
        Bytes fetched;
        std::vector<Area> to;
        std::size_t room = 0;
        for (rounds = 0;; ++rounds) {
            UserMemory memory(argument, is32Bits_, fetched, room);
            try {
                const int result = file.ioctl(static_cast<unsigned>(command), memory);
                store(to, memory.written());
                return result;
            } catch (const UserMemory::Incomplete&) {
                if (memory.from().size() + memory.to().size() > 256) {
                    return -ENOMEM;
                }
                if (!fetch(memory, fetched, to, room)) {
                    return -EFAULT;
                }
            } catch (const Errno& error) {
                return -error.number;
            }
        }
    }

    int rounds = 0; // of the last call, in which memory was fetched

private:
    bool holds(const Area& area) const
    {
        return area.address >= BASE && area.size <= memory_.size() && area.address - BASE <= memory_.size() - area.size;
    }
    bool fetch(const UserMemory& memory, Bytes& fetched, std::vector<Area>& to, std::size_t& room) const
    {
        fetched.clear();
        for (const Area& area : memory.from()) {
            if (!holds(area)) {
                return false;
            }
            const Bytes bytes = get(area.address, area.size);
            fetched.insert(fetched.end(), bytes.begin(), bytes.end());
        }
        to = memory.to();
        room = 0;
        for (const Area& area : to) {
            room += area.size;
            if (!holds(area)) { // the kernel finds out later
                return false;
            }
        }
        return true;
    }
    void store(const std::vector<Area>& to, const Bytes& written)
    {
        std::size_t at = 0;
        for (const Area& area : to) {
            for (std::size_t i = 0; i < area.size && at < written.size(); ++i) {
                memory_[area.address - BASE + i] = written[at++];
            }
        }
    }

    const bool is32Bits_;
    Bytes memory_;
};

} // namespace bridge
