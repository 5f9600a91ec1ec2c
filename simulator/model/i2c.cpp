#include "model/i2c.hpp"

#include <cstddef>
#include <cstdint>
#include <vector>

#include "model/refusal.hpp"

namespace sim {

namespace {

constexpr std::uint32_t MAX_FREQUENCY = 3'400'000; // Hz
constexpr std::uint8_t MAX_PULL_UP = 3;
constexpr std::size_t MAX_REGISTER_BYTES = 4;

// Addresses outside these are reserved and never scanned.
constexpr std::uint8_t FIRST_SCANNED = 0x08;
constexpr std::uint8_t LAST_SCANNED = 0x77;

constexpr std::uint8_t FLOATING = 0xFF; // what is read while nobody drives the bus

constexpr std::size_t READ_BUS = 6;
constexpr std::size_t READ_COUNT = 7;
constexpr std::size_t READ_DATA = 9;
constexpr std::size_t SCAN_BUS = 6;
constexpr std::size_t SCAN_ONE_BYTE_COUNT = 7;
constexpr std::size_t SCAN_ENTRIES = 9;

// What the read and write commands have in common.
struct Transfer {
    std::uint8_t bus;
    std::uint16_t count;
    std::uint8_t address;
    std::uint8_t registerBytes;
    std::uint32_t registerAddress;
    std::uint8_t flag; // without effect here

    explicit Transfer(Request& request)
        : bus(request.u8()),
          count(request.u16()),
          address(request.u8()),
          registerBytes(request.u8()),
          registerAddress(request.u32()),
          flag(request.u8())
    {
    }

    void check() const
    {
        asSevenBitAddress(address);
        asFlag(flag);
        require(registerBytes <= MAX_REGISTER_BYTES, DeviceStatus::BAD_PARAMETER);
    }

    // The register address as it goes over the wire: it came as a number and leaves most significant byte first.
    std::vector<std::uint8_t> registerStream() const
    {
        std::vector<std::uint8_t> stream;
        for (int shift = 8 * registerBytes; shift > 0;) {
            shift -= 8;
            stream.push_back(static_cast<std::uint8_t>(registerAddress >> shift));
        }
        return stream;
    }
};

BusDevice& deviceAt(const I2c::Port& port, std::uint8_t address)
{
    require(!port.stuck, DeviceStatus::BUS_STUCK);
    const auto found = port.devices.find(address);
    require(found != port.devices.end(), DeviceStatus::NACK);
    return *found->second;
}

void requirePort(const I2c& i2c, std::uint8_t bus)
{
    require(bus < i2c.ports.size(), DeviceStatus::BAD_BUS);
}

const I2c::Port& initialisedPort(const I2c& i2c, std::uint8_t bus)
{
    requirePort(i2c, bus);
    require(i2c.initialised[bus], DeviceStatus::NOT_INITIALISED);
    return i2c.ports[bus];
}

void setPullUpResistors(I2c& i2c, Request& request, OutputFrame&)
{
    const auto fields = request.bytes(2);
    request.end();
    requirePort(i2c, fields[0]);
    require(fields[1] <= MAX_PULL_UP, DeviceStatus::BAD_PARAMETER);
}

// The settings decide nothing on a bus without time; they are checked as the hardware would. Returns whether the port
// is initialised.
bool& configure(I2c& i2c, Request& request)
{
    const std::uint8_t bus = request.u8();
    const std::uint32_t frequency = request.u32();
    request.u8(); // the option may be anything
    request.end();
    requirePort(i2c, bus);
    require(frequency >= 1 && frequency <= MAX_FREQUENCY, DeviceStatus::BAD_PARAMETER);
    return i2c.initialised[bus];
}

void controllerInit(I2c& i2c, Request& request, OutputFrame&)
{
    configure(i2c, request) = true;
}

void setParameters(I2c& i2c, Request& request, OutputFrame&)
{
    require(configure(i2c, request), DeviceStatus::NOT_INITIALISED);
}

void write(I2c& i2c, Request& request, OutputFrame&)
{
    const Transfer transfer(request);
    const auto data = request.rest();
    require(data.size() == transfer.count, DeviceStatus::MALFORMED_FRAME);
    const I2c::Port& port = initialisedPort(i2c, transfer.bus);
    transfer.check();

    BusDevice& device = deviceAt(port, transfer.address);
    std::vector<std::uint8_t> stream = transfer.registerStream();
    stream.insert(stream.end(), data.begin(), data.end());
    require(device.write(stream), DeviceStatus::NACK);
}

void read(I2c& i2c, Request& request, OutputFrame& response)
{
    const Transfer transfer(request);
    request.end();
    const I2c::Port& port = initialisedPort(i2c, transfer.bus);
    transfer.check();

    BusDevice& device = deviceAt(port, transfer.address);
    const auto stream = transfer.registerStream();
    require(stream.empty() || device.write(stream), DeviceStatus::NACK);
    std::vector<std::uint8_t> data(transfer.count, FLOATING);
    require(device.read(data).has_value(), DeviceStatus::NACK);
    response.setU8(READ_BUS, transfer.bus);
    response.setU16(READ_COUNT, transfer.count);
    response.append(data);
}

void scanBus(I2c& i2c, Request& request, OutputFrame& response)
{
    const auto fields = request.bytes(2);
    request.end();
    const I2c::Port& port = initialisedPort(i2c, fields[0]);
    asFlag(fields[1]); // without effect here
    require(!port.stuck, DeviceStatus::BUS_STUCK);

    std::vector<std::uint8_t> found;
    for (const auto& [address, device] : port.devices) {
        if (address >= FIRST_SCANNED && address <= LAST_SCANNED && device->write({})) {
            found.push_back(address);
        }
    }
    response.setU8(SCAN_BUS, fields[0]);
    response.setU8(SCAN_ONE_BYTE_COUNT, static_cast<std::uint8_t>(found.size()));
    response.append(found);
}

} // namespace

void addI2cCommands(CommandTable& table, I2c& i2c)
{
    table.add(CommandCode::I2C_SET_PULL_UP_RESISTORS, i2c, setPullUpResistors);
    table.add(CommandCode::I2C_CONTROLLER_INIT, i2c, controllerInit);
    table.add(CommandCode::I2C_SET_PARAMETERS, i2c, setParameters);
    table.add(CommandCode::I2C_WRITE, i2c, write);
    table.add(CommandCode::I2C_READ, i2c, read, READ_DATA);
    table.add(CommandCode::I2C_SCAN_BUS, i2c, scanBus, SCAN_ENTRIES);
}

} // namespace sim
