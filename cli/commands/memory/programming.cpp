#include "commands/memory/programming.hpp"

#include <algorithm>
#include <filesystem>
#include <functional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "adapter/pieces.hpp"
#include "commands/memory/destination.hpp"
#include "commands/memory/plan.hpp"
#include "common/terminal.hpp"
#include "console/errors.hpp"
#include "console/interrupt.hpp"
#include "console/progress.hpp"

namespace tool {

namespace {

// ---- What is asked for ---------------------------------------------------------------------------------------------

// Throws UsageError for what the memory does not have.
Extent extentOf(const RangeOptions& range, const Geometry& geometry)
{
    const auto& [offset, offsetText] = range.offset;
    if (offset >= geometry.size) {
        throw UsageError(fmt::format("--offset: {} is beyond the memory's {} bytes", offsetText, geometry.size));
    }
    const std::uint64_t rest = geometry.size - offset;
    if (!range.length) {
        return {offset, rest};
    }
    if (range.length->value > rest) {
        throw UsageError(fmt::format("--length: {} starting at {} exceeds the memory's {} bytes", range.length->text,
                                     offsetText, geometry.size));
    }
    return {offset, range.length->value};
}

// A file, and where its bytes belong.
struct Image {
    std::string file;
    Extent extent;
    Bytes bytes;
};

// Of a file longer than --length, the beginning.
Image readImage(const std::string& file, const RangeOptions& range, const Geometry& geometry)
{
    Image image{file == "-" ? "standard input" : file, extentOf(range, geometry), {}};
    const std::uint64_t room = image.extent.length;
    image.bytes = readFile("FILE", file, room);
    const std::uint64_t size = image.bytes.size();
    if (range.length && size < room) {
        throw UsageError(fmt::format("--length: {} has {} bytes, not {}", image.file, size, range.length->text));
    }
    if (!range.length && size > room) {
        throw UsageError(fmt::format("FILE: {} holds more than the {} bytes that there is room for", image.file, room));
    }
    image.extent.length = std::min(size, room);
    image.bytes.resize(image.extent.length);
    return image;
}

Json fieldsOf(const Memory& memory, const Extent& extent)
{
    Json fields = memory.fields();
    fields["offset"] = extent.offset;
    fields["length"] = extent.length;
    return fields;
}

// ---- Reading -------------------------------------------------------------------------------------------------------

ReadPiece pieceReader(Memory& memory, const Extent& extent)
{
    return [&memory, first = extent.offset](std::uint64_t done, std::size_t count) {
        return memory.read(first + done, count);
    };
}

// Hands each piece on as it comes.
void readPieces(Context& context, Memory& memory, const char* label, const Extent& extent,
                const std::function<void(const Bytes& bytes)>& take)
{
    forEachPiece(context, label, extent.length, memory.carriage(), pieceReader(memory, extent), take);
}

Bytes readExtent(Context& context, Memory& memory, const Extent& extent)
{
    return readInPieces(context, "reading", extent.length, memory.carriage(), pieceReader(memory, extent));
}

// ---- Comparing -----------------------------------------------------------------------------------------------------

// Throws when the memory does not hold `bytes` there. `file` is where they come from.
void compare(Context& context, Memory& memory, const std::string& file, const Extent& extent, const Bytes& bytes,
             const std::function<std::string()>& advice)
{
    std::uint64_t done = 0;
    std::uint64_t count = 0;
    std::string first;
    readPieces(context, memory, "verifying", extent, [&](const Bytes& piece) {
        for (const std::uint8_t is : piece) {
            const std::uint8_t shall = bytes[done];
            if (is != shall && count++ == 0) {
                first = fmt::format("offset 0x{:x}: read 0x{:02x}, expected 0x{:02x}", extent.offset + done, is, shall);
            }
            ++done;
        }
    });
    if (count > 0) {
        throw Failure(ExitStatus::REFUSED,
                      fmt::format("{}: {}; {} of {} bytes differ", file, first, count, extent.length), advice());
    }
}

// ---- Changing ------------------------------------------------------------------------------------------------------

struct Work {
    std::uint64_t erased = 0;
    std::uint64_t written = 0;
};

Work workOf(std::span<const Change> changes)
{
    Work work;
    for (const Change& change : changes) {
        work.erased += change.erases ? change.block.length : 0;
        for (const Extent& part : change.writes) {
            work.written += part.length;
        }
    }
    return work;
}

class Changer {
public:
    // `after` are the bytes from `first` on.
    Changer(Memory& memory, std::uint64_t first, std::span<const std::uint8_t> after, const Work& work)
        : memory_(memory), first_(first), after_(after), progress_("writing", work.erased + work.written)
    {
    }

    void apply(const Change& change)
    {
        if (change.erases) {
            memory_.erase(change.block);
            advance(done_.erased, change.block.length);
        }
        std::vector<PageWrite> pages;
        for (const Extent& part : change.writes) {
            pages.push_back({part.offset, after_.subspan(part.offset - first_, part.length)});
        }
        memory_.write(pages, [this](std::size_t bytes) { advance(done_.written, bytes); });
    }

    const Work& done() const { return done_; }

private:
    void advance(std::uint64_t& count, std::uint64_t bytes)
    {
        count += bytes;
        progress_.update(done_.erased + done_.written);
    }

    Memory& memory_;
    const std::uint64_t first_;
    const std::span<const std::uint8_t> after_;
    Work done_;
    Progress progress_;
};

// Writes what a block should hold to a file that did not exist, and says so.
void rescue(Context& context, std::uint64_t offset, std::span<const std::uint8_t> block)
{
    std::string name = fmt::format("tarvix-rescue-0x{:x}.bin", offset);
    for (int number = 2; std::filesystem::exists(name); ++number) {
        name = fmt::format("tarvix-rescue-0x{:x}-{}.bin", offset, number);
    }
    std::string what = fmt::format("write {} to --offset 0x{:x} first", name, offset);
    try {
        Destination(context.output(), name).write(block);
    } catch (const Failure& lost) {
        what = fmt::format("what it held is lost: {}", lost.what());
    }
    terminal::tell(
        fmt::format("tarvix {}: the block at 0x{:x} may be incomplete; {}", context.output().command(), offset, what));
}

// What a block should hold that is erased, but was not asked for as a whole; empty for any other change. The rest of it
// exists nowhere else once it is erased.
std::span<const std::uint8_t> keptBlock(const Change& change, const Extent& asked, const Extent& read,
                                        const Bytes& after)
{
    if (!change.erases || asked.contains(change.block)) {
        return {};
    }
    return std::span(after).subspan(change.block.offset - read.offset, change.block.length);
}

// No Ctrl-C stops such a change, and if it fails, a file gets what the block should hold.
void applyKeeping(Context& context, Changer& changer, const Change& change, std::span<const std::uint8_t> block)
{
    const Uninterrupted toTheEnd;
    try {
        changer.apply(change);
    } catch (const Failure&) {
        rescue(context, change.block.offset, block);
        throw;
    }
}

void applyAll(Context& context, Memory& memory, const Extent& asked, const Extent& read, const Bytes& after,
              const std::vector<Change>& changes)
{
    const Work all = workOf(changes);
    Changer changer(memory, read.offset, after, all);
    const auto apply = [&] {
        for (const Change& change : changes) {
            throwIfInterrupted();
            if (const auto kept = keptBlock(change, asked, read, after); !kept.empty()) {
                applyKeeping(context, changer, change, kept);
            } else {
                changer.apply(change);
            }
        }
    };
    runTelling(context, apply, [&] {
        return fmt::format("{} of {} bytes erased, {} of {} written; run the command again to finish",
                           changer.done().erased, all.erased, changer.done().written, all.written);
    });
}

// After a difference, the next run would take what it finds in the rest of a block for what belongs there.
void verifyAll(Context& context, Memory& memory, const Image& image, const Extent& read, const Bytes& after,
               const std::vector<Change>& changes)
{
    try {
        compare(context, memory, image.file, read, after, [&] { return memory.adviceOnDifference(); });
    } catch (const Failure&) {
        for (const Change& change : changes) {
            if (const auto kept = keptBlock(change, image.extent, read, after); !kept.empty()) {
                rescue(context, change.block.offset, kept);
            }
        }
        throw;
    }
}

void change(Context& context, Memory& memory, const Image& image, bool verifies)
{
    const Extent read = widened(memory.geometry(), image.extent);
    const Bytes before = readExtent(context, memory, read);
    Bytes after = before;
    std::ranges::copy(image.bytes, after.begin() + static_cast<std::ptrdiff_t>(image.extent.offset - read.offset));
    const std::vector<Change> changes = planChanges(memory.geometry(), read.offset, before, after);
    const Work work = workOf(changes);
    if (!changes.empty()) {
        applyAll(context, memory, image.extent, read, after, changes);
        if (verifies) {
            verifyAll(context, memory, image, read, after, changes);
        }
    }
    const bool verified = verifies || changes.empty();
    Json fields = fieldsOf(memory, image.extent);
    std::string text =
        fmt::format("{} bytes at 0x{:x}: {} written", image.extent.length, image.extent.offset, work.written);
    if (!memory.geometry().erasable.empty()) {
        fields["erased"] = work.erased;
        text += fmt::format(", {} erased", work.erased);
    }
    fields["written"] = work.written;
    fields["verified"] = verified;
    context.output().print(text + (verified ? ", verified" : ""), fields);
}

} // namespace

void addRangeOptions(CLI::App& app, RangeOptions& options, const char* lengthDescription)
{
    addSize(app, "--offset", options.offset, {}, "First byte of the memory");
    addSize(app, "-n,--length", options.length, {1}, lengthDescription);
}

void addReadMemoryOptions(CLI::App& app, ReadMemoryOptions& options)
{
    addText(app, "FILE", options.file, "File to write to, - for standard output; without it a hexdump is printed");
    addRangeOptions(app, options.range, "Number of bytes; up to the end by default");
}

void addWriteMemoryOptions(CLI::App& app, WriteMemoryOptions& options)
{
    addText(app, "FILE", options.file, "What to write; - for standard input").required();
    addRangeOptions(app, options.range, "Number of bytes of FILE; all by default");
    addFlag(app, "--no-verify", options.noVerify, "Do not read back what was written");
}

void addVerifyMemoryOptions(CLI::App& app, VerifyMemoryOptions& options)
{
    addText(app, "FILE", options.file, "What the memory should hold; - for standard input").required();
    addRangeOptions(app, options.range, "Number of bytes of FILE; all by default");
}

void readMemory(Context& context, Memory& memory, const ReadMemoryOptions& options)
{
    const Extent extent = extentOf(options.range, memory.geometry());
    const Json fields = fieldsOf(memory, extent);
    if (options.file.empty()) {
        context.output().printData(readExtent(context, memory, extent), extent.offset, fields);
        return;
    }
    const Destination destination(context.output(), options.file);
    std::uint64_t done = 0;
    const auto job = [&] {
        readPieces(context, memory, "reading", extent, [&](const Bytes& piece) {
            destination.write(piece);
            done += piece.size();
        });
    };
    runTelling(context, job,
               [&] { return fmt::format("{} has the first {} of {} bytes", destination.name(), done, extent.length); });
    context.output().print({}, fields);
}

void writeMemory(Context& context, Memory& memory, const WriteMemoryOptions& options)
{
    change(context, memory, readImage(options.file, options.range, memory.geometry()), !options.noVerify);
}

void verifyMemory(Context& context, Memory& memory, const VerifyMemoryOptions& options)
{
    const Image image = readImage(options.file, options.range, memory.geometry());
    context.output().print({}, fieldsOf(memory, image.extent));
    compare(context, memory, image.file, image.extent, image.bytes, [] { return std::string(); });
}

void eraseMemory(Context& context, Memory& memory, const RangeOptions& range, bool verifies)
{
    const Extent extent = extentOf(range, memory.geometry());
    change(context, memory, {"erased memory", extent, Bytes(extent.length, ERASED)}, verifies);
}

} // namespace tool
