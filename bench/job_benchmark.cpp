// What whole jobs take on the adapter that is attached: virtual under `tarvix-sim run`, behind the kernel in the
// machine of script/e2e, or a real one. Each is measured by turns with a floor and ends in a line of medians, in
// seconds: `bench: JOB OURS FLOOR WORST`, the last of them ours.
//
//   job_benchmark time ROUNDS JOB COMMAND... -- COMMAND...   two programs, from start to end: JOB/wall and JOB/cpu
//   job_benchmark jobs ROUNDS FLASH TARVIX                   bulk jobs through the tool and through the library; of the
//                                                            flash so many bytes
//   job_benchmark read-flash FLASH, read-eeprom, write-pages floors of such jobs: programs that only move reports
#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <semaphore>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include <fcntl.h>
#include <hidapi.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <tarvixsdk/async_sdk.hpp>

namespace {

using Bytes = std::vector<std::uint8_t>;
using Words = std::vector<std::string>;

constexpr std::uint32_t LONGEST_PIECE = 65531; // with the read command and its address, what a transfer can have
constexpr std::uint32_t SHORT_PIECES = 256;
constexpr std::uint8_t EEPROM_BUS = 1;
constexpr std::uint8_t EEPROM = 0x51;
constexpr std::uint32_t EEPROM_SIZE = 32 * 1024;
constexpr std::uint32_t DUMPED = 2 * EEPROM_SIZE; // reading wraps
constexpr std::uint32_t PAGE = 64;

void require(bool holds, const std::string& what)
{
    if (!holds) {
        throw std::runtime_error(what);
    }
}

// ---- The link alone: hidapi and ready-made requests ----------------------------------------------------------------

// A request from its command code and payload, in numbers of so many bytes each.
Bytes request(std::initializer_list<std::pair<std::uint32_t, int>> fields)
{
    Bytes frame{1, 0};
    for (const auto& [value, size] : fields) {
        for (int i = 0; i < size; ++i) {
            frame.push_back(static_cast<std::uint8_t>(value >> 8 * i));
        }
    }
    return frame;
}

const Bytes SPI_INIT = request({{0x0D01, 2}, {0, 5}, {10'000'000, 4}});
const Bytes I2C_INIT = request({{0x0901, 2}, {EEPROM_BUS, 1}, {400'000, 4}, {0, 1}});

Bytes flashRead(std::uint32_t address, std::uint32_t size)
{
    return request({{0x0D04, 2}, {4, 2}, {size + 4, 2}, {3, 1}, {address >> 16, 1}, {address >> 8, 1}, {address, 1}});
}

Bytes eepromRead(std::uint32_t address, std::uint32_t size)
{
    return request({{0x0905, 2}, {EEPROM_BUS, 1}, {size, 2}, {EEPROM, 1}, {2, 1}, {address, 4}, {0, 1}});
}

Bytes pageWrite(std::uint32_t address)
{
    Bytes frame = request({{0x0904, 2}, {EEPROM_BUS, 1}, {PAGE, 2}, {EEPROM, 1}, {2, 1}, {address, 4}, {0, 1}});
    frame.resize(frame.size() + PAGE);
    return frame;
}

class BareLink {
public:
    BareLink()
    {
        hid_device_info* const found = hid_enumerate(0x1FC9, 0);
        require(found != nullptr, "no adapter is attached");
        reportSize_ = found->product_id == 0x82FC ? 64 : 1024;
        device_ = hid_open_path(found->path);
        hid_free_enumeration(found);
        require(device_ != nullptr, "the adapter cannot be opened");
    }
    ~BareLink() { hid_close(device_); }
    BareLink(const BareLink&) = delete;
    std::size_t reportSize() const { return reportSize_; }
    BareLink& operator=(const BareLink&) = delete;

    // Has them answered, with as many under way as said.
    void exchange(const std::vector<Bytes>& requests, std::size_t inFlight)
    {
        std::size_t sent = 0;
        for (std::size_t answered = 0; answered < requests.size();) {
            if (sent < requests.size() && sent - answered < inFlight) {
                send(requests[sent++]);
            } else {
                answered += receive() ? 1 : 0;
            }
        }
    }

private:
    void send(const Bytes& frame)
    {
        Bytes report(1 + reportSize_);
        for (std::size_t at = 0; at < frame.size(); at += reportSize_ - 2) {
            const std::size_t count = std::min(reportSize_ - 2, frame.size() - at);
            const std::size_t header = count << 2 | (at == 0 ? 1U : 0U) | (at + count == frame.size() ? 2U : 0U);
            report[1] = static_cast<std::uint8_t>(header);
            report[2] = static_cast<std::uint8_t>(header >> 8);
            std::copy_n(frame.begin() + static_cast<std::ptrdiff_t>(at), count, report.begin() + 3);
            require(hid_write(device_, report.data(), report.size()) > 0, "a report cannot be written");
        }
    }

    // Whether the report ends an answer.
    bool receive()
    {
        std::array<std::uint8_t, 1024> report;
        require(hid_read_timeout(device_, report.data(), reportSize_, 5000) > 0, "an answer is missing");
        require((report[0] & 1U) == 0 || (report[6] == 0 && report[7] == 0), "the adapter refused a request");
        return (report[0] & 2U) != 0;
    }

    hid_device* device_ = nullptr;
    std::size_t reportSize_ = 0;
};

void readBare(const Bytes& init, const std::vector<Bytes>& requests)
{
    BareLink link;
    link.exchange({init}, 1);
    link.exchange(requests, 2); // the next one waits in the adapter while an answer arrives
}

void readFlash(std::uint32_t size)
{
    std::vector<Bytes> requests;
    for (std::uint32_t at = 0; at < size; at += LONGEST_PIECE) {
        requests.push_back(flashRead(at, std::min(LONGEST_PIECE, size - at)));
    }
    readBare(SPI_INIT, requests);
}

void readEeprom(std::size_t times)
{
    readBare(I2C_INIT, std::vector<Bytes>(times * DUMPED / EEPROM_SIZE, eepromRead(0, EEPROM_SIZE)));
}

std::vector<Bytes> allPages()
{
    std::vector<Bytes> requests;
    for (std::uint32_t at = 0; at < EEPROM_SIZE; at += PAGE) {
        requests.push_back(pageWrite(at));
    }
    return requests;
}

void writePages()
{
    BareLink link;
    link.exchange({I2C_INIT}, 1);
    link.exchange(allPages(), 8);
}

// ---- Measuring -----------------------------------------------------------------------------------------------------

double seconds(const std::function<void()>& work)
{
    const auto begin = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

struct Costs {
    std::vector<double> ours;
    std::vector<double> floor;

    void print(const std::string& job)
    {
        std::ranges::sort(ours);
        std::ranges::sort(floor);
        std::printf("bench: %s %.9f %.9f %.9f\n", job.c_str(), ours[ours.size() / 2], floor[floor.size() / 2],
                    ours.back());
    }
};

// Of one run of a program, which must end well; its output is dropped.
struct ProgramCost {
    double wall;
    double cpu;
};

ProgramCost runProgram(const Words& command)
{
    std::vector<char*> arguments;
    for (const std::string& word : command) {
        arguments.push_back(const_cast<char*>(word.c_str()));
    }
    arguments.push_back(nullptr);
    posix_spawn_file_actions_t output;
    posix_spawn_file_actions_init(&output);
    posix_spawn_file_actions_addopen(&output, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    int status = 0;
    rusage usage{};
    const double wall = seconds([&] {
        pid_t process = 0;
        require(::posix_spawnp(&process, arguments[0], &output, nullptr, arguments.data(), environ) == 0 &&
                    ::wait4(process, &status, 0, &usage) == process,
                "cannot run " + command[0]);
    });
    posix_spawn_file_actions_destroy(&output);
    require(status == 0, command[0] + " failed");
    const auto inSeconds = [](const timeval& time) {
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
    };
    return {wall, inSeconds(usage.ru_utime) + inSeconds(usage.ru_stime)};
}

void timePrograms(int rounds, const std::string& job, const Words& ours, const Words& floor)
{
    Costs wall;
    Costs cpu;
    for (int i = 0; i < rounds; ++i) {
        const ProgramCost one = runProgram(ours);
        const ProgramCost other = runProgram(floor);
        wall.ours.push_back(one.wall);
        wall.floor.push_back(other.wall);
        cpu.ours.push_back(one.cpu);
        cpu.floor.push_back(other.cpu);
    }
    wall.print(job + "/wall");
    cpu.print(job + "/cpu");
}

// ---- Requests in flight through the library ------------------------------------------------------------------------

// At most so many unanswered commands of a session at once.
class Flight {
public:
    explicit Flight(std::ptrdiff_t most) : most_(most), free_(most)
    {
        sdk_.onResponse([this](const Bytes& frame) {
            refused_ = refused_ || frame[4] != 0 || frame[5] != 0;
            free_.release();
        });
        require(static_cast<bool>(sdk_.open()), "the adapter cannot be opened");
    }

    template <typename Send>
    void send(std::uint32_t count, Send command)
    {
        for (std::uint32_t i = 0; i < count; ++i) {
            acquire();
            require(command(sdk_, static_cast<TransactionId>(i + 1), i) == StatusCode::SUCCESS, "cannot send");
        }
        for (std::ptrdiff_t i = 0; i < most_; ++i) { // the last ones
            acquire();
        }
        free_.release(most_);
        require(!refused_, "the adapter refused a command");
    }

private:
    void acquire() { require(free_.try_acquire_for(std::chrono::seconds(5)), "an answer is missing"); }

    const std::ptrdiff_t most_;
    std::counting_semaphore<> free_;
    std::atomic<bool> refused_ = false;
    TarvixAsyncSDK sdk_;
};

// Both sides open the adapter and set it up outside the time that counts.
template <typename Initialise, typename Send>
void compareFlights(int rounds, const std::string& job, std::initializer_list<int> sizes, const Bytes& init,
                    const std::vector<Bytes>& requests, Initialise initialise, Send command)
{
    for (const int most : sizes) {
        Costs costs;
        for (int i = 0; i < rounds; ++i) {
            {
                Flight flight(most);
                flight.send(1, initialise);
                costs.ours.push_back(
                    seconds([&] { flight.send(static_cast<std::uint32_t>(requests.size()), command); }));
            }
            BareLink link;
            link.exchange({init}, 1);
            costs.floor.push_back(seconds([&] { link.exchange(requests, 8); }));
        }
        costs.print(job + "/" + std::to_string(most));
    }
}

void flashInFlight(int rounds)
{
    // Eight answers fit in the 63 reports that the kernel keeps for a reader.
    const std::uint32_t size = BareLink().reportSize() == 64 ? 400 : 1000;
    std::vector<Bytes> requests;
    for (std::uint32_t i = 0; i < SHORT_PIECES; ++i) {
        requests.push_back(flashRead(i * size, size));
    }
    const auto init = [](TarvixAsyncSDK& sdk, TransactionId id, std::uint32_t) {
        return sdk.spiControllerInit(id, SpiBitOrder::MSB_FIRST, SpiMode::MODE_0, SpiDataWidth::BITS_8,
                                     SpiChipSelect::SELECT_0, SpiChipSelectPolarity::ACTIVE_LOW, 10'000'000);
    };
    const auto read = [size](TarvixAsyncSDK& sdk, TransactionId id, std::uint32_t index) {
        const std::uint32_t at = index * size;
        Bytes data{3, static_cast<std::uint8_t>(at >> 16), static_cast<std::uint8_t>(at >> 8),
                   static_cast<std::uint8_t>(at)};
        return sdk.spiTransfer(id, data, static_cast<std::uint16_t>(size + 4));
    };
    compareFlights(rounds, "flash", {1, 8}, SPI_INIT, requests, init, read);
}

void pagesInFlight(int rounds)
{
    const auto init = [](TarvixAsyncSDK& sdk, TransactionId id, std::uint32_t) {
        return sdk.i2cControllerInit(id, EEPROM_BUS, 400'000, 0);
    };
    const auto write = [data = Bytes(PAGE)](TarvixAsyncSDK& sdk, TransactionId id, std::uint32_t index) {
        const std::uint32_t at = index * PAGE;
        return sdk.i2cWrite(id, EEPROM_BUS, EEPROM, {static_cast<std::uint8_t>(at >> 8), static_cast<std::uint8_t>(at)},
                            data, false);
    };
    compareFlights(rounds, "pages", {1, 2, 8}, I2C_INIT, allPages(), init, write);
}

// The same through the tool, where it can.
void pagesWithTool(int rounds, const std::string& tool)
{
    if (std::system((tool + " i2c set --help | grep -q -- --in-flight").c_str()) != 0) {
        return;
    }
    const std::string file = std::filesystem::temp_directory_path() / ("job_benchmark." + std::to_string(::getpid()));
    std::ofstream(file) << std::string(EEPROM_SIZE, 0);
    for (const char* const most : {"1", "8"}) {
        timePrograms(rounds, std::string("tool/pages/") + most,
                     {tool, "i2c", "set", "--bus", "1", "--clock", "400k", "--reg-bytes", "2", "--page", "64",
                      "--in-flight", most, "0x51", "0", "@" + file},
                     {"/proc/self/exe", "write-pages"});
    }
    std::filesystem::remove(file);
}

// As many dumps as make starting the tool a small part of it.
void dumpWithTool(int rounds, const std::string& tool, std::size_t times)
{
    const std::string file = std::filesystem::temp_directory_path() / ("job_benchmark." + std::to_string(::getpid()));
    std::ofstream commands(file);
    for (std::size_t i = 0; i < times; ++i) {
        commands << "i2c dump --bus 1 --clock 1M --reg-bytes 2 0x51 --raw -n " << DUMPED << '\n';
    }
    commands.close();
    timePrograms(rounds, "tool/dump", {tool, "batch", file}, {"/proc/self/exe", "read-eeprom", std::to_string(times)});
    std::filesystem::remove(file);
}

void doJobs(int rounds, const std::string& flashSize, const std::string& tool)
{
    const Words flash{tool, "spi", "flash", "read", "-", "-n", flashSize};
    timePrograms(rounds, "tool/flash", flash, {"/proc/self/exe", "read-flash", flashSize});
    dumpWithTool(rounds, tool, std::stoul(flashSize) / DUMPED / 2);
    flashInFlight(rounds);
    pagesInFlight(rounds);
    pagesWithTool(rounds, tool);
}

} // namespace

int main(int count, char** arguments)
{
    const Words words(arguments + 1, arguments + count);
    try {
        if (words.size() == 2 && words[0] == "read-flash") {
            readFlash(static_cast<std::uint32_t>(std::stoul(words[1])));
        } else if (words.size() == 2 && words[0] == "read-eeprom") {
            readEeprom(std::stoul(words[1]));
        } else if (words == Words{"write-pages"}) {
            writePages();
        } else if (words.size() == 4 && words[0] == "jobs") {
            doJobs(std::stoi(words[1]), words[2], words[3]);
        } else {
            const auto floor = std::ranges::find(words, "--");
            require(words.size() > 5 && words[0] == "time" && floor != words.end(), "see the head of its source");
            timePrograms(std::stoi(words[1]), words[2], {words.begin() + 3, floor}, {floor + 1, words.end()});
        }
        return EXIT_SUCCESS;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "job_benchmark: %s\n", error.what());
        return EXIT_FAILURE;
    }
}
