// tarvix i2c: scan, registers, memories and raw transfers.
#include <algorithm>
#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "adapter/context.hpp"
#include "adapter/pieces.hpp"
#include "arguments/data.hpp"
#include "arguments/numbers.hpp"
#include "arguments/options.hpp"
#include "arguments/transfers.hpp"
#include "commands/command.hpp"
#include "commands/i2c/messages.hpp"
#include "commands/i2c/pages.hpp"
#include "console/errors.hpp"
#include "console/output.hpp"
#include "console/text.hpp"

namespace tool {

namespace {

const char* const ADDRESS_ADVICE =
    "run 'tarvix i2c scan' to see which targets answer, 'tarvix rail show' to check the supply";

// ---- The port -----------------------------------------------------------------------------------------------------

struct PortOptions {
    unsigned bus = 0;
    std::uint32_t clock = 100'000;
    std::optional<unsigned> pullUp;
    std::uint8_t initOption = 0;
};

void addPortOptions(CLI::App& app, PortOptions& options)
{
    addNumber(app, "-b,--bus", options.bus, {0, 1}, "I2C port");
    addFrequency(app, "-c,--clock", options.clock, {1, 3'400'000}, "Clock frequency: 100k, 400k, 1M");
    addNumber(app, "--pull-up", options.pullUp, {0, 3},
              "Pull-up setting, numbered by the firmware, 0 for none; unchanged by default");
    addNumber(app, "--init-option", options.initOption, BYTE,
              "Option byte for initialising the port, defined by the firmware");
}

void setUpPort(Context& context, const PortOptions& options)
{
    const auto bus = static_cast<std::uint8_t>(options.bus);
    const std::string pullUp = options.pullUp ? fmt::format(", pull-up {}", *options.pullUp) : "";
    const std::string option = options.initOption != 0 ? fmt::format(", option {}", options.initOption) : "";
    context.setUp(fmt::format("I2C bus {}", bus), fmt::format("{} Hz{}{}", options.clock, pullUp, option),
                  [&](TarvixSDK& sdk) {
                      const StatusCode status = sdk.i2cControllerInit(bus, options.clock, options.initOption);
                      return status == StatusCode::SUCCESS && options.pullUp
                                 ? sdk.i2cSetPullUpResistors(bus, static_cast<std::uint8_t>(*options.pullUp))
                                 : status;
                  });
}

Bytes read(Context& context, const PortOptions& port, std::uint8_t address, const Bytes& registerAddress,
           std::uint64_t length)
{
    Bytes bytes;
    context.checkTransfer(context.sdk().i2cRead(static_cast<std::uint8_t>(port.bus), address, registerAddress,
                                                static_cast<std::uint16_t>(length), bytes, false),
                          fmt::format("reading from 0x{:02x} on bus {}", address, port.bus), ADDRESS_ADVICE);
    return bytes;
}

StatusCode write(Context& context, const PortOptions& port, std::uint8_t address, const Bytes& registerAddress,
                 const Bytes& data)
{
    return context.sdk().i2cWrite(static_cast<std::uint8_t>(port.bus), address, registerAddress, data, false);
}

void checkWrite(Context& context, StatusCode status, const PortOptions& port, std::uint8_t address)
{
    context.checkTransfer(status, fmt::format("writing to 0x{:02x} on bus {}", address, port.bus), ADDRESS_ADVICE);
}

// ---- scan ---------------------------------------------------------------------------------------------------------

struct ScanOptions {
    PortOptions port;
    std::vector<unsigned> expected;
};

// As i2cdetect prints it, to the blank at the end of each cell.
std::string grid(const std::set<unsigned>& found)
{
    constexpr unsigned FIRST = 0x08; // the addresses outside are reserved
    constexpr unsigned LAST = 0x77;
    std::string text = "     0  1  2  3  4  5  6  7  8  9  a  b  c  d  e  f\n";
    for (unsigned row = 0; row < 0x80; row += 0x10) {
        text += fmt::format("{:02x}: ", row);
        for (unsigned address = row; address < row + 0x10; ++address) {
            if (found.contains(address)) {
                text += fmt::format("{:02x} ", address);
            } else {
                text += address < FIRST || address > LAST ? "   " : "-- ";
            }
        }
        text += '\n';
    }
    return text;
}

void scan(Context& context, const ScanOptions& options)
{
    setUpPort(context, options.port);
    Bytes entries;
    std::uint8_t oneByte = 0;
    std::uint8_t twoByte = 0;
    context.check(
        context.sdk().i2cScanBus(entries, &oneByte, &twoByte, static_cast<std::uint8_t>(options.port.bus), false),
        fmt::format("scanning bus {}", options.port.bus));
    const std::size_t shortOnes = std::min<std::size_t>(oneByte, entries.size());
    const std::set<unsigned> found(entries.begin(), entries.begin() + static_cast<std::ptrdiff_t>(shortOnes));
    std::string text = grid(found);
    Json fields{{"bus", options.port.bus}, {"addresses", found}};
    // How two bytes make an address is the adapter's; they are shown as they came.
    for (std::size_t i = shortOnes; i + 1 < entries.size(); i += 2) {
        const std::string entry = toHex(std::span(entries).subspan(i, 2));
        text += fmt::format("two-byte entry: {}\n", entry);
        fields["two_byte_entries"].push_back(entry);
    }
    std::vector<std::string> missing;
    for (const unsigned address : options.expected) {
        if (!found.contains(address)) {
            missing.push_back(fmt::format("0x{:02x}", address));
            fields["missing"].push_back(address);
        }
    }
    context.output().print(text, fields);
    if (!missing.empty()) {
        throw Failure(ExitStatus::REFUSED,
                      fmt::format("no answer on bus {} from {}", options.port.bus, fmt::join(missing, ", ")),
                      "check the wiring, the address pins and 'tarvix rail show'");
    }
}

// ---- get, dump, set -----------------------------------------------------------------------------------------------

struct GetOptions {
    PortOptions port;
    std::uint8_t address = 0;
    ReadOptions what;
};

void get(Context& context, const GetOptions& options)
{
    const ReadPosition position(options.what.reg);
    setUpPort(context, options.port);
    const Bytes bytes = read(context, options.port, options.address, position.registerAddress, options.what.length);
    context.output().printData(bytes, position.offset,
                               {{"bus", options.port.bus}, {"address", options.address}, {"offset", position.offset}},
                               options.what.raw);
}

struct DumpOptions {
    PortOptions port;
    std::uint8_t address = 0;
    RegisterOptions reg{.text = "0"};
    std::optional<std::uint64_t> length;
    bool raw = false;
};

void dump(Context& context, const DumpOptions& options)
{
    const std::uint64_t first = registerNumber(options.reg);
    const std::uint64_t available = (std::uint64_t{1} << (8 * options.reg.bytes)) - first;
    const std::uint64_t length = options.length.value_or(std::min<std::uint64_t>(256, available));
    requireAddressable("--length", first, length, options.reg.bytes);
    constexpr unsigned CLOCKS_PER_BYTE = 9; // with the acknowledge
    constexpr std::size_t ANSWER_OVERHEAD = 9;
    setUpPort(context, options.port);
    const Bytes bytes = readInPieces(
        context, fmt::format("dumping 0x{:02x}", options.address), length,
        {options.port.clock, CLOCKS_PER_BYTE, ANSWER_OVERHEAD}, [&](auto done, auto count) {
            return read(context, options.port, options.address, encodeRegister(first + done, options.reg.bytes), count);
        });
    context.output().printData(
        bytes, first, {{"bus", options.port.bus}, {"address", options.address}, {"offset", first}}, options.raw);
}

struct SetOptions {
    PortOptions port;
    std::uint8_t address = 0;
    WriteOptions what;
    std::optional<std::uint64_t> page;
    unsigned inFlight = 1;
    bool wrap = false;
};

void validate(const SetOptions& options, const Written& written)
{
    constexpr std::size_t SMALLEST_PAGE = 8;
    if (!options.page && options.inFlight > 1) {
        throw UsageError("--in-flight: needs --page", "give the memory's page size");
    }
    if (options.page && options.what.reg.bytes == 0) {
        throw UsageError("--page: needs a REGISTER", "omit --page or --reg-bytes 0");
    }
    if (options.wrap || options.what.reg.bytes == 0) {
        return;
    }
    requireAddressable("DATA", written.reg, written.data.size(), options.what.reg.bytes);
    // A memory takes at most a page in one transfer, and goes on at the page's beginning. Nobody knows the pages of
    // what is out there, but the smallest are known.
    if (!options.page && written.data.size() > SMALLEST_PAGE) {
        throw UsageError(fmt::format("DATA: a memory would wrap {} bytes within its page", written.data.size()),
                         "add --page 8, or the memory's own page size; or --wrap if the target is no memory");
    }
}

void set(Context& context, const SetOptions& options)
{
    const Written written(options.what);
    validate(options, written);
    setUpPort(context, options.port);
    if (options.page) {
        writePages(context,
                   {static_cast<std::uint8_t>(options.port.bus), options.address, options.what.reg.bytes, written.reg,
                    *options.page, options.inFlight},
                   written.data, ADDRESS_ADVICE);
    } else {
        checkWrite(context, write(context, options.port, options.address, written.registerAddress, written.data),
                   options.port, options.address);
    }
    context.output().print({},
                           {{"bus", options.port.bus}, {"address", options.address}, {"written", written.data.size()}});
}

// ---- transfer -----------------------------------------------------------------------------------------------------

struct TransferOptions {
    PortOptions port;
    std::vector<std::string> words;
    bool raw = false;
};

void transfer(Context& context, const TransferOptions& options)
{
    const std::vector<Message> messages = parseMessages(options.words);
    setUpPort(context, options.port);
    const Message& last = messages.back();
    if (last.reads) {
        const Bytes registerAddress = messages.size() > 1 ? messages.front().data : Bytes{};
        const Bytes bytes = read(context, options.port, last.address, registerAddress, last.length);
        context.output().printData(bytes, 0, {{"bus", options.port.bus}, {"address", last.address}}, options.raw);
    } else {
        checkWrite(context, write(context, options.port, last.address, {}, last.data), options.port, last.address);
        context.output().print({},
                               {{"bus", options.port.bus}, {"address", last.address}, {"written", last.data.size()}});
    }
}

// ---- Commands -----------------------------------------------------------------------------------------------------

void addScan(Commands& i2c)
{
    auto [app, options] =
        i2c.add<ScanOptions>("scan", "Scan the bus and print the addresses that answer, as i2cdetect does", scan,
                             {"tarvix i2c scan", "tarvix i2c scan --bus 1", "tarvix i2c scan --expect 0x48,0x50"});
    addNumbers(app, "-e,--expect", options.expected, ADDRESS, "Exit with 1 unless all of these answer: 0x50,0x68")
        .separatedBy(',');
    addPortOptions(app, options.port);
}

void addTarget(CLI::App& app, std::uint8_t& address)
{
    addNumber(app, "ADDRESS", address, ADDRESS, "7-bit address of the target").required();
}

void addGet(Commands& i2c)
{
    auto [app, options] =
        i2c.add<GetOptions>("get", "Read bytes in one transfer, from a register or the current position", get,
                            {"tarvix i2c get 0x48 0 -n 2", "tarvix i2c get 0x50 0x10 -n 16",
                             "tarvix i2c get --bus 1 --reg-bytes 2 0x51 0x0100 -n 4 --raw | od -t x1"});
    addTarget(app, options.address);
    addReadOptions(app, options.what);
    addPortOptions(app, options.port);
}

void addDump(Commands& i2c)
{
    auto [app, options] =
        i2c.add<DumpOptions>("dump", "Read a memory or a range of registers", dump,
                             {"tarvix i2c dump 0x50", "tarvix i2c dump 0x50 0x80 -n 32",
                              "tarvix i2c dump --bus 1 --reg-bytes 2 0x51 -n 32768 --raw > eeprom.bin"});
    addTarget(app, options.address);
    addText(app, "REGISTER", options.reg.text, "First register [0]");
    addNumber(app, "--reg-bytes", options.reg.bytes, {1, 4}, "Size of the register address in bytes");
    addSize(app, "-n,--length", options.length, {1, 16 << 20}, "Number of bytes to read; up to 256 by default");
    addRaw(app, options.raw);
    addPortOptions(app, options.port);
}

void addSet(Commands& i2c)
{
    auto [app, options] =
        i2c.add<SetOptions>("set", "Write bytes to a register or a memory", set,
                            {"tarvix i2c set 0x48 2 0x4b 0", "tarvix i2c set 0x50 0x10 hex:deadbeef",
                             "printf 'twenty bytes of text' | tarvix i2c set --page 8 0x50 0 @-",
                             "seq 999 | tarvix i2c set --bus 1 --reg-bytes 2 --page 64 --in-flight 8 0x51 0 @-"},
                            "With --in-flight, pages follow each other without waiting for answers. That is faster\n"
                            "for memories that are never busy, such as FRAM, if the adapter can queue as many\n"
                            "requests. When a page fails, others in flight may have been written. A memory that\n"
                            "turns out to be busy gets its further pages one by one.");
    addTarget(app, options.address);
    addWriteOptions(app, options.what);
    addSize(app, "--page", options.page, {1, MAX_TRANSFER},
            "Write in pages of this many bytes, waiting while the memory is busy");
    addFlag(app, "--wrap", options.wrap, "Allow more than 8 bytes without --page, and beyond the last register");
    addNumber(app, "--in-flight", options.inFlight, {1, 63}, "Number of pages that may wait for their answers");
    addPortOptions(app, options.port);
}

void addTransfer(Commands& i2c)
{
    auto [app, options] = i2c.add<TransferOptions>(
        "transfer", "Run messages as i2ctransfer does: a write, a read, or a write of 1 to 4 bytes followed by a read",
        transfer,
        {"tarvix i2c transfer w1@0x50 0x00 r16", "tarvix i2c transfer r2@0x48",
         "tarvix i2c transfer w9@0x50 0x08 0xff="});
    addTexts(app, "DESCRIPTOR", options.words,
             "{r|w}LENGTH[@ADDRESS]; the bytes of a write follow it. After the last one, = repeats it, + counts "
             "up, - counts down, p continues at random")
        .required();
    addRaw(app, options.raw);
    addPortOptions(app, options.port);
}

} // namespace

void addI2cCommands(Commands& commands)
{
    commands.group("i2c", "I2C: scan, registers, memories, transfers", [](Commands& i2c) {
        addScan(i2c);
        addGet(i2c);
        addSet(i2c);
        addDump(i2c);
        addTransfer(i2c);
    });
}

} // namespace tool
