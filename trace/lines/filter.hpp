// Which events are wanted.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "trace/lines/described.hpp"

namespace trace {

// Every condition that is there must hold; of a list, one item is enough.
struct Filter {
    std::vector<std::string> families{};
    std::vector<std::uint32_t> addresses{}; // of a target, in any field that is called so
    std::vector<std::uint16_t> statuses{};
    bool failed = false; // see Described::failed; alongside statuses, either is enough
    std::vector<std::string> adapters{};
    std::optional<std::int64_t> from{}; // moments of the wall clock
    std::optional<std::int64_t> to{};   // included, with its whole microsecond

    bool wants(const Described& described) const;
};

} // namespace trace
