// The adapters of one run: what is behind its nodes.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "ports/shared/usb_adapter.hpp"

namespace sim {

class AdapterSource {
public:
    virtual ~AdapterSource() = default;
    virtual std::vector<UsbIdentity> identities() const = 0;
    // Of the identities, by index.
    virtual std::unique_ptr<UsbAdapter> make(EventLoop& loop, std::size_t index, Cable& cable) = 0;
    // The answer to a request of docs/bench-control.md. Throws std::runtime_error with one line for the user.
    virtual std::string control(std::string_view request) = 0;
};

} // namespace sim
