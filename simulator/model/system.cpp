#include "model/system.hpp"

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "model/refusal.hpp"

namespace sim {

namespace {

constexpr std::size_t LENGTH_PLUS_ONE = 6;
constexpr std::size_t TEXT = 7;
constexpr std::size_t MAX_TEXT = 254; // its length plus one must fit the byte before it

void reset(System& system, Request& request, OutputFrame&)
{
    request.end();
    system.presence = Presence::RESTARTING;
}

void enterBootMode(System& system, Request& request, OutputFrame&)
{
    request.end();
    system.presence = Presence::BOOT_MODE;
}

void getUsbString(System& system, Request& request, OutputFrame& response)
{
    const std::size_t index = request.u8();
    request.end();
    const bool known = index >= 1 && index <= system.strings.size();
    const std::string_view text = known ? std::string_view(system.strings[index - 1]).substr(0, MAX_TEXT) : "";
    // A host that does not look at the status still finds a well-formed, empty text.
    response.setU8(LENGTH_PLUS_ONE, static_cast<std::uint8_t>(text.size() + 1));
    response.append(std::vector<std::uint8_t>(text.begin(), text.end()));
    require(known, DeviceStatus::BAD_PARAMETER);
}

} // namespace

void addSystemCommands(CommandTable& table, System& system)
{
    table.add(CommandCode::RESET_DEVICE, system, reset);
    table.add(CommandCode::ENTER_BOOT_MODE, system, enterBootMode);
    table.add(CommandCode::GET_USB_STRING, system, getUsbString, TEXT);
}

} // namespace sim
