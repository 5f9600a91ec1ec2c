// What a virtual adapter and a device's program say to each other, in lines of JSON: docs/devices-in-your-language.md
// is the description.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace sim::protocol {

inline constexpr std::uint64_t VERSION = 1;
inline constexpr std::size_t LONGEST_LINE = 512 * 1024; // bytes; more than the longest transfer takes

// Requests, each a line with its end.
std::string hello(const std::string& device, const std::string& bus);
std::string request(std::string_view what);
std::string request(std::string_view what, std::span<const std::uint8_t> bytes);
std::string request(std::string_view what, std::size_t count);

// Answers.
struct Version {
    std::uint64_t number;
};
struct Acknowledgement {
    bool given;
};
struct Data {
    std::vector<std::uint8_t> bytes;
};
// What a device says unasked.
struct Interrupt {
    bool raised;
};
struct Sent {
    std::vector<std::uint8_t> bytes;
};
using Message = std::variant<Version, Acknowledgement, Data, Interrupt, Sent>;

// One line of a device, without its end; nothing when it is none of the messages.
std::optional<Message> parse(std::string_view line);

// A stream of bytes, cut into lines.
class Lines {
public:
    // False: a line is longer than LONGEST_LINE.
    bool add(std::string_view bytes);
    std::optional<std::string> next(); // without its end

private:
    std::string buffer_;
    std::size_t begin_ = 0;   // of the first line
    std::size_t scanned_ = 0; // no line ends before
};

} // namespace sim::protocol
