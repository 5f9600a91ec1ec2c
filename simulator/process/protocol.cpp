#include "process/protocol.hpp"

#include <algorithm>

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <nlohmann/json.hpp>

namespace sim::protocol {

namespace {

using Json = nlohmann::json;

std::optional<std::vector<std::uint8_t>> bytesOf(const Json& value)
{
    const auto isByte = [](const Json& item) { return item.is_number_unsigned() && item.get<std::uint64_t>() <= 0xFF; };
    if (!value.is_array() || !std::ranges::all_of(value, isByte)) {
        return std::nullopt;
    }
    return value.get<std::vector<std::uint8_t>>();
}

} // namespace

std::string hello(const std::string& device, const std::string& bus)
{
    const Json name(device);
    return fmt::format("{{\"do\":\"hello\",\"version\":{},\"device\":{},\"bus\":\"{}\"}}\n", VERSION,
                       name.dump(-1, ' ', false, Json::error_handler_t::replace), bus);
}

std::string request(std::string_view what)
{
    return fmt::format("{{\"do\":\"{}\"}}\n", what);
}

std::string request(std::string_view what, std::span<const std::uint8_t> bytes)
{
    return fmt::format("{{\"do\":\"{}\",\"bytes\":[{}]}}\n", what, fmt::join(bytes, ","));
}

std::string request(std::string_view what, std::size_t count)
{
    return fmt::format("{{\"do\":\"{}\",\"count\":{}}}\n", what, count);
}

std::optional<Message> parse(std::string_view line)
{
    const Json json = Json::parse(line, nullptr, false);
    if (!json.is_object() || json.size() != 1) {
        return std::nullopt;
    }
    const std::string& key = json.begin().key();
    const Json& value = json.begin().value();
    if (key == "version" && value.is_number_unsigned()) {
        return Version{value.get<std::uint64_t>()};
    }
    if (key == "ack" && value.is_boolean()) {
        return Acknowledgement{value.get<bool>()};
    }
    if (key == "interrupt" && value.is_boolean()) {
        return Interrupt{value.get<bool>()};
    }
    if (auto bytes = bytesOf(value); bytes && key == "bytes") {
        return Data{*std::move(bytes)};
    } else if (bytes && key == "send") {
        return Sent{*std::move(bytes)};
    }
    return std::nullopt;
}

bool Lines::add(std::string_view bytes)
{
    buffer_.erase(0, begin_);
    scanned_ -= begin_;
    begin_ = 0;
    buffer_ += bytes;
    return buffer_.find('\n', scanned_) != std::string::npos || buffer_.size() <= LONGEST_LINE;
}

std::optional<std::string> Lines::next()
{
    const auto end = buffer_.find('\n', scanned_);
    if (end == std::string::npos) {
        scanned_ = buffer_.size();
        return std::nullopt;
    }
    std::string line = buffer_.substr(begin_, end - begin_);
    begin_ = scanned_ = end + 1;
    return line;
}

} // namespace sim::protocol
