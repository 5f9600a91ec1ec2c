#include "commands/i3c/targets.hpp"

#include <charconv>
#include <cstdint>
#include <iterator>
#include <optional>
#include <string_view>

#include <fmt/format.h>

#include "arguments/numbers.hpp"
#include "commands/i3c/replies.hpp"
#include "console/errors.hpp"
#include "console/text.hpp"

namespace tool {

namespace {

std::optional<I3cTargetInfo> parsePid(std::string_view text)
{
    constexpr std::size_t DIGITS = 12;
    I3cTargetInfo target{};
    if (text.starts_with("0x") || text.starts_with("0X")) {
        text.remove_prefix(2);
    }
    if (text.size() != DIGITS) {
        return std::nullopt;
    }
    for (std::size_t i = 0; i < std::size(target.pid); ++i) {
        const char* const digits = text.data() + 2 * i;
        const auto [end, error] = std::from_chars(digits, digits + 2, target.pid[i], 16);
        if (error != std::errc{} || end != digits + 2) {
            return std::nullopt;
        }
    }
    return target;
}

std::string addressText(std::uint8_t address)
{
    return address == 0 ? "-" : fmt::format("0x{:02x}", address);
}

} // namespace

I3cTargetInfo parseTarget(const std::string& text)
{
    const auto equals = text.find('=');
    const std::string name = text.substr(0, equals);
    I3cTargetInfo target{};
    if (const auto known = parsePid(name)) {
        if (equals == std::string::npos) {
            throw UsageError(fmt::format("TARGET: PID '{}' has no dynamic address", text), "write " + text + "=0x08");
        }
        target = *known;
    } else {
        target.staticAddress = static_cast<std::uint8_t>(parseNumber("TARGET", name, {1, 0x7F}));
    }
    if (equals != std::string::npos) {
        target.dynamicAddress = static_cast<std::uint8_t>(parseNumber("TARGET", text.substr(equals + 1), {1, 0x7F}));
    }
    return target;
}

std::string tableText(const std::vector<I3cTargetInfo>& table)
{
    std::string text = "dynamic  static  pid           bcr   dcr   features\n";
    for (const I3cTargetInfo& target : table) {
        const std::string addresses =
            fmt::format("{:<7}  {:<6}  ", addressText(target.dynamicAddress), addressText(target.staticAddress));
        if (target.dynamicAddress == 0) {
            text += addresses + "-             -     -     legacy I2C\n";
        } else {
            text += fmt::format("{}{}  0x{:02x}  0x{:02x}  {}\n", addresses, toHex(target.pid), target.bcr, target.dcr,
                                fmt::join(bcrFeatures(target.bcr), ", "));
        }
    }
    return text;
}

} // namespace tool
