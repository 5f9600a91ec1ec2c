#include "commands/i2c/each.hpp"

#include <fmt/format.h>

#include "adapter/statuses.hpp"
#include "arguments/transfers.hpp"
#include "console/interrupt.hpp"
#include "console/progress.hpp"

namespace tool {

EachRegister readEach(Context& context, const I2cPortOptions& port, std::uint8_t address, std::uint64_t first,
                      std::uint64_t count, unsigned registerBytes)
{
    EachRegister result{Bytes(count), {}};
    Progress progress(fmt::format("dumping 0x{:02x}", address), count);
    StatusCode status = StatusCode::SUCCESS;
    for (std::uint64_t i = 0; i < count; ++i) {
        Bytes byte;
        status = context.sdk().i2cRead(port.index(), address, encodeRegister(first + i, registerBytes), 1, byte, false);
        if (isStatus(status, DeviceStatus::NACK)) {
            throwIfInterrupted();
            result.absent.insert(i);
        } else {
            checkRead(context, status, port, address);
            result.bytes[i] = byte.front();
        }
        progress.update(i + 1);
    }
    if (result.absent.size() == count) {
        checkRead(context, status, port, address);
    }
    return result;
}

} // namespace tool
