// tarvix i2c scan
#include <algorithm>
#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "adapter/context.hpp"
#include "adapter/statuses.hpp"
#include "arguments/numbers.hpp"
#include "arguments/options.hpp"
#include "commands/i2c/commands.hpp"
#include "commands/i2c/port.hpp"
#include "console/errors.hpp"
#include "console/output.hpp"
#include "console/text.hpp"

namespace tool {

namespace {

struct ScanOptions {
    I2cPortOptions port;
    std::optional<Given> first;
    std::optional<Given> last;
    bool all = false;
    bool quick = false;
    bool read = false;
    std::vector<Given> expected;
};

// The addresses that are not reserved.
constexpr Range UNRESERVED{0x08, 0x77};

// Empty for the adapter's own scan.
std::optional<Range> probedRange(const ScanOptions& options)
{
    if (options.quick && options.read) {
        throw UsageError("--quick and --read cannot be combined", "use one of them");
    }
    if (options.all && options.first) {
        throw UsageError("--all: cannot be combined with FIRST LAST", "omit one of them");
    }
    if (options.first && !options.last) {
        throw UsageError("LAST is missing", fmt::format("write {0} {0} for one address", options.first->text));
    }
    if (options.first && options.first->value > options.last->value) {
        throw UsageError(fmt::format("FIRST: {} is above LAST, {}", options.first->text, options.last->text),
                         "write the lower address first");
    }
    if (options.first) {
        return Range{options.first->value, options.last->value};
    }
    if (options.all) {
        return ADDRESS;
    }
    return options.quick || options.read ? std::optional(UNRESERVED) : std::nullopt;
}

void requireExpectedWithin(const ScanOptions& options, Range range)
{
    for (const auto& [address, text] : options.expected) {
        if (address < range.low || address > range.high) {
            throw UsageError(
                fmt::format("--expect: {} is not scanned, only 0x{:02x} to 0x{:02x} are", text, range.low, range.high),
                "widen the range or use --all");
        }
    }
}

// i2cdetect's choice where it is not told: of what is at these addresses, some takes a write for a command.
bool isBetterRead(unsigned address)
{
    return (address >= 0x30 && address <= 0x37) || (address >= 0x50 && address <= 0x5F);
}

bool acknowledges(Context& context, const ScanOptions& options, std::uint8_t address)
{
    Bytes byte;
    const bool reads = options.read || (!options.quick && isBetterRead(address));
    const StatusCode status = reads ? context.sdk().i2cRead(options.port.index(), address, {}, 1, byte, false)
                                    : context.sdk().i2cWrite(options.port.index(), address, {}, {}, false);
    const bool refused = isStatus(status, DeviceStatus::NACK);
    context.check(refused ? StatusCode::SUCCESS : status,
                  fmt::format("probing 0x{:02x} on bus {}", address, options.port.bus));
    return !refused;
}

struct Found {
    std::set<unsigned> addresses;
    std::vector<std::string> twoByteEntries;
};

Found probe(Context& context, const ScanOptions& options, Range range)
{
    Found found;
    for (std::uint64_t address = range.low; address <= range.high; ++address) {
        if (acknowledges(context, options, static_cast<std::uint8_t>(address))) {
            found.addresses.insert(static_cast<unsigned>(address));
        }
    }
    return found;
}

Found askAdapter(Context& context, const ScanOptions& options)
{
    Bytes entries;
    std::uint8_t oneByte = 0;
    std::uint8_t twoByte = 0;
    context.check(context.sdk().i2cScanBus(entries, &oneByte, &twoByte, options.port.index(), false),
                  fmt::format("scanning bus {}", options.port.bus));
    const std::size_t shortOnes = std::min<std::size_t>(oneByte, entries.size());
    Found found{{entries.begin(), entries.begin() + static_cast<std::ptrdiff_t>(shortOnes)}, {}};
    // How two bytes make an address is the adapter's; they are shown as they came.
    for (std::size_t i = shortOnes; i + 1 < entries.size(); i += 2) {
        found.twoByteEntries.push_back(toHex(std::span(entries).subspan(i, 2)));
    }
    return found;
}

// As i2cdetect prints it, to the blank at the end of each cell.
std::string grid(const std::set<unsigned>& found, Range scanned)
{
    std::string text = "     0  1  2  3  4  5  6  7  8  9  a  b  c  d  e  f\n";
    for (unsigned row = 0; row < 0x80; row += 0x10) {
        text += fmt::format("{:02x}: ", row);
        for (unsigned address = row; address < row + 0x10; ++address) {
            if (found.contains(address)) {
                text += fmt::format("{:02x} ", address);
            } else {
                text += address < scanned.low || address > scanned.high ? "   " : "-- ";
            }
        }
        text += '\n';
    }
    return text;
}

void scan(Context& context, const ScanOptions& options)
{
    const std::optional<Range> range = probedRange(options);
    if (range) {
        requireExpectedWithin(options, *range);
    }
    setUpPort(context, options.port);
    const Found found = range ? probe(context, options, *range) : askAdapter(context, options);
    std::string text = grid(found.addresses, range.value_or(UNRESERVED));
    Json fields{{"bus", options.port.bus}, {"addresses", found.addresses}};
    for (const std::string& entry : found.twoByteEntries) {
        text += fmt::format("two-byte entry: {}\n", entry);
        fields["two_byte_entries"].push_back(entry);
    }
    std::vector<std::string> missing;
    for (const Given& expected : options.expected) {
        const auto address = static_cast<unsigned>(expected.value);
        if (!found.addresses.contains(address)) {
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

} // namespace

void addScanCommand(Commands& i2c)
{
    auto [app, options] = i2c.add<ScanOptions>(
        "scan", "Scan the bus and print the addresses that answer, as i2cdetect does", scan,
        {"tarvix i2c scan", "tarvix i2c scan --bus 1", "tarvix i2c scan --expect 0x48,0x50",
         "tarvix i2c scan 0x40 0x5f --read", "tarvix i2c scan --all"},
        "Without a range or a way to probe, the adapter scans by itself, 0x08 to 0x77. Else each\n"
        "address is probed in turn:\n"
        "  --quick  sends the address to write and no data. It may trigger write-only devices, and\n"
        "           some EEPROMs lock up.\n"
        "  --read   reads one byte. It moves the position of an EEPROM, takes a byte out of a FIFO,\n"
        "           clears registers that reading clears, and may lock a write-only device.\n"
        "  neither  reads at 0x30 to 0x37 and 0x50 to 0x5f, and does as --quick elsewhere.\n"
        "The addresses below 0x08 and above 0x77 are reserved: probing 0x00 calls all targets.");
    addNumber(app, "FIRST", options.first, ADDRESS, "First address to probe");
    addNumber(app, "LAST", options.last, ADDRESS, "Last address to probe");
    addFlag(app, "-A,--all", options.all, "Probe 0x00 to 0x7f");
    addFlag(app, "-q,--quick", options.quick, "Probe by sending the address to write and no data");
    addFlag(app, "-r,--read", options.read, "Probe by reading a byte");
    addNumbers(app, "-e,--expect", options.expected, ADDRESS, "Exit with 1 unless all of these answer: 0x50,0x68")
        .separatedBy(',');
    addPortOptions(app, options.port);
}

} // namespace tool
