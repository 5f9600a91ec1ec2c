#include "commands/spi/nor_flash.hpp"

#include <algorithm>
#include <utility>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "console/errors.hpp"

namespace tool {

namespace {

constexpr std::uint8_t READ_STATUS = 0x05;
constexpr std::uint8_t WRITE_ENABLE = 0x06;

constexpr std::uint8_t BUSY = 0x01;
constexpr std::uint8_t BLOCK_PROTECTION = 0x1C; // three bits that nearly all have; some have more beside them

std::uint8_t readStatus(Context& context)
{
    return exchangeBytes(context, {READ_STATUS}, 2)[1];
}

// `action` is "erasing at 0x1000".
void waitWhileBusy(Context& context, const std::string& action, std::chrono::milliseconds patience)
{
    using Clock = std::chrono::steady_clock;
    const auto deadline = Clock::now() + patience;
    for (;;) {
        const bool late = Clock::now() >= deadline;
        const std::uint8_t status = readStatus(context);
        if ((status & BUSY) == 0) {
            return;
        }
        if (late) {
            throw Failure(ExitStatus::NO_ANSWER,
                          fmt::format("{}: the flash is still busy after {} ms, its status is 0x{:02x}", action,
                                      patience.count(), status),
                          "check the wiring, the supply and --clock");
        }
    }
}

} // namespace

void waitForEarlierChange(Context& context, std::chrono::milliseconds patience)
{
    constexpr std::uint8_t NOBODY = 0xFF;
    if (readStatus(context) != NOBODY) {
        waitWhileBusy(context, "an erase or a write that was begun earlier", patience);
    }
}

NorFlash::NorFlash(Context& context, const SpiControllerOptions& controller, FlashParameters parameters,
                   const FlashPatience& patience)
    : context_(context), controller_(controller), parameters_(std::move(parameters)), patience_(patience)
{
    geometry_ = {parameters_.size, parameters_.page};
    for (const FlashErase& erase : parameters_.erases) {
        geometry_.erasable.push_back(erase.size);
    }
}

Carriage NorFlash::carriage() const
{
    constexpr unsigned CLOCKS_PER_BYTE = 8;
    constexpr std::size_t ANSWER_OVERHEAD = 8;
    // What the chip sends while it gets command and address comes back, too.
    return {controller_.clock, CLOCKS_PER_BYTE, ANSWER_OVERHEAD + 1 + parameters_.addressBytes};
}

Json NorFlash::fields() const
{
    return {{"select", static_cast<unsigned>(controller_.select)}};
}

Bytes NorFlash::command(std::uint8_t code, std::uint64_t address) const
{
    Bytes bytes{code};
    for (unsigned shift = 8 * parameters_.addressBytes; shift > 0;) {
        shift -= 8;
        bytes.push_back(static_cast<std::uint8_t>(address >> shift));
    }
    return bytes;
}

Bytes NorFlash::read(std::uint64_t offset, std::size_t count)
{
    Bytes request = command(parameters_.readCommand, offset);
    const std::size_t header = request.size();
    Bytes received = exchangeBytes(context_, std::move(request), header + count);
    received.erase(received.begin(), received.begin() + static_cast<std::ptrdiff_t>(header));
    return received;
}

void NorFlash::change(Bytes command, const std::string& action, std::chrono::milliseconds patience)
{
    exchangeBytes(context_, {WRITE_ENABLE}, 1);
    const std::size_t length = command.size();
    exchangeBytes(context_, std::move(command), length);
    waitWhileBusy(context_, action, patience);
}

void NorFlash::erase(const Extent& block)
{
    const auto erase = std::ranges::find(parameters_.erases, block.length, &FlashErase::size);
    change(command(erase->command, block.offset), fmt::format("erasing at 0x{:x}", block.offset), patience_.erase);
}

void NorFlash::write(std::span<const PageWrite> pages, const std::function<void(std::size_t bytes)>& written)
{
    for (const PageWrite& page : pages) {
        Bytes program = command(parameters_.programCommand, page.offset);
        program.insert(program.end(), page.data.begin(), page.data.end());
        change(std::move(program), fmt::format("writing at 0x{:x}", page.offset), patience_.program);
        written(page.data.size());
    }
}

std::string NorFlash::adviceOnDifference()
{
    const std::uint8_t status = readStatus(context_);
    if ((status & BLOCK_PROTECTION) != 0) {
        return fmt::format("the block-protect bits of its status (0x{:02x}) are set: clear them", status);
    }
    return "retry with a slower --clock; check the supply and the write-protect pin";
}

} // namespace tool
