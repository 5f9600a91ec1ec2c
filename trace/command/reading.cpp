#include "trace/command/reading.hpp"

#include <fmt/format.h>

#include "console/errors.hpp"

namespace trace {

namespace {

void readRecords(CaptureReader& reader, const std::function<void(const Record&)>& take,
                 const std::function<bool(const CaptureError*)>& end)
{
    try {
        for (Record record; reader.next(record);) {
            take(record);
        }
    } catch (const CaptureError& damage) {
        end(&damage);
        throw;
    }
}

} // namespace

void readCapture(const std::string& path, const std::function<void(const Record&)>& take,
                 const std::function<bool(const CaptureError*)>& end)
{
    try {
        CaptureReader reader(path);
        readRecords(reader, take, end);
        if (!end(nullptr)) {
            throw CaptureError(fmt::format("{}: no traffic of an adapter in its {} records", path, reader.count()),
                               "record it with 'tarvix trace -o FILE -- COMMAND'");
        }
    } catch (const CaptureError& error) {
        throw tool::Failure(tool::ExitStatus::REFUSED, error.what(), error.advice());
    }
}

} // namespace trace
