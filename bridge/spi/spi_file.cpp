#include "spi/spi_file.hpp"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <utility>

#include <linux/spi/spidev.h>

namespace bridge {

namespace {

constexpr std::uint32_t MODES = SPI_CPHA | SPI_CPOL | SPI_CS_HIGH | SPI_LSB_FIRST;

std::uint32_t modeOf(const SpiSettings& settings)
{
    return static_cast<std::uint32_t>(settings.mode) |
           (settings.polarity == SpiChipSelectPolarity::ACTIVE_HIGH ? SPI_CS_HIGH : 0U) |
           (settings.bitOrder == SpiBitOrder::LSB_FIRST ? SPI_LSB_FIRST : 0U);
}

std::uint32_t bitsOf(const SpiSettings& settings)
{
    return settings.width == SpiDataWidth::BITS_16 ? 16 : 8;
}

SpiDataWidth widthOf(std::uint32_t bits)
{
    if (bits != 8 && bits != 16) {
        throw Errno{EINVAL};
    }
    return bits == 16 ? SpiDataWidth::BITS_16 : SpiDataWidth::BITS_8;
}

std::uint32_t wordAt(UserMemory& memory, std::size_t size)
{
    const auto bytes = memory.read({memory.argument(), size});
    memory.complete();
    return size == 1 ? bytes[0] : numberAt<std::uint32_t>(bytes, 0);
}

// Programs have words in the machine's byte order, the adapter takes the high byte first.
void swapWords(Bytes& bytes, SpiDataWidth width)
{
    for (std::size_t i = 0; width == SpiDataWidth::BITS_16 && i + 1 < bytes.size(); i += 2) {
        std::swap(bytes[i], bytes[i + 1]);
    }
}

std::vector<spi_ioc_transfer> readTransfers(UserMemory& memory, std::size_t size)
{
    if (size % sizeof(spi_ioc_transfer) != 0) {
        throw Errno{EINVAL};
    }
    const auto table = memory.read({memory.argument(), size});
    std::vector<spi_ioc_transfer> transfers;
    std::size_t total = 0;
    for (std::size_t at = 0; at < size; at += sizeof(spi_ioc_transfer)) {
        auto& transfer = transfers.emplace_back(numberAt<spi_ioc_transfer>(table, at));
        transfer.tx_buf = memory.pointer(transfer.tx_buf);
        transfer.rx_buf = memory.pointer(transfer.rx_buf);
        total += transfer.len;
        if (total > SpiBus::LONGEST) {
            throw Errno{EMSGSIZE};
        }
    }
    return transfers;
}

SpiSettings settingsOf(const spi_ioc_transfer& transfer, SpiSettings settings)
{
    if (transfer.bits_per_word != 0) {
        settings.width = widthOf(transfer.bits_per_word);
    }
    if (transfer.speed_hz != 0) {
        settings.clock = std::min(transfer.speed_hz, SpiBus::FASTEST);
    }
    return settings;
}

void requireWholeWords(SpiDataWidth width, std::size_t bytes)
{
    if (width == SpiDataWidth::BITS_16 && bytes % 2 != 0) {
        throw Errno{EINVAL};
    }
}

void requireBytes(std::size_t bytes)
{
    if (bytes == 0) { // the chip would be selected for nothing
        throw Errno{EOPNOTSUPP};
    }
}

// What happens between select and deselect: one transfer, or several that keep the chip selected.
struct Exchange {
    SpiSettings settings;
    Bytes sent;
    unsigned pause; // microseconds behind it
};

void requireExpressible(const spi_ioc_transfer& transfer, bool keepsSelected, bool isLast)
{
    if (transfer.tx_nbits > 1 || transfer.rx_nbits > 1) {
        throw Errno{EINVAL};
    }
    const bool staysSelected = isLast && transfer.cs_change != 0;
    if (staysSelected || transfer.word_delay_usecs != 0 || (keepsSelected && transfer.delay_usecs != 0)) {
        throw Errno{EOPNOTSUPP};
    }
}

std::vector<Exchange> exchangesOf(std::span<const spi_ioc_transfer> transfers, const SpiSettings& settings,
                                  UserMemory& memory)
{
    std::vector<Exchange> exchanges;
    bool continues = false;
    for (const spi_ioc_transfer& transfer : transfers) {
        const bool isLast = &transfer == &transfers.back();
        const bool keepsSelected = !isLast && transfer.cs_change == 0;
        requireExpressible(transfer, keepsSelected, isLast);
        const SpiSettings own = settingsOf(transfer, settings);
        requireWholeWords(own.width, transfer.len);
        if (!continues) {
            exchanges.push_back({own, {}, 0});
        }
        Exchange& exchange = exchanges.back();
        if (own != exchange.settings) { // it would be changed while the chip is selected
            throw Errno{EOPNOTSUPP};
        }
        const auto sent =
            transfer.tx_buf != 0 ? memory.readLater({transfer.tx_buf, transfer.len}) : std::span<const std::uint8_t>();
        exchange.sent.insert(exchange.sent.end(), sent.begin(), sent.end());
        exchange.sent.resize(exchange.sent.size() + transfer.len - sent.size());
        if (transfer.rx_buf != 0) {
            memory.announce({transfer.rx_buf, transfer.len});
        }
        exchange.pause = transfer.delay_usecs;
        continues = keepsSelected;
        if (!continues) {
            requireBytes(exchange.sent.size());
        }
    }
    return exchanges;
}

} // namespace

int SpiFile::ioctl(unsigned command, UserMemory& memory)
{
    switch (command) {
    case SPI_IOC_RD_MODE:
        return get(memory, 1, modeOf(settings_));
    case SPI_IOC_RD_MODE32:
        return get(memory, 4, modeOf(settings_));
    case SPI_IOC_RD_LSB_FIRST:
        return get(memory, 1, settings_.bitOrder == SpiBitOrder::LSB_FIRST ? 1 : 0);
    case SPI_IOC_RD_BITS_PER_WORD:
        return get(memory, 1, bitsOf(settings_));
    case SPI_IOC_RD_MAX_SPEED_HZ:
        return get(memory, 4, settings_.clock);
    case SPI_IOC_WR_MODE:
        return setMode(wordAt(memory, 1));
    case SPI_IOC_WR_MODE32:
        return setMode(wordAt(memory, 4));
    case SPI_IOC_WR_LSB_FIRST:
        settings_.bitOrder = wordAt(memory, 1) != 0 ? SpiBitOrder::LSB_FIRST : SpiBitOrder::MSB_FIRST;
        return 0;
    case SPI_IOC_WR_BITS_PER_WORD:
        return setWidth(wordAt(memory, 1));
    case SPI_IOC_WR_MAX_SPEED_HZ:
        return setClock(wordAt(memory, 4));
    default:
        break;
    }
    if (_IOC_TYPE(command) != SPI_IOC_MAGIC || _IOC_NR(command) != 0 || _IOC_DIR(command) != _IOC_WRITE) {
        throw Errno{ENOTTY};
    }
    return message(memory, _IOC_SIZE(command));
}

Bytes SpiFile::read(std::size_t size)
{
    return simply(Bytes(size));
}

std::size_t SpiFile::write(std::span<const std::uint8_t> bytes)
{
    return simply({bytes.begin(), bytes.end()}).size();
}

int SpiFile::get(UserMemory& memory, std::size_t size, std::uint32_t value) const
{
    memory.announce({memory.argument(), size});
    memory.complete();
    std::uint8_t bytes[sizeof value]; // the low byte first, as numberAt has it
    std::memcpy(bytes, &value, sizeof value);
    memory.write(std::span(bytes).first(size));
    return 0;
}

int SpiFile::setMode(std::uint32_t mode)
{
    if ((mode & ~MODES) != 0) {
        throw Errno{EINVAL};
    }
    settings_.mode = static_cast<SpiMode>(mode & (SPI_CPHA | SPI_CPOL));
    settings_.polarity =
        (mode & SPI_CS_HIGH) != 0 ? SpiChipSelectPolarity::ACTIVE_HIGH : SpiChipSelectPolarity::ACTIVE_LOW;
    settings_.bitOrder = (mode & SPI_LSB_FIRST) != 0 ? SpiBitOrder::LSB_FIRST : SpiBitOrder::MSB_FIRST;
    return 0;
}

int SpiFile::setWidth(std::uint32_t bits)
{
    settings_.width = widthOf(bits == 0 ? 8 : bits);
    return 0;
}

int SpiFile::setClock(std::uint32_t clock)
{
    if (clock == 0) {
        throw Errno{EINVAL};
    }
    settings_.clock = std::min(clock, SpiBus::FASTEST);
    return 0;
}

int SpiFile::message(UserMemory& memory, std::size_t size)
{
    const auto transfers = readTransfers(memory, size);
    std::vector<Exchange> exchanges = exchangesOf(transfers, settings_, memory);
    memory.complete();
    Bytes received;
    for (Exchange& each : exchanges) {
        const Bytes more = exchange(each.settings, std::move(each.sent));
        received.insert(received.end(), more.begin(), more.end());
        bus_.pause(std::chrono::microseconds(each.pause));
    }
    std::size_t at = 0;
    for (const spi_ioc_transfer& transfer : transfers) {
        if (transfer.rx_buf != 0) {
            memory.write(std::span(received).subspan(at, transfer.len));
        }
        at += transfer.len;
    }
    return static_cast<int>(received.size());
}

Bytes SpiFile::simply(Bytes sent) const
{
    if (sent.size() > SpiBus::LONGEST) {
        throw Errno{EMSGSIZE};
    }
    requireBytes(sent.size());
    requireWholeWords(settings_.width, sent.size());
    return exchange(settings_, std::move(sent));
}

Bytes SpiFile::exchange(const SpiSettings& settings, Bytes sent) const
{
    swapWords(sent, settings.width);
    Bytes received = bus_.transfer(settings, sent);
    swapWords(received, settings.width);
    return received;
}

} // namespace bridge
