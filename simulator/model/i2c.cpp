#include "model/i2c.hpp"

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

BusDevice& deviceAt(const I2c::Devices& devices, std::uint8_t address)
{
    const auto found = devices.find(address);
    require(found != devices.end(), DeviceStatus::NACK);
    return *found->second;
}

} // namespace

I2c::I2c(CommandTable& table, const std::array<Devices, PORTS>& devices)
    : ports_{Port{.devices = devices[0]}, Port{.devices = devices[1]}}
{
    table.add(CommandCode::I2C_SET_PULL_UP_RESISTORS, *this, &I2c::setPullUpResistors);
    table.add(CommandCode::I2C_CONTROLLER_INIT, *this, &I2c::controllerInit);
    table.add(CommandCode::I2C_SET_PARAMETERS, *this, &I2c::setParameters);
    table.add(CommandCode::I2C_WRITE, *this, &I2c::write);
    table.add(CommandCode::I2C_READ, *this, &I2c::read, READ_DATA);
    table.add(CommandCode::I2C_SCAN_BUS, *this, &I2c::scanBus, SCAN_ENTRIES);
}

I2c::Port& I2c::portOf(std::uint8_t bus)
{
    require(bus < ports_.size(), DeviceStatus::BAD_BUS);
    return ports_[bus];
}

I2c::Port& I2c::initialisedPort(std::uint8_t bus)
{
    Port& port = portOf(bus);
    require(port.initialised, DeviceStatus::NOT_INITIALISED);
    return port;
}

void I2c::setPullUpResistors(Request& request, OutputFrame&)
{
    const auto fields = request.bytes(2);
    request.end();
    portOf(fields[0]);
    require(fields[1] <= MAX_PULL_UP, DeviceStatus::BAD_PARAMETER);
}

// The settings decide nothing on a bus without time; they are checked as the hardware would.
I2c::Port& I2c::configure(Request& request)
{
    const std::uint8_t bus = request.u8();
    const std::uint32_t frequency = request.u32();
    request.u8(); // the option may be anything
    request.end();
    Port& port = portOf(bus);
    require(frequency >= 1 && frequency <= MAX_FREQUENCY, DeviceStatus::BAD_PARAMETER);
    return port;
}

void I2c::controllerInit(Request& request, OutputFrame&)
{
    configure(request).initialised = true;
}

void I2c::setParameters(Request& request, OutputFrame&)
{
    require(configure(request).initialised, DeviceStatus::NOT_INITIALISED);
}

void I2c::write(Request& request, OutputFrame&)
{
    const Transfer transfer(request);
    const auto data = request.rest();
    require(data.size() == transfer.count, DeviceStatus::MALFORMED_FRAME);
    const Port& port = initialisedPort(transfer.bus);
    transfer.check();

    BusDevice& device = deviceAt(port.devices, transfer.address);
    std::vector<std::uint8_t> stream = transfer.registerStream();
    stream.insert(stream.end(), data.begin(), data.end());
    device.write(stream);
}

void I2c::read(Request& request, OutputFrame& response)
{
    const Transfer transfer(request);
    request.end();
    const Port& port = initialisedPort(transfer.bus);
    transfer.check();

    BusDevice& device = deviceAt(port.devices, transfer.address);
    device.write(transfer.registerStream());
    std::vector<std::uint8_t> data(transfer.count);
    device.read(data);
    response.setU8(READ_BUS, transfer.bus);
    response.setU16(READ_COUNT, transfer.count);
    response.append(data);
}

void I2c::scanBus(Request& request, OutputFrame& response)
{
    const auto fields = request.bytes(2);
    request.end();
    const Port& port = initialisedPort(fields[0]);
    asFlag(fields[1]); // without effect here

    std::vector<std::uint8_t> found;
    for (std::uint8_t address = FIRST_SCANNED; address <= LAST_SCANNED; ++address) {
        if (port.devices.contains(address)) {
            found.push_back(address);
        }
    }
    response.setU8(SCAN_BUS, fields[0]);
    response.setU8(SCAN_ONE_BYTE_COUNT, static_cast<std::uint8_t>(found.size()));
    response.append(found);
}

} // namespace sim
