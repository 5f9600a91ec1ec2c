// tarvix i3c: bring-up, the table, private transfers and patterns.
#include <cstdint>
#include <string>
#include <vector>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "adapter/context.hpp"
#include "adapter/statuses.hpp"
#include "arguments/data.hpp"
#include "arguments/options.hpp"
#include "arguments/transfers.hpp"
#include "commands/command.hpp"
#include "commands/i3c/bus.hpp"
#include "commands/i3c/ccc.hpp"
#include "commands/i3c/replies.hpp"
#include "commands/i3c/targets.hpp"
#include "console/errors.hpp"
#include "console/text.hpp"

namespace tool {

namespace {

const char* const ADDRESS_ADVICE = "run 'tarvix i3c table' to see the targets on the bus";

// ---- init and table ---------------------------------------------------------------------------------------------

struct InitOptions {
    ControllerOptions controller;
    std::vector<std::string> targets;
    bool noAssignment = false;
};

const char* const READING_TABLE = "reading the I3C device table";

Json toJson(const I3cTargetInfo& target)
{
    return {{"dynamic_address", target.dynamicAddress},
            {"static_address", target.staticAddress},
            {"pid", toHex(target.pid)},
            {"bcr", target.bcr},
            {"features", bcrFeatures(target.bcr)},
            {"dcr", target.dcr},
            {"extra_word_1", target.extraWord1},
            {"extra_word_2", target.extraWord2},
            {"extra_byte_1", target.extraByte1},
            {"extra_byte_2", target.extraByte2}};
}

void printTable(Context& context, const std::vector<I3cTargetInfo>& table)
{
    Json targets = Json::array();
    for (const I3cTargetInfo& target : table) {
        targets.push_back(toJson(target));
    }
    context.output().print(table.empty() ? "no targets" : tableText(table), {{"up", true}, {"targets", targets}});
}

void init(Context& context, const InitOptions& options)
{
    std::vector<I3cTargetInfo> targets;
    for (const std::string& text : options.targets) {
        targets.push_back(parseTarget(text));
    }
    if (targets.size() > 255) {
        throw UsageError(fmt::format("TARGET: {} targets given, at most 255 allowed", targets.size()));
    }
    bringUp(context, options.controller, targets, options.noAssignment ? Unassigned::STAY : Unassigned::GET_ADDRESSES);
    std::vector<I3cTargetInfo> table;
    context.check(context.sdk().i3cGetDeviceTable(table), READING_TABLE);
    printTable(context, table);
}

void table(Context& context, const NoOptions&)
{
    std::vector<I3cTargetInfo> table;
    const StatusCode status = context.sdk().i3cGetDeviceTable(table);
    if (isStatus(status, DeviceStatus::NOT_INITIALISED)) {
        context.output().print("the bus is not up: 'tarvix i3c init' brings it up",
                               {{"up", false}, {"targets", Json::array()}});
        return;
    }
    context.check(status, READING_TABLE);
    printTable(context, table);
}

// ---- Private transfers --------------------------------------------------------------------------------------------

enum class Mode { SDR, LEGACY_I2C };

// A legacy transfer finds targets at their static addresses, as long as they have no dynamic one.
constexpr Unassigned unassignedIn(Mode mode)
{
    return mode == Mode::SDR ? Unassigned::GET_ADDRESSES : Unassigned::STAY;
}

void printI3cRead(Context& context, bool raw, const Bytes& bytes, std::uint64_t length, std::uint64_t offset,
                  const Json& fields)
{
    if (bytes.size() < length) {
        context.note(fmt::format("the target ended the read after {} of {} bytes", bytes.size(), length));
    }
    context.output().printData(bytes, offset, fields, raw);
}

struct ReadFromOptions {
    std::uint8_t address = 0;
    ReadOptions what;
    unsigned flags = 0;
};

template <Mode mode>
void read(Context& context, const ReadFromOptions& options)
{
    const ReadPosition position(options.what.reg);
    const I3cTransferFlags flags{options.flags};
    const auto length = static_cast<std::uint16_t>(options.what.length);
    ensureI3cBus(context, unassignedIn(mode));
    TarvixSDK& sdk = context.sdk();
    Bytes bytes;
    const StatusCode status =
        mode == Mode::SDR ? sdk.i3cSdrRead(options.address, position.registerAddress, length, bytes, flags)
                          : sdk.i3cLegacyI2cRead(options.address, position.registerAddress, length, bytes, flags);
    context.checkTransfer(status, fmt::format("reading from 0x{:02x}", options.address), ADDRESS_ADVICE);
    printI3cRead(context, options.what.raw, bytes, length, position.offset,
                 {{"address", options.address}, {"offset", position.offset}});
}

struct WriteToOptions {
    std::uint8_t address = 0;
    WriteOptions what;
    unsigned flags = 0;
};

template <Mode mode>
void write(Context& context, const WriteToOptions& options)
{
    const Written written(options.what);
    const I3cTransferFlags flags{options.flags};
    ensureI3cBus(context, unassignedIn(mode));
    TarvixSDK& sdk = context.sdk();
    const StatusCode status =
        mode == Mode::SDR ? sdk.i3cSdrWrite(options.address, written.registerAddress, written.data, flags)
                          : sdk.i3cLegacyI2cWrite(options.address, written.registerAddress, written.data, flags);
    context.checkTransfer(status, fmt::format("writing to 0x{:02x}", options.address), ADDRESS_ADVICE);
    context.output().print({}, {{"address", options.address}, {"written", written.data.size()}});
}

const char* const DDR_ADVICE =
    "run 'tarvix i3c table' to see the targets, 'tarvix i3c ccc GETCAPS' to see who supports HDR-DDR";

struct DdrReadOptions {
    std::uint8_t address = 0;
    std::uint8_t command = 0;
    std::uint64_t length = 2;
    bool raw = false;
};

void ddrRead(Context& context, const DdrReadOptions& options)
{
    ensureI3cBus(context, Unassigned::GET_ADDRESSES);
    Bytes bytes;
    context.checkTransfer(context.sdk().i3cHdrDdrRead(options.address, options.command,
                                                      static_cast<std::uint16_t>(options.length), bytes),
                          fmt::format("reading from 0x{:02x} in HDR-DDR", options.address), DDR_ADVICE);
    printI3cRead(context, options.raw, bytes, options.length, 0,
                 {{"address", options.address}, {"hdr_command", options.command}});
}

struct DdrWriteOptions {
    std::uint8_t address = 0;
    std::uint8_t command = 0;
    std::vector<std::string> data;
};

void ddrWrite(Context& context, const DdrWriteOptions& options)
{
    const Bytes data = readData("DATA", options.data, MAX_TRANSFER);
    ensureI3cBus(context, Unassigned::GET_ADDRESSES);
    context.checkTransfer(context.sdk().i3cHdrDdrWrite(options.address, options.command, data),
                          fmt::format("writing to 0x{:02x} in HDR-DDR", options.address), DDR_ADVICE);
    context.output().print({},
                           {{"address", options.address}, {"hdr_command", options.command}, {"written", data.size()}});
}

// ---- Patterns -----------------------------------------------------------------------------------------------------

template <auto method>
void pattern(Context& context, const NoOptions&)
{
    ensureI3cBus(context, Unassigned::STAY);
    context.check((context.sdk().*method)(), "driving the bus");
    context.output().print({}, Json::object());
}

// ---- Commands -----------------------------------------------------------------------------------------------------

void addTarget(CLI::App& app, std::uint8_t& address, const char* description)
{
    addNumber(app, "ADDRESS", address, ADDRESS, description).required();
}

void addFlags(CLI::App& app, unsigned& flags)
{
    addNumber(app, "--flags", flags, {0, 31}, "Five option bits of the transfer, defined by the firmware");
}

void addInit(Commands& i3c)
{
    auto [app, options] =
        i3c.add<InitOptions>("init", "Bring up the bus: reset and assign all addresses, then print the table", init,
                             {"tarvix i3c init", "tarvix i3c init 0x30=0x0a 7ffe56789002=0x0b 0x57",
                              "tarvix i3c init --push-pull 8M --no-entdaa 0x31=0x20"});
    addTexts(app, "TARGET", options.targets,
             "Expected targets: STATIC=DYNAMIC address, PID=DYNAMIC address (PID: 12 hex digits), or the "
             "address of a legacy I2C device");
    addFlag(app, "--no-entdaa", options.noAssignment, "Assign no addresses to targets that are not listed");
    addControllerOptions(app, options.controller);
}

template <Mode mode>
void addRead(Commands& i3c, const char* name, const char* description, const char* target, const Examples& examples)
{
    auto [app, options] = i3c.add<ReadFromOptions>(name, description, read<mode>, examples);
    addTarget(app, options.address, target);
    addReadOptions(app, options.what);
    addFlags(app, options.flags);
}

template <Mode mode>
void addWrite(Commands& i3c, const char* name, const char* description, const char* target, const Examples& examples)
{
    auto [app, options] = i3c.add<WriteToOptions>(name, description, write<mode>, examples);
    addTarget(app, options.address, target);
    addWriteOptions(app, options.what);
    addFlags(app, options.flags);
}

void addDdr(Commands& i3c)
{
    constexpr const char* COMMAND = "HDR-DDR command; the adapter sets its direction bit";
    {
        auto [app, options] = i3c.add<DdrReadOptions>("ddr-read", "Read in HDR-DDR mode", ddrRead,
                                                      {"tarvix i3c ddr-read 0x08 0x00 -n 8"});
        addTarget(app, options.address, "Dynamic address of the target");
        addNumber(app, "COMMAND", options.command, BYTE, COMMAND).required();
        addSize(app, "-n,--length", options.length, {1, MAX_TRANSFER}, "Number of bytes to read");
        addRaw(app, options.raw);
    }
    auto [app, options] = i3c.add<DdrWriteOptions>("ddr-write", "Write in HDR-DDR mode", ddrWrite,
                                                   {"tarvix i3c ddr-write 0x08 0x00 hex:12345678"});
    addTarget(app, options.address, "Dynamic address of the target or group");
    addNumber(app, "COMMAND", options.command, BYTE, COMMAND).required();
    addData(app, options.data, "Bytes to write").required();
}

void addTransfers(Commands& i3c)
{
    const char* const DYNAMIC = "Dynamic address of the target";
    const char* const LEGACY = "I2C address of the device";
    addRead<Mode::SDR>(i3c, "read", "Read bytes, from a register or the current position", DYNAMIC,
                       {"tarvix i3c read 0x08 0 -n 4", "tarvix i3c read 0x09 -n 2 --json"});
    addWrite<Mode::SDR>(i3c, "write", "Write bytes to a register", "Dynamic address of the target or group",
                        {"tarvix i3c write 0x08 0x00 0xaa 0xbb", "tarvix i3c write --reg-bytes 0 0x08 hex:00aabb"});
    addDdr(i3c);
    addRead<Mode::LEGACY_I2C>(i3c, "legacy-read", "Read bytes from a legacy I2C device on the bus", LEGACY,
                              {"tarvix i3c legacy-read 0x57 0x10 -n 16"});
    addWrite<Mode::LEGACY_I2C>(i3c, "legacy-write", "Write bytes to a legacy I2C device on the bus", LEGACY,
                               {"tarvix i3c legacy-write 0x57 0x10 0xde 0xad"});
}

void addPatterns(Commands& i3c)
{
    i3c.add<NoOptions>("reset", "Reset the bus; the targets lose their dynamic addresses",
                       pattern<&TarvixSDK::i3cResetBus>, {"tarvix i3c reset"});
    i3c.add<NoOptions>("exit-hdr", "Drive the HDR exit pattern: all targets return to SDR",
                       pattern<&TarvixSDK::i3cHdrExitPattern>, {"tarvix i3c exit-hdr"});
    i3c.add<NoOptions>("target-reset", "Drive the target reset pattern; 'i3c ccc RSTACT' chooses what it resets",
                       pattern<&TarvixSDK::i3cTargetResetPattern>,
                       {"tarvix i3c ccc RSTACT 1 && tarvix i3c target-reset"});
}

} // namespace

void addI3cCommands(Commands& commands)
{
    commands.group("i3c", "I3C: bring-up, transfers, Common Command Codes, patterns", [](Commands& i3c) {
        addInit(i3c);
        i3c.add<NoOptions>("table", "Print the targets on the bus", table, {"tarvix i3c table"});
        addTransfers(i3c);
        addCccCommand(i3c);
        addPatterns(i3c);
    });
}

} // namespace tool
