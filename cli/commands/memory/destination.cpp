#include "commands/memory/destination.hpp"

#include <cerrno>
#include <cstddef>
#include <system_error>

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include "arguments/data.hpp"
#include "console/errors.hpp"

namespace tool {

Destination::Destination(Output& output, const std::string& file) : output_(output), name_(file)
{
    if (file == "-") {
        if (output_.json()) {
            throw UsageError("FILE: - cannot be combined with --json", "use one of them");
        }
        if (isatty(STDOUT_FILENO) == 1) {
            throw UsageError("FILE: standard output is a terminal", "omit - for a hexdump");
        }
        name_ = "standard output";
        return;
    }
    requireFilesAllowed("FILE", file);
    const char* const target = output_.muted() ? "/dev/null" : file.c_str();
    descriptor_ = ::open(target, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    if (descriptor_ < 0) {
        fail();
    }
}

Destination::~Destination()
{
    if (descriptor_ >= 0) {
        ::close(descriptor_);
    }
}

void Destination::write(std::span<const std::uint8_t> bytes) const
{
    if (descriptor_ < 0) {
        output_.write(bytes);
        return;
    }
    while (!bytes.empty()) {
        const ssize_t count = ::write(descriptor_, bytes.data(), bytes.size());
        if (count >= 0) {
            bytes = bytes.subspan(static_cast<std::size_t>(count));
        } else if (errno != EINTR) {
            fail();
        }
    }
}

void Destination::fail() const
{
    throw Failure(ExitStatus::REFUSED, fmt::format("{}: {}", name_, std::generic_category().message(errno)));
}

} // namespace tool
