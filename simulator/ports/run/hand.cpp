// `tarvix-sim trigger` and `tarvix-sim state`: the hand on the bench of a `tarvix-sim` that runs.
#include "ports/port.hpp"

#include <cerrno>
#include <cstdlib>
#include <fmt/format.h>
#include <fmt/ranges.h>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <thread>

#include "board/document.hpp"
#include "common/terminal.hpp"
#include "ports/run/socket.hpp"

namespace sim {

namespace {

std::string chosenSocket(const std::string& given)
{
    if (!given.empty()) {
        return realSocket(given);
    }
    const char* const path = std::getenv(SOCKET_VARIABLE);
    if (!path) {
        throw std::runtime_error("no adapters to act on: use this inside 'tarvix-sim run', as in 'tarvix-sim run -- "
                                 "bash', or name the socket of 'tarvix-sim serve' with --connect");
    }
    return realSocket(path);
}

Json ask(const std::string& socket, const std::string& request)
{
    FileDescriptor connection;
    const auto answer = askHost(connection, socket, {"control", request});
    if (!answer || answer->empty()) {
        throw std::runtime_error(errno == EAGAIN
                                     ? fmt::format("tarvix-sim is stopped or busy: no answer on {} for {} s", socket,
                                                   PATIENCE_WITH_HOST.tv_sec)
                                     : fmt::format("tarvix-sim has ended: nobody answers on {}", socket));
    }
    if (answer->front() != OK || answer->size() != 2) {
        throw std::runtime_error(answer->front());
    }
    return Json::parse(answer->back());
}

void printValues(const Json& answer)
{
    constexpr std::size_t PER_LINE = 16;
    const auto values = answer["values"].get<std::vector<std::uint32_t>>();
    const auto digits = 2 * answer["cell_bytes"].get<std::size_t>();
    for (std::size_t i = 0; i < values.size(); ++i) {
        fmt::print("0x{:0{}x}{}", values[i], digits,
                   i + 1 == values.size() || i % PER_LINE == PER_LINE - 1 ? '\n' : ' ');
    }
}

void printAnswer(const Json& answer)
{
    if (answer.contains("values")) {
        printValues(answer);
    } else if (answer.contains("bytes")) {
        const auto bytes = answer["bytes"].get<std::vector<std::uint8_t>>();
        std::fwrite(bytes.data(), 1, bytes.size(), stdout);
    }
}

// As a person says it: "pointer 3, not write enabled".
std::string plain(const Json& facts)
{
    std::vector<std::string> parts;
    for (const auto& [name, value] : facts.items()) {
        std::string words = name;
        std::ranges::replace(words, '_', ' ');
        if (value.is_boolean()) {
            parts.push_back(value.get<bool>() ? words : "not " + words);
        } else if (value.is_string()) {
            parts.push_back(fmt::format("{} {}", words, terminal::printable(value.get<std::string>())));
        } else if (words.ends_with("address")) {
            parts.push_back(fmt::format("{} 0x{:02x}", words, value.get<std::uint64_t>()));
        } else {
            parts.push_back(fmt::format("{} {}", words, value.dump()));
        }
    }
    return fmt::format("{}", fmt::join(parts, ", "));
}

std::string text(const Json& value)
{
    return terminal::printable(value.get<std::string>());
}

void printPlain(const Json& adapter)
{
    fmt::print("{}  {}, {}\n", text(adapter["serial"]), text(adapter["product"]),
               adapter["present"].get<bool>() ? "plugged in" : "not plugged in");
    for (const auto& [name, rail] : adapter["rails"].items()) {
        fmt::print("  rail {}: {} mV{}\n", name, rail["millivolts"].dump(),
                   rail["external"].get<bool>() ? ", external" : "");
    }
    for (std::size_t pin = 0; pin < adapter["pins"].size(); ++pin) {
        const Json& state = adapter["pins"][pin];
        fmt::print("  pin {}: {}, {}{}, on {}\n", pin, text(state["level"]), text(state["function"]),
                   state["interrupt"] == "none" ? "" : ", interrupt " + text(state["interrupt"]), text(state["wire"]));
    }
    for (const Json& wire : adapter["wires"]) {
        std::string more = wire["hand"] == "released" ? "" : ", held by hand";
        more += wire.value("pressed", false) ? ", pressed" : "";
        if (wire["pins"].size() != 1 || wire.contains("pressed") || !more.empty()) { // else its pin has said it all
            fmt::print("  wire {}: {}{}\n", text(wire["name"]), text(wire["level"]), more);
        }
    }
    for (std::size_t port = 0; port < adapter["i2c"].size(); ++port) {
        fmt::print("  i2c {}: {}\n", port, plain(adapter["i2c"][port]));
    }
    for (const char* bus : {"spi", "uart", "i3c"}) {
        fmt::print("  {}: {}\n", bus, plain(adapter[bus]));
    }
    for (const auto& [fault, probability] : adapter["faults"].items()) {
        fmt::print("  fault {}: {}\n", fault, probability.dump());
    }
    for (const Json& device : adapter["devices"]) {
        const std::string facts = plain(device["state"]);
        fmt::print("  device {}: {} at {}{}{}\n", text(device["name"]), text(device["type"]), text(device["place"]),
                   facts.empty() ? "" : ", " + facts, device.value("in_reset", false) ? ", held in reset" : "");
    }
}

} // namespace

int trigger(const std::string& socket, const std::vector<std::string>& requests, std::chrono::milliseconds pause)
{
    const std::string path = chosenSocket(socket);
    for (std::size_t i = 0; i < requests.size(); ++i) {
        if (i > 0) {
            std::this_thread::sleep_for(pause);
        }
        printAnswer(ask(path, requests[i]));
    }
    return 0;
}

int showState(const std::string& socket, const std::string& adapter, bool json)
{
    const std::string path = chosenSocket(socket);
    std::vector<std::string> serialNumbers{adapter};
    if (adapter.empty()) {
        serialNumbers.clear();
        const Json all = ask(path, R"({"do":"adapters"})");
        for (const Json& listed : all["adapters"]) {
            serialNumbers.push_back(listed["serial"]);
        }
    }
    Json states = Json::array();
    for (const std::string& serialNumber : serialNumbers) {
        states.push_back(ask(path, Json{{"do", "state"}, {"adapter", serialNumber}}.dump()));
    }
    if (json) {
        fmt::print("{}\n", Json{{"adapters", states}}.dump(2));
    } else {
        std::ranges::for_each(states, printPlain);
    }
    return 0;
}

} // namespace sim
