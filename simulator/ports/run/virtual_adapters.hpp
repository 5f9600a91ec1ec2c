// Virtual adapters, with the hand on their benches.
#pragma once

#include "ports/run/adapter_source.hpp"
#include "ports/shared/adapter_host.hpp"

namespace sim {

class VirtualAdapters final : public AdapterSource {
public:
    // The options outlive it.
    explicit VirtualAdapters(const HostOptions& options) : options_(options) {}

    std::vector<UsbIdentity> identities() const override;
    std::unique_ptr<UsbAdapter> make(EventLoop& loop, std::size_t index, Cable& cable) override;
    std::string control(std::string_view request) override;

private:
    const HostOptions& options_;
    std::vector<AdapterHost*> adapters_;
};

} // namespace sim
