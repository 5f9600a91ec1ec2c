#include "commands/i2c/pages.hpp"

#include <algorithm>
#include <chrono>

#include <fmt/format.h>

#include "adapter/statuses.hpp"
#include "arguments/transfers.hpp"
#include "console/interrupt.hpp"
#include "console/progress.hpp"

namespace tool {

namespace {

// The data cut at the ends of the memory's pages.
class Pages {
public:
    Pages(const PagedWrite& where, const Bytes& data) : where_(where), data_(data) {}

    std::size_t count() const { return (where_.reg % where_.page + data_.size() + where_.page - 1) / where_.page; }

    // How much of the data lies before this page.
    std::size_t before(std::size_t index) const
    {
        const std::uint64_t first = where_.reg % where_.page;
        return index == 0 ? 0 : std::min<std::uint64_t>(index * where_.page - first, data_.size());
    }

    Bytes registerAddress(std::size_t index) const
    {
        return encodeRegister(where_.reg + before(index), where_.registerBytes);
    }

    Bytes bytes(std::size_t index) const
    {
        const auto at = [&](std::size_t page) { return data_.begin() + static_cast<std::ptrdiff_t>(before(page)); };
        return {at(index), at(index + 1)};
    }

private:
    const PagedWrite& where_;
    const Bytes& data_;
};

} // namespace

// A memory that is still busy with the page before does not acknowledge. Such a one gets its further pages one by one:
// of several in flight it would take the one that meets it ready, whichever that is.
void writePages(Context& context, const PagedWrite& where, const Bytes& data, std::string_view advice)
{
    using Clock = std::chrono::steady_clock;
    const Pages pages(where, data);
    Progress progress(fmt::format("writing 0x{:02x}", where.address), data.size());
    std::size_t inFlight = where.inFlight;
    std::size_t first = 0; // page that is not written yet
    auto start = Clock::now();
    const auto send = [&](TarvixAsyncSDK& sdk, TransactionId transactionId, std::size_t command) {
        return sdk.i2cWrite(transactionId, where.bus, where.address, pages.registerAddress(first + command),
                            pages.bytes(first + command), false);
    };
    const auto take = [&](std::size_t command, StatusCode status, const Bytes&) {
        throwIfInterrupted();
        if (status == StatusCode::SUCCESS) {
            progress.update(pages.before(first + command + 1));
        }
        return status;
    };
    while (first < pages.count()) {
        const auto [status, written] = context.sdk().runInFlight(pages.count() - first, inFlight, send, take);
        first += written;
        if (written > 0) {
            start = Clock::now();
        }
        if (!isStatus(status, DeviceStatus::NACK) || Clock::now() - start >= where.busyLimit) {
            context.checkTransfer(status,
                                  fmt::format("writing to 0x{:02x} on bus {}, register 0x{:0{}x}", where.address,
                                              where.bus, where.reg + pages.before(first), 2 * where.registerBytes),
                                  advice);
        }
        inFlight = 1;
    }
}

} // namespace tool
