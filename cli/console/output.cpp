#include "console/output.hpp"

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <utility>

#include <fmt/format.h>
#include <nlohmann/json.hpp>
#include <poll.h>
#include <unistd.h>

#include "common/terminal.hpp"
#include "console/errors.hpp"
#include "console/interrupt.hpp"
#include "console/text.hpp"

namespace tool {

namespace {

// Each line made printable and ended.
std::string printableLines(std::string_view text)
{
    std::string lines;
    while (!text.empty()) {
        const auto end = std::min(text.find('\n'), text.size());
        lines += terminal::printable(text.substr(0, end)) + '\n';
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return lines;
}

} // namespace

void Output::show(std::string_view text, const Json& fields)
{
    if (json_ && printed_ == nullptr) {
        return;
    }
    const std::string lines = printableLines(text);
    if (printed_ != nullptr) {
        printed_->text += lines;
        printed_->fields = std::make_shared<Json>(fields);
    }
    if (!json_) {
        put(lines);
    }
}

void Output::print(std::string_view text, const Json& fields)
{
    if (json_ && !muted_) {
        result_ = std::make_shared<Json>(fields);
    }
    show(text, fields);
}

void Output::end()
{
    if (result_) {
        writeObject(*std::exchange(result_, nullptr));
    }
}

void Output::end(const Json& error)
{
    if (json_) {
        Json fields = result_ ? *std::exchange(result_, nullptr) : Json::object();
        fields["error"] = error;
        writeObject(fields);
    }
}

void Output::printEvent(std::string_view text, const Json& fields)
{
    if (json_) {
        writeObject(fields);
    }
    show(text, fields);
}

void Output::writeObject(const Json& fields)
{
    Json object{{"schema", 1}};
    if (!command_.empty()) {
        object["command"] = command_;
    }
    if (!adapter_.empty()) {
        object["adapter"] = adapter_;
    }
    object.update(fields);
    // ASCII, so that no character of an adapter's reaches a terminal raw; and its bytes need not be UTF-8.
    put(object.dump(-1, ' ', true, Json::error_handler_t::replace) + "\n");
}

void Output::printData(std::span<const std::uint8_t> bytes, std::uint64_t firstOffset, const Json& fields, bool raw)
{
    if (raw) {
        write(bytes);
    } else if (json_ || printed_ != nullptr) {
        Json all = fields;
        all["data"] = toHex(bytes);
        print(printed_ != nullptr ? hexdump(bytes, firstOffset) : std::string(), all);
    } else {
        put(hexdump(bytes, firstOffset));
    }
}

void Output::write(std::string_view bytes)
{
    if (printed_ != nullptr) {
        printed_->text += bytes;
    }
    put(bytes);
}

void Output::put(std::string_view bytes)
{
    while (!bytes.empty() && !muted_) {
        const ssize_t count = ::write(STDOUT_FILENO, bytes.data(), bytes.size());
        if (count >= 0) {
            bytes.remove_prefix(static_cast<std::size_t>(count));
            written_ += static_cast<std::uint64_t>(count);
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

} // namespace tool
