// What a program has open, without the kernel: requests in, answers out.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <vector>

#include "arguments/data.hpp"

namespace bridge {

using tool::Bytes;

// Thrown for what a call fails with.
struct Errno {
    int number;
};

// Some memory of a program.
struct Area {
    std::uint64_t address;
    std::size_t size;
};

// The argument of an ioctl, and the memory around it. The kernel fetches that only after it was told which; then the
// whole call is made again, until everything is at hand. So nothing but reading may happen before `complete`. The
// program may change its memory at any time, and each time other values may be read.
class UserMemory {
public:
    // Thrown when more is to be fetched.
    struct Incomplete {};

    // `fetched` is what was read so far, one area after the other, and `room` how much may be written. A program of 32
    // bits on a system of 64 is `compat`.
    UserMemory(std::uint64_t argument, bool compat, std::span<const std::uint8_t> fetched, std::size_t room)
        : argument_(argument), pointerSize_(compat ? 4 : sizeof(void*)), fetched_(fetched), room_(room)
    {
    }

    std::uint64_t argument() const { return argument_; }
    std::size_t pointerSize() const { return pointerSize_; }

    // What a field of 64 bits means as the program's pointer.
    std::uint64_t pointer(std::uint64_t field) const
    {
        return pointerSize_ == 4 ? static_cast<std::uint32_t>(field) : field;
    }

    std::span<const std::uint8_t> read(Area area);

    // The same for what nothing else depends on, so that the kernel fetches all of it at once: empty until it is there,
    // and `complete` throws.
    std::span<const std::uint8_t> readLater(Area area);

    // Announces what will be written, in this order. This and the former throw Errno: EMSGSIZE for more areas than the
    // kernel takes.
    void announce(Area area);

    // Everything was read and announced. From here on the call happens, once.
    void complete() const;
    void write(std::span<const std::uint8_t> bytes) { written_.insert(written_.end(), bytes.begin(), bytes.end()); }

    const std::vector<Area>& from() const { return from_; }
    const std::vector<Area>& to() const { return to_; }
    const Bytes& written() const { return written_; }

private:
    void requireFewAreas() const;

    const std::uint64_t argument_;
    const std::size_t pointerSize_;
    const std::span<const std::uint8_t> fetched_;
    const std::size_t room_;
    std::size_t used_ = 0;
    bool lacks_ = false;
    std::size_t announced_ = 0;
    std::vector<Area> from_;
    std::vector<Area> to_;
    Bytes written_;
};

// A number in the byte order of the machine.
template <class T>
T numberAt(std::span<const std::uint8_t> bytes, std::size_t offset)
{
    T number;
    std::memcpy(&number, bytes.subspan(offset, sizeof number).data(), sizeof number);
    return number;
}

inline std::uint64_t pointerAt(std::span<const std::uint8_t> bytes, std::size_t offset, const UserMemory& memory)
{
    return memory.pointerSize() == 4 ? numberAt<std::uint32_t>(bytes, offset) : numberAt<std::uint64_t>(bytes, offset);
}

// All throw Errno.
class OpenFile {
public:
    virtual ~OpenFile() = default;

    // Returns what the ioctl returns.
    virtual int ioctl(unsigned command, UserMemory& memory) = 0;

    virtual Bytes read(std::size_t size) = 0;
    virtual std::size_t write(std::span<const std::uint8_t> bytes) = 0;
};

} // namespace bridge
