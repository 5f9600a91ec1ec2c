// A NOR flash memory on the SPI bus.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <span>
#include <string>

#include "adapter/context.hpp"
#include "commands/memory/memory.hpp"
#include "commands/spi/controller.hpp"
#include "commands/spi/sfdp.hpp"

namespace tool {

// How long it may be busy.
struct FlashPatience {
    std::chrono::milliseconds erase{10'000};
    std::chrono::milliseconds program{1'000};
};

class NorFlash final : public Memory {
public:
    // The controller is set up.
    NorFlash(Context& context, const SpiControllerOptions& controller, FlashParameters parameters,
             const FlashPatience& patience = {});

    const Geometry& geometry() const override { return geometry_; }
    Carriage carriage() const override;
    Json fields() const override;
    Bytes read(std::uint64_t offset, std::size_t count) override;
    void erase(const Extent& block) override;
    void write(std::span<const PageWrite> pages, const std::function<void(std::size_t bytes)>& written) override;
    std::string adviceOnDifference() override;

private:
    Bytes command(std::uint8_t code, std::uint64_t address) const;
    void change(Bytes command, const std::string& action, std::chrono::milliseconds patience);

    Context& context_;
    const SpiControllerOptions controller_;
    const FlashParameters parameters_;
    const FlashPatience patience_;
    Geometry geometry_;
};

// A chip that is still at what an interrupted run began takes no other command, not even for its ID.
void waitForEarlierChange(Context& context, std::chrono::milliseconds patience = FlashPatience{}.erase);

} // namespace tool
