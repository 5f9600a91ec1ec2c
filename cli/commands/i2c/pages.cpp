#include "commands/i2c/pages.hpp"

#include <algorithm>
#include <chrono>
#include <vector>

#include <fmt/format.h>

#include "adapter/statuses.hpp"
#include "arguments/transfers.hpp"
#include "console/interrupt.hpp"
#include "console/progress.hpp"

namespace tool {

namespace {

std::vector<I2cPage> cut(const PagedWrite& where, std::span<const std::uint8_t> data)
{
    std::vector<I2cPage> pages;
    for (std::uint64_t reg = where.reg; !data.empty();) {
        const auto length = std::min<std::uint64_t>(data.size(), where.page - reg % where.page);
        pages.push_back({where.address, reg, data.first(length)});
        data = data.subspan(length);
        reg += length;
    }
    return pages;
}

} // namespace

// A memory that is still busy with the page before does not acknowledge. Such a one gets its further pages one by one:
// of several in flight it would take the one that meets it ready, whichever that is.
void writePages(Context& context, const PageOptions& options, std::span<const I2cPage> pages, std::string_view advice,
                const std::function<void(std::size_t pages)>& written)
{
    using Clock = std::chrono::steady_clock;
    std::size_t inFlight = options.inFlight;
    std::size_t first = 0; // page that is not written yet
    auto start = Clock::now();
    const auto send = [&](TarvixAsyncSDK& sdk, TransactionId transactionId, std::size_t command) {
        const I2cPage& page = pages[first + command];
        return sdk.i2cWrite(transactionId, options.bus, page.address, encodeRegister(page.reg, options.registerBytes),
                            {page.data.begin(), page.data.end()}, false);
    };
    const auto take = [&](std::size_t command, StatusCode status, const Bytes&) {
        throwIfInterrupted();
        if (status == StatusCode::SUCCESS) {
            written(first + command + 1);
        }
        return status;
    };
    while (first < pages.size()) {
        const auto [status, taken] = context.sdk().runInFlight(pages.size() - first, inFlight, send, take);
        first += taken;
        if (taken > 0) {
            start = Clock::now();
        }
        if (!isStatus(status, DeviceStatus::NACK) || Clock::now() - start >= options.busyLimit) {
            const I2cPage& page = pages[std::min(first, pages.size() - 1)];
            context.checkTransfer(status,
                                  fmt::format("writing to 0x{:02x} on bus {}, register 0x{:0{}x}", page.address,
                                              options.bus, page.reg, 2 * options.registerBytes),
                                  advice);
        }
        inFlight = 1;
    }
}

void writePages(Context& context, const PagedWrite& where, const Bytes& data, std::string_view advice)
{
    const std::vector<I2cPage> pages = cut(where, data);
    Progress progress(fmt::format("writing 0x{:02x}", where.address), data.size());
    writePages(context, {where.bus, where.registerBytes, where.inFlight, where.busyLimit}, pages, advice,
               [&](std::size_t count) {
                   const I2cPage& last = pages[count - 1];
                   progress.update(last.reg + last.data.size() - where.reg);
               });
}

} // namespace tool
