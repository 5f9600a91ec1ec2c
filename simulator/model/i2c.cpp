#include "model/i2c.hpp"

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "model/probe.hpp"
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

// What is said to one address between start and stop. At its end, which a refusal may be, it tells the probe.
class Conversation {
public:
    Conversation(const I2c& i2c, std::uint8_t bus, std::uint8_t address)
        : i2c_(i2c), bus_(bus), address_(address), device_(deviceAt(i2c.ports[bus], address))
    {
        require(!i2c.ports[bus].stuck, DeviceStatus::BUS_STUCK);
    }
    ~Conversation()
    {
        if (i2c_.probe != nullptr) {
            i2c_.probe->i2c(bus_, i2c_.settings[bus_].frequency, std::span(messages_).first(count_));
        }
    }
    Conversation(const Conversation&) = delete;
    Conversation& operator=(const Conversation&) = delete;

    // The bytes outlive the conversation. False, or nothing read, when they were not acknowledged.
    bool write(std::span<const std::uint8_t> stream)
    {
        const bool all = device_ != nullptr && device_->write(stream);
        messages_[count_++] = {address_, false, stream, all ? stream.size() : acknowledgedByDevice()};
        return all;
    }
    bool read(std::span<std::uint8_t> into)
    {
        const auto delivered = device_ != nullptr ? device_->read(into) : std::nullopt;
        messages_[count_++] = {address_, true, into, delivered};
        return delivered.has_value();
    }

private:
    static BusDevice* deviceAt(const I2c::Port& port, std::uint8_t address)
    {
        const auto found = port.devices.find(address);
        return found == port.devices.end() ? nullptr : found->second;
    }
    std::optional<std::size_t> acknowledgedByDevice() const
    {
        return device_ != nullptr ? device_->acknowledged() : std::nullopt;
    }

    const I2c& i2c_;
    const std::uint8_t bus_;
    const std::uint8_t address_;
    BusDevice* const device_;
    std::array<I2cMessage, 2> messages_{}; // a register address, and what is read there
    std::size_t count_ = 0;
};

void requirePort(const I2c& i2c, std::uint8_t bus)
{
    require(bus < i2c.ports.size(), DeviceStatus::BAD_BUS);
}

void requireInitialised(const I2c& i2c, std::uint8_t bus)
{
    requirePort(i2c, bus);
    require(i2c.settings[bus].initialised, DeviceStatus::NOT_INITIALISED);
}

void setPullUpResistors(I2c& i2c, Request& request, OutputFrame&)
{
    const auto fields = request.bytes(2);
    request.end();
    requirePort(i2c, fields[0]);
    require(fields[1] <= MAX_PULL_UP, DeviceStatus::BAD_PARAMETER);
}

// The frequency shows in recordings only.
void configure(I2c& i2c, Request& request, bool initialises)
{
    const std::uint8_t bus = request.u8();
    const std::uint32_t frequency = request.u32();
    request.u8(); // the option may be anything
    request.end();
    requirePort(i2c, bus);
    require(frequency >= 1 && frequency <= MAX_FREQUENCY, DeviceStatus::BAD_PARAMETER);
    I2c::Settings& settings = i2c.settings[bus];
    require(settings.initialised || initialises, DeviceStatus::NOT_INITIALISED);
    settings = {true, frequency};
}

void controllerInit(I2c& i2c, Request& request, OutputFrame&)
{
    configure(i2c, request, true);
}

void setParameters(I2c& i2c, Request& request, OutputFrame&)
{
    configure(i2c, request, false);
}

void write(I2c& i2c, Request& request, OutputFrame&)
{
    const Transfer transfer(request);
    const auto data = request.rest();
    require(data.size() == transfer.count, DeviceStatus::MALFORMED_FRAME);
    requireInitialised(i2c, transfer.bus);
    transfer.check();

    std::vector<std::uint8_t> stream = transfer.registerStream();
    stream.insert(stream.end(), data.begin(), data.end());
    require(Conversation(i2c, transfer.bus, transfer.address).write(stream), DeviceStatus::NACK);
}

void read(I2c& i2c, Request& request, OutputFrame& response)
{
    const Transfer transfer(request);
    request.end();
    requireInitialised(i2c, transfer.bus);
    transfer.check();

    const auto stream = transfer.registerStream();
    std::vector<std::uint8_t> data(transfer.count, FLOATING);
    {
        Conversation conversation(i2c, transfer.bus, transfer.address);
        require(stream.empty() || conversation.write(stream), DeviceStatus::NACK);
        require(conversation.read(data), DeviceStatus::NACK);
    }
    response.setU8(READ_BUS, transfer.bus);
    response.setU16(READ_COUNT, transfer.count);
    response.append(data);
}

void scanBus(I2c& i2c, Request& request, OutputFrame& response)
{
    const auto fields = request.bytes(2);
    request.end();
    requireInitialised(i2c, fields[0]);
    asFlag(fields[1]); // without effect here

    std::vector<std::uint8_t> found;
    for (std::uint8_t address = FIRST_SCANNED; address <= LAST_SCANNED; ++address) {
        if (Conversation(i2c, fields[0], address).write({})) {
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
