#include "adapter/pieces.hpp"

#include <algorithm>

#include <fmt/format.h>

#include "common/terminal.hpp"
#include "console/errors.hpp"
#include "console/progress.hpp"

namespace tool {

std::size_t pieceSize(const Carriage& carriage, std::size_t reportSize, std::chrono::milliseconds timeout)
{
    constexpr std::size_t MOST_REPORTS = 60; // Linux keeps 63; a notification may come between
    constexpr std::size_t REPORT_HEADER = 2;
    constexpr std::chrono::milliseconds LONGEST{200};
    constexpr std::uint64_t FEWEST_BYTES = 8; // however slow the bus
    const auto time = static_cast<std::uint64_t>(std::min(LONGEST, timeout / 2).count());
    const std::uint64_t inTime = carriage.clock * time / (std::uint64_t{1000} * carriage.clocksPerByte);
    const std::size_t capacity = reportSize - REPORT_HEADER;
    const std::size_t reports = std::min<std::uint64_t>(MOST_REPORTS, (inTime + carriage.answerOverhead) / capacity);
    return reports > 0 ? reports * capacity - carriage.answerOverhead : std::max(FEWEST_BYTES, inTime);
}

void forEachPiece(Context& context, const std::string& label, std::uint64_t length, const Carriage& carriage,
                  const ReadPiece& read, const std::function<void(const Bytes&)>& take)
{
    const std::uint64_t piece = pieceSize(carriage, context.adapter().reportSize, context.options().timeout);
    Progress progress(label, length);
    for (std::uint64_t done = 0; done < length;) {
        const Bytes got = read(done, std::min(piece, length - done));
        take(got);
        done += got.size();
        progress.update(done);
    }
}

Bytes readInPieces(Context& context, const std::string& label, std::uint64_t length, const Carriage& carriage,
                   const ReadPiece& read)
{
    Bytes bytes;
    bytes.reserve(length);
    forEachPiece(context, label, length, carriage, read,
                 [&](const Bytes& piece) { bytes.insert(bytes.end(), piece.begin(), piece.end()); });
    return bytes;
}

void printInPieces(Context& context, const std::string& label, std::uint64_t length, const Carriage& carriage,
                   const ReadPiece& read, std::uint64_t firstOffset, const Json& fields, bool raw)
{
    Output& output = context.output();
    if (!raw) {
        output.printData(readInPieces(context, label, length, carriage, read), firstOffset, fields);
        return;
    }
    const std::uint64_t before = output.written();
    runTelling(
        context,
        [&] { forEachPiece(context, label, length, carriage, read, [&](const Bytes& piece) { output.write(piece); }); },
        [&] { return fmt::format("{} of {} bytes written", output.written() - before, length); });
}

void runTelling(Context& context, const std::function<void()>& job, const std::function<std::string()>& describe)
{
    const auto tell = [&] {
        if (!context.output().muted()) {
            terminal::tell(fmt::format("tarvix {}: {}", context.output().command(), describe()));
        }
    };
    try {
        job();
    } catch (const Failure&) {
        tell();
        throw;
    } catch (const Interrupted&) {
        tell();
        throw;
    }
}

} // namespace tool
