#include "adapter/pieces.hpp"

#include <algorithm>

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

Bytes readInPieces(Context& context, const std::string& label, std::uint64_t length, const Carriage& carriage,
                   const std::function<Bytes(std::uint64_t done, std::size_t count)>& read)
{
    const std::uint64_t piece = pieceSize(carriage, context.adapter().reportSize, context.options().timeout);
    Bytes bytes;
    bytes.reserve(length);
    Progress progress(label, length);
    while (bytes.size() < length) {
        const Bytes got = read(bytes.size(), std::min(piece, length - bytes.size()));
        bytes.insert(bytes.end(), got.begin(), got.end());
        progress.update(bytes.size());
    }
    return bytes;
}

} // namespace tool
