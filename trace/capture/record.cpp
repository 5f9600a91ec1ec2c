#include "trace/capture/record.hpp"

#include <algorithm>
#include <cstring>

namespace trace {

namespace {

constexpr std::size_t SHORT_HEADER = 48;

} // namespace

bool parseRecord(int linkType, std::span<const std::uint8_t> packet, std::size_t original, Record& record)
{
    const std::size_t size = linkType == LINK_USB_LINUX ? SHORT_HEADER : sizeof record.header;
    if (packet.size() < size) {
        return false;
    }
    record.header = {};
    std::memcpy(&record.header, packet.data(), size);
    const std::int64_t seconds = std::clamp<std::int64_t>(record.header.seconds, 0, MOST_SECONDS);
    record.moment = seconds * SECOND + std::int64_t{record.header.microseconds} * MICROSECOND;
    const bool hasData = record.header.dataFlag == 0;
    const std::size_t wanted = hasData ? record.header.captured : 0;
    record.data = packet.subspan(size, std::min(wanted, packet.size() - size));
    record.cut = hasData && (record.data.size() < wanted || packet.size() < original);
    return true;
}

} // namespace trace
