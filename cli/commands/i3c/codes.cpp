#include "commands/i3c/codes.hpp"

#include <algorithm>
#include <cctype>

#include <fmt/format.h>

#include "console/errors.hpp"

namespace tool {

namespace {

template <auto method>
StatusCode broadcast(Call& call)
{
    return (call.sdk.*method)();
}

template <auto method>
StatusCode broadcastByte(Call& call)
{
    return (call.sdk.*method)(call.byte(0));
}

template <auto method>
StatusCode direct(Call& call)
{
    return (call.sdk.*method)(call.address);
}

template <auto method>
StatusCode directByte(Call& call)
{
    return (call.sdk.*method)(call.address, call.byte(0));
}

template <auto method>
StatusCode getByte(Call& call)
{
    return (call.sdk.*method)(call.address, call.reply.emplace(1).front());
}

template <auto method>
StatusCode getBytes(Call& call)
{
    return (call.sdk.*method)(call.address, call.reply.emplace());
}

template <auto method>
StatusCode getBytesByDefiningByte(Call& call)
{
    return (call.sdk.*method)(call.address, call.reply.emplace(), call.optionalByte(0));
}

StatusCode getMaxWriteLength(Call& call)
{
    std::uint16_t length = 0;
    const StatusCode status = call.sdk.i3cCccGETMWL(call.address, length);
    call.answer(length);
    return status;
}

StatusCode getMaxReadLength(Call& call)
{
    std::uint16_t length = 0;
    std::optional<std::uint8_t> payload;
    const StatusCode status = call.sdk.i3cCccGETMRL(call.address, length, payload);
    call.answer(length);
    if (payload) {
        call.reply->push_back(*payload);
    }
    return status;
}

I3cTargetResetDefByte resetAction(const Call& call)
{
    return I3cTargetResetDefByte{call.byte(0)};
}

bool readsReset(const std::vector<std::uint64_t>& values)
{
    constexpr std::uint64_t LAST_WRITTEN = 0x80; // higher defining bytes read
    return values[0] > LAST_WRITTEN;
}

StatusCode resetActionDirect(Call& call)
{
    if (!readsReset(call.values)) {
        return call.sdk.i3cCccRSTACTDirect(call.address, resetAction(call), I3cTransferDirection::WRITE, nullptr);
    }
    return call.sdk.i3cCccRSTACTDirect(call.address, resetAction(call), I3cTransferDirection::READ,
                                       call.reply.emplace(1).data());
}

void requireResetWrite(const std::vector<std::uint64_t>& values)
{
    if (readsReset(values)) {
        throw UsageError(fmt::format("RSTACT: ACTION 0x{:02x} reads from one target", values[0]),
                         "write RSTACT @ADDR ACTION");
    }
}

} // namespace

const std::vector<Code>& codes()
{
    using S = TarvixSDK;
    static const Argument EVENTS{"EVENTS", BYTE};
    static const Argument DEFINING_BYTE{"DEFINING-BYTE", BYTE, true};
    static const std::vector<Code> CODES{
        {.name = "ENEC",
         .description = "Enable events: 1 interrupts, 2 controller role requests, 8 hot-join, or their sum",
         .broadcast = broadcastByte<&S::i3cCccENECBroadcast>,
         .direct = directByte<&S::i3cCccENECDirect>,
         .arguments = {EVENTS}},
        {.name = "DISEC",
         .description = "Disable events, numbered as for ENEC",
         .broadcast = broadcastByte<&S::i3cCccDISECBroadcast>,
         .direct = directByte<&S::i3cCccDISECDirect>,
         .arguments = {EVENTS}},
        {.name = "ENTAS0",
         .description = "Enter activity state 0: at least 1 us between transfers",
         .broadcast = broadcast<&S::i3cCccENTAS0Broadcast>,
         .direct = direct<&S::i3cCccENTAS0Direct>},
        {.name = "ENTAS1",
         .description = "Enter activity state 1: 100 us",
         .broadcast = broadcast<&S::i3cCccENTAS1Broadcast>,
         .direct = direct<&S::i3cCccENTAS1Direct>},
        {.name = "ENTAS2",
         .description = "Enter activity state 2: 2 ms",
         .broadcast = broadcast<&S::i3cCccENTAS2Broadcast>,
         .direct = direct<&S::i3cCccENTAS2Direct>},
        {.name = "ENTAS3",
         .description = "Enter activity state 3: 50 ms",
         .broadcast = broadcast<&S::i3cCccENTAS3Broadcast>,
         .direct = direct<&S::i3cCccENTAS3Direct>},
        {.name = "RSTDAA",
         .description = "Reset all dynamic addresses",
         .broadcast = broadcast<&S::i3cCccRSTDAA>,
         .assigns = true},
        {.name = "ENTDAA",
         .description = "Assign a dynamic address to every target that has none",
         .broadcast = broadcast<&S::i3cCccENTDAA>,
         .assigns = true},
        {.name = "SETDASA",
         .description = "Assign dynamic address NEW to the target at static address ADDR",
         .direct = directByte<&S::i3cCccSETDASA>,
         .arguments = {{"NEW", ADDRESS}},
         .assigns = true},
        {.name = "SETNEWDA",
         .description = "Change a dynamic address to NEW",
         .direct = directByte<&S::i3cCccSETNEWDA>,
         .arguments = {{"NEW", ADDRESS}}},
        {.name = "SETAASA",
         .description = "Use each target's static address as its dynamic address",
         .broadcast = [](Call& c) { return c.sdk.i3cCccSETAASA(c.data); },
         .takesData = true,
         .assigns = true},
        {.name = "SETGRPA",
         .description = "Add a target to the group at address GROUP",
         .direct = directByte<&S::i3cCccSETGRPADirect>,
         .arguments = {{"GROUP", ADDRESS}}},
        {.name = "RSTGRPA",
         .description = "Reset group addresses: all, those of one target, or one group's",
         .broadcast = broadcast<&S::i3cCccRSTGRPABroadcast>,
         .direct = direct<&S::i3cCccRSTGRPADirect>},
        {.name = "SETMWL",
         .description = "Set the maximum write length, in bytes",
         .broadcast = [](Call& c) { return c.sdk.i3cCccSETMWLBroadcast(c.word(0)); },
         .direct = [](Call& c) { return c.sdk.i3cCccSETMWLDirect(c.address, c.word(0)); },
         .arguments = {{"LENGTH", WORD}}},
        {.name = "GETMWL",
         .description = "Read the maximum write length",
         .direct = getMaxWriteLength,
         .decode = decodeMaxWriteLength,
         .shortestReply = 2},
        {.name = "SETMRL",
         .description = "Set the maximum read length and interrupt payload, in bytes",
         .broadcast = [](Call& c) { return c.sdk.i3cCccSETMRLBroadcast(c.word(0), c.optionalByte(1)); },
         .direct = [](Call& c) { return c.sdk.i3cCccSETMRLDirect(c.address, c.word(0), c.optionalByte(1)); },
         .arguments = {{"LENGTH", WORD}, {"PAYLOAD", BYTE, true}}},
        {.name = "GETMRL",
         .description = "Read the maximum read length and interrupt payload",
         .direct = getMaxReadLength,
         .decode = decodeMaxReadLength,
         .shortestReply = 2},
        {.name = "GETPID",
         .description = "Read the Provisioned ID",
         .direct = getBytes<&S::i3cCccGETPID>,
         .decode = decodePid,
         .shortestReply = 6},
        {.name = "GETBCR",
         .description = "Read the Bus Characteristics Register",
         .direct = getByte<&S::i3cCccGETBCR>,
         .decode = decodeBcr,
         .shortestReply = 1},
        {.name = "GETDCR",
         .description = "Read the Device Characteristics Register",
         .direct = getByte<&S::i3cCccGETDCR>,
         .decode = decodeDcr,
         .shortestReply = 1},
        {.name = "GETSTATUS",
         .description = "Read the status; a defining byte other than 0 returns undecoded bytes",
         .direct = getBytesByDefiningByte<&S::i3cCccGETSTATUS>,
         .arguments = {DEFINING_BYTE},
         .decode = decodeStatus,
         .shortestReply = 2,
         .otherReplies = true},
        {.name = "GETMXDS",
         .description = "Read the maximum data speed",
         .direct = getBytes<&S::i3cCccGETMXDS>,
         .decode = decodeMaxDataSpeed,
         .shortestReply = 2},
        {.name = "GETCAPS",
         .description = "Read the capabilities; a defining byte other than 0 returns undecoded bytes",
         .direct = getBytesByDefiningByte<&S::i3cCccGETCAPS>,
         .arguments = {DEFINING_BYTE},
         .decode = decodeCapabilities,
         .shortestReply = 1,
         .otherReplies = true},
        {.name = "SETXTIME",
         .description = "Control timing: 0xdf and 0xef enter asynchronous modes 0 and 1, 0xff exits",
         .broadcast = [](Call& c) { return c.sdk.i3cCccSETXTIMEBroadcast(c.byte(0), c.optionalData()); },
         .direct = [](Call& c) { return c.sdk.i3cCccSETXTIMEDirect(c.address, c.byte(0), c.optionalData()); },
         .arguments = {{"SUBCOMMAND", BYTE}},
         .takesData = true},
        {.name = "GETXTIME",
         .description = "Read the timing modes, the target's clock and its inaccuracy",
         .direct = getBytes<&S::i3cCccGETXTIME>,
         .decode = decodeTiming,
         .shortestReply = 4},
        {.name = "SETBUSCON",
         .description = "Tell the targets what kind of bus they are on",
         .broadcast = [](Call& c) { return c.sdk.i3cCccSETBUSCONBroadcast(c.byte(0), c.optionalData()); },
         .arguments = {{"CONTEXT", BYTE}},
         .takesData = true},
        {.name = "RSTACT",
         .description =
             "Choose what the next target reset pattern resets: 0 nothing, 1 the I3C peripheral, 2 the whole "
             "target, 3 the debug adapter, 4 virtual targets; 0x81 to 0x84 read from one target",
         .broadcast = [](Call& c) { return c.sdk.i3cCccRSTACTBroadcast(resetAction(c)); },
         .direct = resetActionDirect,
         .arguments = {{"ACTION", BYTE}},
         .decode = decodeResetTime,
         .shortestReply = 1,
         .requireBroadcastable = requireResetWrite},
    };
    return CODES;
}

const Code& findCode(const std::string& text)
{
    std::string name = text;
    std::transform(name.begin(), name.end(), name.begin(), [](unsigned char c) { return std::toupper(c); });
    for (const Code& code : codes()) {
        if (code.name == name) {
            return code;
        }
    }
    throw UsageError(fmt::format("CODE: unknown Common Command Code '{}'", text),
                     "'tarvix i3c ccc --help' lists all codes");
}

std::string usage(const Code& code)
{
    std::string text(code.name);
    if (code.direct != nullptr) {
        text += code.broadcast != nullptr ? " [@ADDR]" : " @ADDR";
    }
    for (const Argument& argument : code.arguments) {
        text += fmt::format(fmt::runtime(argument.optional ? " [{}]" : " {}"), argument.name);
    }
    return code.takesData ? text + " [DATA...]" : text;
}

} // namespace tool
