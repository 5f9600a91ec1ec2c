// Tools that know nothing of us, on bridges, each checked by what it says.
#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <optional>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include <fcntl.h>
#include <linux/i2c-dev.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "scenario.hpp"

namespace e2e {

namespace {

const std::string PYTHON = "/usr/bin/python3";

// A bridge's options, and what its users do meanwhile.
std::vector<std::string> bridgeOf(const Place& place, const std::vector<std::string>& bridge,
                                  const std::vector<std::string>& command)
{
    std::vector<std::string> words{"tarvix", "-a", place.serialNumber(), "bridge"};
    words.insert(words.end(), bridge.begin(), bridge.end());
    words.push_back("--");
    words.insert(words.end(), command.begin(), command.end());
    return words;
}

std::vector<std::string> wordsOf(const std::string& line)
{
    std::istringstream stream(line);
    std::vector<std::string> words;
    for (std::string word; stream >> word;) {
        words.push_back(word);
    }
    return words;
}

// Each line is a program's; what it prints, on standard output or error, holds this.
struct Step {
    std::string line;
    int status;
    std::string output;
};

void follow(const std::vector<Step>& steps)
{
    for (const Step& step : steps) {
        const Outcome outcome = run(wordsOf(step.line));
        require(outcome.exitStatus == step.status && outcome.output.find(step.output) != std::string::npos,
                step.line + " ended with " + std::to_string(outcome.exitStatus) + " and printed: " + outcome.output);
    }
}

// A bridge that runs beside the scenario.
class Bridge {
public:
    Bridge(const Place& place, const std::string& options)
    {
        ::unlink(LOG); // of another one
        program_.emplace([&]() -> int {
            redirectOutput(LOG);
            execute(wordsOf("tarvix -a " + place.serialNumber() + " bridge " + options));
        });
    }

    void waitFor(const std::string& text) const
    {
        eventually("the bridge says '" + text + '\'', [&] { return contentsOf(LOG).find(text) != std::string::npos; });
    }
    int wait() { return program_->wait(); }
    void signal(int signal) const { program_->signal(signal); }

private:
    static constexpr const char* LOG = "/tmp/bridge.log";
    std::optional<Child> program_;
};

const Scenario I2C_TOOLS("bridge-i2c-tools", [](Place place) {
    const VirtualCable cable(place);
    Bridge bridge(place, "i2c --bus 0 1");
    bridge.waitFor("i2c: /dev/i2c-91");
    follow({
        {"i2cdetect -F 90", 0, "SMBus Block Write                yes\nSMBus Block Read                 no\n"},
        {"i2cdetect -y 90", 0, "\n40: -- -- -- -- -- -- -- -- 48 -- -- -- -- -- -- -- \n50: 50 -- "},
        {"i2cdetect -y -r 91", 0, "\n40: -- -- -- -- -- -- -- -- -- -- -- -- -- -- -- -- \n50: -- 51 "},
        {"i2cget -y 90 0x48 0 w", 0, "0x8017\n"},
        {"i2cset -y 90 0x50 0x10 0x5a", 0, ""},
        {"i2cget -y 90 0x50 0x10", 0, "0x5a\n"},
        {"i2cset -y 90 0x50 0x20 1 2 3 i", 0, ""},
        {"i2cget -y 90 0x50 0x20 i 4", 0, "0x01 0x02 0x03 0xff\n"},
        {"i2cset -y 90 0x50 0x30 7 8 s", 0, ""},
        {"i2cget -y 90 0x50 0x30 i 3", 0, "0x02 0x07 0x08\n"},
        {"i2cget -y 90 0x50 0x30 s", 1, "does not have SMBus block read capability"},
        {"i2cget -y 90 0x50 0x10 bp", 2, "Error: Read failed"},
        {"i2cget -y 90 0x33 0", 2, "Error: Read failed"},
        {"i2cdump -y 90 0x50 b", 0, "\n10: 5a ff "},
        {"i2cdump -y 90 0x50 i", 0, "\n20: 01 02 03 ff "},
        {"i2ctransfer -y 90 w1@0x50 0x20 r3", 0, "0x01 0x02 0x03\n"},
        {"i2ctransfer -y 91 w4@0x51 0 0 1 2", 0, ""},
        {"i2ctransfer -y 91 w2@0x51 0 0 r2", 0, "0x01 0x02\n"},
        {"i2ctransfer -y 91 r2@0x51 r2", 1, "Operation not supported"},
        {"i2ctransfer -y 91 w1@0x33 0", 1, "No such device or address"},
    });
    eventually("udev gives the device to the person at the machine", [] {
        return run({"udevadm", "info", "--query=property", "/dev/i2c-90"}).output.find("TAGS=:uaccess:") !=
               std::string::npos;
    });
    bridge.signal(SIGTERM);
    require(bridge.wait() == 128 + SIGTERM, "the bridge does not end cleanly");
    require(::access("/dev/i2c-90", F_OK) != 0, "the device stays");

    ::chmod(cable.node().c_str(), 0666);
    const Outcome user = run(bridgeOf(place, {"i2c"}, {"true"}), [] { require(::setuid(1000) == 0, "setuid"); });
    require(user.exitStatus == 5 && user.output == "tarvix bridge: /dev/cuse: Permission denied; run it as root, or as "
                                                   "the service in docs/existing-tools.md\n",
            user.output);
});

// smbus2 and the driver are Debian's, and know only /dev/i2c-90. The worked example of the sensor's data sheet, in an
// EEPROM: 25.08 degrees and 1006.53 hPa.
constexpr const char* SENSOR = R"(
import bme280, smbus2, struct
trimming = (27504, 26435, -1000, 36477, -10685, 3024, 2855, 140, -7, 15500, -14600, 6000)
with smbus2.SMBus(90) as bus:
    for offset, word in enumerate(trimming):
        bus.write_i2c_block_data(0x50, 0x88 + 2 * offset, list(struct.pack('<H', word & 0xFFFF)))
    raw = [(reading << 4).to_bytes(3, 'big') for reading in (415148, 519888)]
    for offset, byte in enumerate(b''.join(raw) + bytes(2)):
        bus.write_byte_data(0x50, 0xF7 + offset, byte)
    sample = bme280.sample(bus, 0x50)
    print(round(sample.temperature, 2), round(sample.pressure, 2))
    messages = smbus2.i2c_msg.write(0x48, [0]), smbus2.i2c_msg.read(0x48, 2)
    bus.i2c_rdwr(*messages)
    print(bytes(messages[1]).hex(), bus.process_call(0x48, 2, 0x2211))
    try:
        bus.read_byte(0x33)
    except OSError as error:
        print(error.errno)
)";

const Scenario SMBUS2("bridge-smbus2", [](Place place) {
    const VirtualCable cable(place);
    const Outcome outcome = run(bridgeOf(place, {"i2c"}, {PYTHON, "-c", SENSOR}));
    require(outcome.exitStatus == 0 && outcome.output == "25.08 1006.53\n1780 8721\n6\n", outcome.output);
});

constexpr std::size_t FLASH_SIZE = 16'384; // the usual memory takes flashrom a minute here

// Options of an adapter that has such a flash memory besides the usual devices.
std::vector<std::string> smallFlash(const Place& place)
{
    std::ofstream("/tmp/board.json") << R"({"version": 1, "adapters": [{"serial": ")" << place.serialNumber()
                                     << R"(", "report_size": )" << place.reportSize << R"(, "i2c": [
        {"devices": {"0x48": {"type": "temperature_sensor"},
                     "0x50": {"type": "eeprom", "size": 256, "page": 8, "address_bytes": 1}}},
        {"devices": {"0x51": {"type": "eeprom", "size": 32768, "page": 64, "address_bytes": 2}}}],
        "spi": [{"type": "nor_flash", "size": )"
                                     << FLASH_SIZE << R"(}, {"type": "loopback"}], "uart": {"type": "echo"}}]})";
    return {"--board", "/tmp/board.json"};
}

// The second chip select is wired back to itself.
constexpr const char* SPIDEV = R"(
import spidev
port = spidev.SpiDev()
port.open(90, 1)
port.mode, port.max_speed_hz = 3, 5000000
print(port.xfer2([1, 2, 3]), port.xfer3([4, 5]), port.readbytes(2), port.mode, port.bits_per_word, port.max_speed_hz)
port.bits_per_word = 16
print(port.xfer2([1, 2, 3, 4]))
try:
    port.bits_per_word = 9
except OSError as error:
    print(error.errno)
)";

const Scenario BRIDGE_SPI("bridge-spi", [](Place place) {
    const VirtualCable cable(place, smallFlash(place));
    Bridge bridge(place, "spi --select 0 1");
    bridge.waitFor("spi: /dev/spidev90.1");
    const Outcome python = run({PYTHON, "-c", SPIDEV});
    require(python.output == "[1, 2, 3] (4, 5) [0, 0] 3 8 5000000\n[1, 2, 3, 4]\n22\n", python.output);

    const Bytes image = pattern(FLASH_SIZE);
    std::ofstream("/tmp/image", std::ios::binary).write(reinterpret_cast<const char*>(image.data()), FLASH_SIZE);
    const std::string flashrom = "flashrom -p linux_spi:dev=/dev/spidev90.0 ";
    follow({{flashrom + "-w /tmp/image", 0, "VERIFIED"}, {flashrom + "-r /tmp/read", 0, "done"}});
    require(contentsOf("/tmp/read") == std::string(image.begin(), image.end()), "flashrom reads something else");
    follow({{flashrom + "-E", 0, "done"}, {flashrom + "-r /tmp/read", 0, "done"}});
    require(contentsOf("/tmp/read") == std::string(FLASH_SIZE, '\xFF'), "flashrom does not erase");
});

constexpr const char* SERIAL = R"(
import random, serial, threading
port = serial.Serial('/tmp/tty', 921600, timeout=20)
sent = random.Random(1).randbytes(20000)
writer = threading.Thread(target=port.write, args=[sent])
writer.start()
print(port.read(len(sent)) == sent)
writer.join()
port.baudrate = 9600
port.write(b'slow')
print(port.read(4))
)";

const Scenario BRIDGE_UART("bridge-uart", [](Place place) {
    const VirtualCable cable(place);
    const Outcome python = run(bridgeOf(place, {"uart", "--link", "/tmp/tty"}, {PYTHON, "-c", SERIAL}));
    require(python.output == "True\nb'slow'\n", python.output);
    const Outcome picocom = run(bridgeOf(place, {"uart", "--link", "/tmp/tty"},
                                         {"sh", "-c", "printf 'AT\\r' | picocom -qrx 500 -b 9600 /tmp/tty"}));
    require(picocom.exitStatus == 0 && picocom.output == "AT\r", picocom.output);
});

// What help and the page promise.
const Scenario EXAMPLES("bridge-examples", [](Place place) {
    const VirtualCable cable(place, smallFlash(place));
    ::setenv("TARVIX_ADAPTER", place.serialNumber().c_str(), 1);
    for (const std::string kind : {"i2c", "spi", "uart"}) {
        const Outcome help = run({"tarvix", "bridge", kind, "--help"});
        std::istringstream lines(help.output.substr(help.output.find("Examples:\n") + 10));
        int count = 0;
        for (std::string line; std::getline(lines, line); ++count) {
            const Outcome outcome = run({"sh", "-c", "cd /tmp && exec </dev/null && " + line});
            require(outcome.exitStatus == 0, line + ": " + outcome.output);
        }
        require(count > 0, help.output);
    }
    // And the page, each block as a script.
    const std::string page = contentsOf("/existing-tools.md");
    int blocks = 0;
    for (std::size_t begin = 0; (begin = page.find("```sh\n", begin)) != std::string::npos; ++blocks) {
        begin += 6;
        const std::string block = page.substr(begin, page.find("```", begin) - begin);
        const Outcome outcome = run({"sh", "-c", "cd /tmp && rm -f flash.bin && exec </dev/null && set -e\n" + block});
        require(outcome.exitStatus == 0, block + outcome.output);
    }
    require(blocks == 2, "the page has other blocks");
});

// Every ioctl of either device with every kind of argument; then the devices still work.
void abuse(const char* path, unsigned type)
{
    const int file = ::open(path, O_RDWR | O_CLOEXEC);
    require(file >= 0, std::string("cannot open ") + path);
    alignas(8) std::uint8_t memory[64];
    std::mt19937_64 generator(type);
    for (unsigned i = 0; i < 3000; ++i) {
        std::generate(std::begin(memory), std::end(memory), [&] { return static_cast<std::uint8_t>(generator() % 5); });
        const auto inside = reinterpret_cast<std::uint64_t>(memory + 8 * (generator() % 8));
        const std::uint64_t places[] = {0, inside, inside, generator(), ~std::uint64_t{0}, 0x7FFF'FFFF'FFF8};
        std::memcpy(memory + 8 * (generator() % 8), &places[generator() % std::size(places)], 8);
        const auto number = type << 8 | static_cast<unsigned>(generator() % 0x28);
        const auto size = generator() % 3 == 0 ? static_cast<unsigned>(generator() % 0x4000) : 32 * (i % 4);
        const unsigned long command = type == 7 ? number : number | (i % 4 << 30) | size << 16;
        ::ioctl(file, command, places[generator() % std::size(places)]);
    }
    ::close(file);
}

const Scenario HOSTILE("bridge-hostile", [](Place place) {
    const VirtualCable cable(place);
    Bridge bridge(place, "i2c spi");
    bridge.waitFor("spi: /dev/spidev90.0");
    abuse("/dev/i2c-90", 7);
    abuse("/dev/spidev90.0", 'k');
    follow({{"i2cget -y 90 0x48 0 w", 0, "0x8017\n"},
            {"flashrom -p linux_spi:dev=/dev/spidev90.0 --flash-size", 0, "\n1048576\n"}});
    bridge.signal(SIGINT);
    require(bridge.wait() == 128 + SIGINT, "the bridge does not end cleanly");
});

const Scenario BRIDGE_LOSS("bridge-loss", [](Place place) {
    VirtualCable cable(place);
    Bridge brief(place, "i2c");
    brief.waitFor("i2c: /dev/i2c-90");
    cable.pull();
    require(brief.wait() == 7, "the bridge outlives its adapter");

    cable.plug();
    Bridge lasting(place, "i2c spi --reconnect");
    lasting.waitFor("spi: /dev/spidev90.0");
    const int file = ::open("/dev/i2c-90", O_RDWR | O_CLOEXEC);
    require(file >= 0 && ::ioctl(file, I2C_SLAVE, 0x48) == 0, "cannot open the bus");
    std::uint8_t word[2] = {};
    require(::read(file, word, 2) == 2, "cannot read from the sensor");
    cable.pull();
    lasting.waitFor("the adapter has left the USB bus; waiting");
    require(::read(file, word, 2) < 0 && errno == ENODEV, "the bus does not tell that the adapter is gone");
    cable.plug();
    lasting.waitFor("the adapter is back");
    require(::read(file, word, 2) == 2, "the program cannot go on");
    follow({{"flashrom -p linux_spi:dev=/dev/spidev90.0 --flash-size", 0, "\n1048576\n"}});
    ::close(file);
});

} // namespace

} // namespace e2e
