#include "model/spi.hpp"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <utility>
#include <vector>

#include "model/probe.hpp"
#include "model/refusal.hpp"

namespace sim {

namespace {

constexpr std::uint32_t MAX_FREQUENCY = 50'000'000; // Hz
constexpr std::size_t COUNT = 6;
constexpr std::size_t DATA = 8;

std::uint8_t reversed(std::uint8_t byte)
{
    unsigned bits = byte;
    bits = (bits & 0x0Fu) << 4 | bits >> 4;
    bits = (bits & 0x33u) << 2 | (bits >> 2 & 0x33u);
    bits = (bits & 0x55u) << 1 | (bits >> 1 & 0x55u);
    return static_cast<std::uint8_t>(bits);
}

// Turns each word of `bytes` round, last bit first. Doing it twice undoes it.
void reverseWords(std::span<std::uint8_t> bytes, SpiDataWidth width)
{
    std::ranges::transform(bytes, bytes.begin(), reversed);
    for (std::size_t i = 0; width == SpiDataWidth::BITS_16 && i < bytes.size(); i += 2) {
        std::swap(bytes[i], bytes[i + 1]);
    }
}

Spi::Settings readSettings(Request& request)
{
    const auto fields = request.bytes(5);
    const std::uint32_t frequency = request.u32();
    request.end();
    require(frequency >= 1 && frequency <= MAX_FREQUENCY, DeviceStatus::BAD_PARAMETER);
    return {
        .bitOrder = upTo<SpiBitOrder::LSB_FIRST>(fields[0]),
        .mode = upTo<SpiMode::MODE_3>(fields[1]),
        .dataWidth = upTo<SpiDataWidth::BITS_16>(fields[2]),
        .chipSelect = upTo<SpiChipSelect::SELECT_3>(fields[3]),
        .chipSelectPolarity = upTo<SpiChipSelectPolarity::ACTIVE_HIGH>(fields[4]),
        .frequency = frequency,
    };
}

void controllerInit(Spi& spi, Request& request, OutputFrame&)
{
    spi.settings = readSettings(request);
}

void setParameters(Spi& spi, Request& request, OutputFrame&)
{
    const Spi::Settings settings = readSettings(request);
    require(spi.settings.has_value(), DeviceStatus::NOT_INITIALISED);
    spi.settings = settings;
}

// All devices listen to an active-low select and understand clock modes 0 and 3, which look alike to them.
SpiDevice* listener(const Spi& spi)
{
    const bool selected = spi.settings->chipSelectPolarity == SpiChipSelectPolarity::ACTIVE_LOW;
    const bool clocked = spi.settings->mode == SpiMode::MODE_0 || spi.settings->mode == SpiMode::MODE_3;
    return selected && clocked ? spi.devices[static_cast<std::size_t>(spi.settings->chipSelect)] : nullptr;
}

void transfer(Spi& spi, Request& request, OutputFrame& response)
{
    const std::uint16_t dataCount = request.u16();
    const std::uint16_t transferLength = request.u16();
    const auto data = request.rest();
    require(data.size() == dataCount, DeviceStatus::MALFORMED_FRAME);
    require(spi.settings.has_value(), DeviceStatus::NOT_INITIALISED);
    const std::uint16_t clocked = std::max(dataCount, transferLength);
    require(spi.settings->dataWidth == SpiDataWidth::BITS_8 || clocked % 2 == 0, DeviceStatus::BAD_PARAMETER);

    std::vector<std::uint8_t> sent(clocked, 0x00);
    std::ranges::copy(data, sent.begin());
    std::vector<std::uint8_t> received(clocked, 0xFF);
    const bool lastBitFirst = spi.settings->bitOrder == SpiBitOrder::LSB_FIRST;
    SpiDevice* const device = listener(spi);
    if (lastBitFirst) {
        reverseWords(sent, spi.settings->dataWidth);
    }
    if (device != nullptr) {
        received = device->exchange(sent);
    }
    if (spi.probe != nullptr) {
        spi.probe->spi(*spi.settings, sent, received);
    }
    if (lastBitFirst) {
        reverseWords(received, spi.settings->dataWidth);
    }
    response.setU16(COUNT, clocked);
    response.append(received);
}

} // namespace

void addSpiCommands(CommandTable& table, Spi& spi)
{
    table.add(CommandCode::SPI_CONTROLLER_INIT, spi, controllerInit);
    table.add(CommandCode::SPI_SET_PARAMETERS, spi, setParameters);
    table.add(CommandCode::SPI_TRANSFER, spi, transfer, DATA);
}

} // namespace sim
