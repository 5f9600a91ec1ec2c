#include "output.hpp"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <system_error>
#include <utility>

#include <fmt/format.h>
#include <poll.h>
#include <unistd.h>

#include "data.hpp"
#include "errors.hpp"
#include "interrupt.hpp"

namespace tool {

namespace {

std::string withLineEnd(std::string text)
{
    if (!text.empty() && text.back() != '\n') {
        text += '\n';
    }
    return text;
}

} // namespace

void Output::print(std::string_view text, const Json& fields)
{
    printed_ = true;
    printEvent(text, fields);
}

void Output::printEvent(std::string_view text, const Json& fields)
{
    if (!json_) {
        write(withLineEnd(std::string(text)));
        return;
    }
    Json object{{"schema", 1}};
    if (!command_.empty()) {
        object["command"] = command_;
    }
    object.update(fields);
    // Bytes of an adapter need not be UTF-8.
    write(object.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n");
}

void Output::printData(std::span<const std::uint8_t> bytes, std::uint64_t firstOffset, Json fields)
{
    if (json_) {
        fields["data"] = toHex(bytes);
        print({}, fields);
    } else {
        write(hexdump(bytes, firstOffset));
    }
}

void Output::write(std::string_view bytes)
{
    while (!bytes.empty()) {
        const ssize_t count = ::write(STDOUT_FILENO, bytes.data(), bytes.size());
        if (count >= 0) {
            bytes.remove_prefix(static_cast<std::size_t>(count));
        } else if (errno == EINTR) {
            throwIfInterrupted();
        } else if (errno == EAGAIN) {
            pollfd ready{STDOUT_FILENO, POLLOUT, 0};
            poll(&ready, 1, -1);
        } else if (errno == EPIPE) {
            throw OutputClosed{};
        } else {
            throw Failure(ExitStatus::REFUSED,
                          fmt::format("standard output: {}", std::generic_category().message(errno)));
        }
    }
}

void Output::write(std::span<const std::uint8_t> bytes)
{
    write(std::string_view(reinterpret_cast<const char*>(bytes.data()), bytes.size()));
}

Progress::Progress(std::string label, std::size_t total)
    : label_(std::move(label)),
      total_(total),
      enabled_(isatty(STDERR_FILENO) == 1),
      nextUpdate_(std::chrono::steady_clock::now() + std::chrono::milliseconds(500))
{
}

Progress::~Progress()
{
    if (shown_) {
        std::fputs("\r\x1b[K", stderr);
    }
}

void Progress::update(std::size_t done)
{
    const auto now = std::chrono::steady_clock::now();
    if (!enabled_ || now < nextUpdate_) {
        return;
    }
    nextUpdate_ = now + std::chrono::milliseconds(100);
    shown_ = true;
    fmt::print(stderr, "\r{}: {} of {} bytes, {} %\x1b[K", label_, done, total_,
               100 * done / std::max<std::size_t>(total_, 1));
    std::fflush(stderr);
}

} // namespace tool
