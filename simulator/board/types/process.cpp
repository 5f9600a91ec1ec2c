#include "board/types/process.hpp"

#include <algorithm>
#include <filesystem>

#include "process/process_device.hpp"

namespace sim {

namespace {

template <class ProcessKind, class Kind>
void read(Object& object, DeviceBoard<Kind>& board)
{
    Process::Settings settings{.name = board.name, .bus = ProcessKind::BUS, .command = {}, .timeout = {}};
    const auto words = object.get("command").items(1, 1000);
    std::ranges::transform(words, std::back_inserter(settings.command.words),
                           [](const Node& word) { return word.text(); });
    const auto directory = std::filesystem::absolute(object.node().file()).parent_path();
    settings.command.directory = directory;
    const auto timeout = object.find("timeout_ms");
    settings.timeout = std::chrono::milliseconds(timeout ? timeout->number(1, 60'000) : 1000);
    bool activeHigh = false;
    if (const auto interrupt = object.find("interrupt")) {
        Object keys(*interrupt);
        activeHigh = keys.get("active").choice({"low", "high"}) == 1;
        keys.end();
    }
    board.lines = {"interrupt"};
    board.make = [settings, activeHigh](World& world) {
        return std::make_unique<ProcessKind>(settings, world, activeHigh ? Hold::DRIVE_HIGH : Hold::DRIVE_LOW,
                                             activeHigh ? Hold::PULL_LOW : Hold::PULL_HIGH);
    };
}

} // namespace

void readProcess(Object& object, DeviceBoard<BusDevice>& board)
{
    read<ProcessBusDevice>(object, board);
}

void readProcess(Object& object, DeviceBoard<SpiDevice>& board)
{
    read<ProcessSpiDevice>(object, board);
}

void readProcess(Object& object, DeviceBoard<UartPeer>& board)
{
    read<ProcessUartPeer>(object, board);
}

} // namespace sim
