#include "model/i3c.hpp"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <span>
#include <utility>
#include <vector>

#include "model/refusal.hpp"
#include "tarvixsdk/types.h"

namespace sim {

namespace {

constexpr std::size_t MAX_REGISTER_BYTES = 4;

constexpr std::size_t TABLE_COUNT = 6;
constexpr std::size_t TABLE_RECORDS = 7;
constexpr std::size_t TABLE_MAX = 255; // the count is a byte

constexpr std::size_t PRIVATE_ADDRESS = 6;
constexpr std::size_t PRIVATE_MODE = 7;
constexpr std::size_t PRIVATE_COUNT = 8;
constexpr std::size_t PRIVATE_DATA = 10;

enum class Pattern : std::uint8_t { TARGET_RESET = 0, HDR_EXIT = 1 };

I3cTargetInfo readRecord(Request& request)
{
    I3cTargetInfo record{};
    record.staticAddress = request.u8();
    record.dynamicAddress = request.u8();
    std::ranges::copy(request.bytes(sizeof record.pid), record.pid);
    record.bcr = request.u8();
    record.dcr = request.u8();
    record.extraWord1 = request.u16();
    record.extraWord2 = request.u16();
    record.extraByte1 = request.u8();
    record.extraByte2 = request.u8();
    return record;
}

void appendRecord(OutputFrame& frame, const I3cTargetInfo& record)
{
    const auto low = [](std::uint16_t word) { return static_cast<std::uint8_t>(word); };
    const auto high = [](std::uint16_t word) { return static_cast<std::uint8_t>(word >> 8); };
    std::vector<std::uint8_t> bytes{record.staticAddress, record.dynamicAddress};
    bytes.insert(bytes.end(), std::begin(record.pid), std::end(record.pid));
    bytes.insert(bytes.end(), {record.bcr, record.dcr, low(record.extraWord1), high(record.extraWord1),
                               low(record.extraWord2), high(record.extraWord2), record.extraByte1, record.extraByte2});
    frame.append(bytes);
}

void readSettings(Request& request)
{
    const auto fields = request.bytes(4);
    request.end();
    upTo<I3cPushPullRate::MHZ_2>(fields[0]);
    upTo<I3cOpenDrainTransferRate::MHZ_4>(fields[1]);
    upTo<I2cTransferRate::MHZ_1>(fields[2]);
    upTo<I3cDriveStrength::HIGH>(fields[3]);
}

// A private transfer as read from its frame: the SDR and legacy I2C layout with a register address, the HDR-DDR layout
// with a command instead.
struct Transfer {
    std::uint8_t address;
    std::uint8_t modeByte;
    I3cTransferMode mode;
    bool reads;
    std::vector<std::uint8_t> registerStream; // what goes to the device before the data
    std::uint16_t length;
    std::span<const std::uint8_t> data;

    explicit Transfer(Request& request);
};

Transfer::Transfer(Request& request)
    : address(request.u8()),
      modeByte(request.u8()),
      mode(upTo<I3cTransferMode::LEGACY_I2C>(static_cast<std::uint8_t>(modeByte >> 1 & 0x03))),
      reads((modeByte & 0x01) != 0)
{
    const std::uint8_t command = request.u8();
    const std::size_t registerBytes = request.u8();
    const bool hdr = mode == I3cTransferMode::HDR_DDR;
    const auto registerField = request.bytes(hdr ? 0 : MAX_REGISTER_BYTES);
    length = request.u16();
    data = request.rest();
    require(data.size() == (reads ? 0 : length), DeviceStatus::MALFORMED_FRAME);
    require(registerBytes <= registerField.size(), DeviceStatus::BAD_PARAMETER);
    asSevenBitAddress(address);
    if (hdr) {
        // Bit 7 of the command tells the direction on the wire; the controller sets it by itself.
        registerStream.push_back(command & 0x7F);
    } else {
        const auto used = registerField.first(registerBytes);
        registerStream.assign(used.begin(), used.end());
    }
}

void requireUp(const I3c& i3c)
{
    require(i3c.bus.isUp(), DeviceStatus::NOT_INITIALISED);
}

void controllerInit(I3c& i3c, Request& request, OutputFrame&)
{
    readSettings(request);
    i3c.initialised = true;
}

void setParameters(I3c& i3c, Request& request, OutputFrame&)
{
    readSettings(request);
    require(i3c.initialised, DeviceStatus::NOT_INITIALISED);
}

void initBus(I3c& i3c, Request& request, OutputFrame&)
{
    std::vector<I3cTargetInfo> listed(request.u8());
    for (I3cTargetInfo& record : listed) {
        record = readRecord(request);
    }
    request.end();
    require(i3c.initialised, DeviceStatus::NOT_INITIALISED);
    i3c.bus.bringUp(std::move(listed));
}

void resetBus(I3c& i3c, Request& request, OutputFrame&)
{
    request.end();
    requireUp(i3c);
    i3c.bus.resetAddresses();
}

void getDeviceTable(I3c& i3c, Request& request, OutputFrame& response)
{
    request.end();
    requireUp(i3c);
    const auto table = i3c.bus.deviceTable();
    const std::size_t count = std::min(table.size(), TABLE_MAX);
    response.setU8(TABLE_COUNT, static_cast<std::uint8_t>(count));
    for (const I3cTargetInfo& record : std::span(table).first(count)) {
        appendRecord(response, record);
    }
}

void setTargetConfiguration(I3c& i3c, Request& request, OutputFrame&)
{
    const auto fields = request.bytes(2);
    request.end();
    requireUp(i3c);
    i3c.bus.setConfiguration(asSevenBitAddress(fields[0]), fields[1]);
}

std::vector<BusDevice*> receivers(const I3c& i3c, const Transfer& transfer)
{
    if (transfer.mode == I3cTransferMode::LEGACY_I2C) {
        return {&i3c.bus.legacyDevice(transfer.address)};
    }
    // A group can be written to, never read.
    I3cBus::Targets targets =
        transfer.reads ? I3cBus::Targets{&i3c.bus.target(transfer.address)} : i3c.bus.targetsOrGroup(transfer.address);
    if (transfer.mode == I3cTransferMode::HDR_DDR) {
        std::erase_if(targets, [](const I3cTarget* target) { return (target->capabilities(1) & caps1::HDR_DDR) == 0; });
        require(!targets.empty(), DeviceStatus::NACK);
    }
    return {targets.begin(), targets.end()};
}

void privateTransfer(I3c& i3c, Request& request, OutputFrame& response)
{
    const Transfer transfer(request);
    requireUp(i3c);
    i3c.bus.start();
    std::vector<std::uint8_t> read(transfer.reads ? transfer.length : 0);
    std::vector<std::uint8_t> written = transfer.registerStream;
    written.insert(written.end(), transfer.data.begin(), transfer.data.end());
    bool acknowledged = false;
    for (BusDevice* const device : receivers(i3c, transfer)) {
        acknowledged |= written.empty() || device->write(written);
        if (transfer.reads && acknowledged) {
            const auto count = device->read(read);
            acknowledged = count.has_value();
            read.resize(count.value_or(0));
        }
    }
    require(acknowledged, DeviceStatus::NACK);
    response.setU8(PRIVATE_ADDRESS, transfer.address);
    response.setU8(PRIVATE_MODE, transfer.modeByte);
    response.setU16(PRIVATE_COUNT, static_cast<std::uint16_t>(read.size()));
    response.append(read);
    i3c.bus.serveEvents();
}

void busPattern(I3c& i3c, Request& request, OutputFrame&)
{
    const std::uint8_t selector = request.u8();
    request.end();
    const Pattern pattern = upTo<Pattern::HDR_EXIT>(selector);
    requireUp(i3c);
    // No transfer ends in an HDR mode here, so the exit pattern finds nobody to bring back.
    if (pattern == Pattern::TARGET_RESET) {
        i3c.bus.resetPattern();
    }
}

} // namespace

void addI3cCommands(CommandTable& table, I3c& i3c)
{
    table.add(CommandCode::I3C_CONTROLLER_INIT, i3c, controllerInit);
    table.add(CommandCode::I3C_SET_PARAMETERS, i3c, setParameters);
    table.add(CommandCode::I3C_INIT_BUS, i3c, initBus);
    table.add(CommandCode::I3C_RESET_BUS, i3c, resetBus);
    table.add(CommandCode::I3C_GET_DEVICE_TABLE, i3c, getDeviceTable, TABLE_RECORDS);
    table.add(CommandCode::I3C_SET_TARGET_CONFIGURATION, i3c, setTargetConfiguration);
    table.add(CommandCode::I3C_PRIVATE_TRANSFER, i3c, privateTransfer, PRIVATE_DATA);
    table.add(CommandCode::I3C_BUS_PATTERN, i3c, busPattern);
}

} // namespace sim
