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

// A device chooses its serial number. In a selector of these characters no shell splits, expands or runs anything.
bool isPlain(std::string_view word, std::string_view punctuation)
{
    return std::all_of(word.begin(), word.end(), [&](char c) {
        return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') ||
               punctuation.find(c) != std::string_view::npos;
    });
}

// Whether --adapter takes it for a serial number.
bool isSelector(const std::string& serialNumber)
{
    return !serialNumber.empty() && !serialNumber.starts_with("path:") && !serialNumber.starts_with("index:") &&
           !serialNumber.starts_with('-') && isPlain(serialNumber, "._:-");
}

void giveSelectors(std::vector<Adapter>& adapters)
{
    for (std::size_t index = 0; index < adapters.size(); ++index) {
        Adapter& adapter = adapters[index];
        const auto sameSerialNumber = std::count_if(adapters.begin(), adapters.end(), [&](const Adapter& other) {
            return other.serialNumber == adapter.serialNumber;
        });
        if (sameSerialNumber == 1 && isSelector(adapter.serialNumber)) {
            adapter.selector = adapter.serialNumber;
        } else {
            adapter.selector = isPlain(adapter.path, "._:-/") ? "path:" + adapter.path : fmt::format("index:{}", index);
        }
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
        throw Failure(ExitStatus::NO_ADAPTER, "no adapter is attached", "plug one in, or run 'tarvix doctor'");
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
