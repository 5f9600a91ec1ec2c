#include "ports/run/virtual_adapters.hpp"

#include <algorithm>
#include <iterator>

#include "ports/shared/control.hpp"

namespace sim {

std::vector<UsbIdentity> VirtualAdapters::identities() const
{
    std::vector<UsbIdentity> identities;
    std::ranges::transform(options_.adapters, std::back_inserter(identities), identityOf);
    return identities;
}

std::unique_ptr<UsbAdapter> VirtualAdapters::make(EventLoop& loop, std::size_t index, Cable& cable)
{
    static constexpr AbsenceTimes ABSENCE{.reset = std::chrono::milliseconds(200)};
    auto adapter = std::make_unique<AdapterHost>(loop, options_, ABSENCE, index, cable);
    adapters_.push_back(adapter.get());
    return adapter;
}

std::string VirtualAdapters::control(std::string_view request)
{
    return sim::control(adapters_, request);
}

} // namespace sim
