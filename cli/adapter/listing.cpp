#include "adapter/listing.hpp"

#include <algorithm>
#include <charconv>
#include <utility>

#include <fmt/format.h>

#include "console/errors.hpp"

namespace tool {

const char* const PERMISSION_ADVICE =
    "install the udev rule 70-tarvix.rules and replug the adapter, or run 'tarvix doctor'";

namespace {

// Whether a serial number can be printed, typed and recognised as one.
bool isPlain(const std::string& serialNumber)
{
    return !serialNumber.empty() && !serialNumber.starts_with("path:") && !serialNumber.starts_with("index:") &&
           !serialNumber.starts_with('-') &&
           std::all_of(serialNumber.begin(), serialNumber.end(), [](char c) { return c > 0x20 && c < 0x7F; });
}

void giveSelectors(std::vector<Adapter>& adapters)
{
    for (Adapter& adapter : adapters) {
        const auto sameSerialNumber = std::count_if(adapters.begin(), adapters.end(), [&](const Adapter& other) {
            return other.serialNumber == adapter.serialNumber;
        });
        adapter.selector =
            sameSerialNumber == 1 && isPlain(adapter.serialNumber) ? adapter.serialNumber : "path:" + adapter.path;
    }
}

std::string selectorsOf(const std::vector<Adapter>& adapters)
{
    std::string text;
    for (const Adapter& adapter : adapters) {
        text += (text.empty() ? "" : ", ") + adapter.selector;
    }
    return text;
}

} // namespace

std::vector<Adapter> attachedAdapters()
{
    std::vector<Adapter> adapters;
    for (AdapterInfo& info : listAdapters()) {
        adapters.push_back({std::move(info), {}});
    }
    giveSelectors(adapters);
    return adapters;
}

Adapter chooseAdapter(std::string_view selector)
{
    const std::vector<Adapter> adapters = attachedAdapters();
    if (adapters.empty()) {
        throw Failure(ExitStatus::NO_ADAPTER, "no adapter is attached", "plug one in or run 'tarvix doctor'");
    }
    std::vector<Adapter> matches;
    if (selector.starts_with("index:")) {
        const std::string_view digits = selector.substr(6);
        std::size_t index = 0;
        const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), index);
        if (error != std::errc{} || end != digits.data() + digits.size()) {
            throw UsageError(fmt::format("--adapter: '{}' is not an index such as index:0", selector));
        }
        if (index < adapters.size()) {
            matches.push_back(adapters[index]);
        }
    } else {
        std::copy_if(adapters.begin(), adapters.end(), std::back_inserter(matches), [&](const Adapter& adapter) {
            return selector.empty() || (selector.starts_with("path:") ? adapter.path == selector.substr(5)
                                                                      : adapter.serialNumber == selector);
        });
    }
    if (matches.empty()) {
        throw Failure(ExitStatus::NO_ADAPTER, fmt::format("no adapter matches '{}'", selector),
                      fmt::format("choose one of: {}", selectorsOf(adapters)));
    }
    if (matches.size() > 1) {
        const std::string several =
            selector.empty() ? fmt::format("{} adapters are attached", matches.size())
                             : fmt::format("{} adapters have the serial number '{}'", matches.size(), selector);
        throw Failure(ExitStatus::SEVERAL_ADAPTERS, several,
                      fmt::format("choose one with --adapter: {}", selectorsOf(matches)));
    }
    return matches.front();
}

bool isListed(std::string_view path)
{
    const std::vector<Adapter> adapters = attachedAdapters();
    return std::any_of(adapters.begin(), adapters.end(), [&](const Adapter& adapter) { return adapter.path == path; });
}

} // namespace tool
