// The last bytes that went over a line, for whoever looks later.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <utility>
#include <vector>

namespace sim {

class ByteLog {
public:
    static constexpr std::size_t KEPT = 8192;

    struct Contents {
        std::vector<std::uint8_t> bytes;
        std::uint64_t lost = 0; // before them
    };

    void add(std::span<const std::uint8_t> bytes)
    {
        std::vector<std::uint8_t>& kept = contents_.bytes;
        const std::size_t total = kept.size() + bytes.size();
        const std::size_t excess = total > KEPT ? total - KEPT : 0;
        const std::size_t forgotten = std::min(excess, kept.size());
        kept.erase(kept.begin(), kept.begin() + static_cast<std::ptrdiff_t>(forgotten));
        bytes = bytes.subspan(excess - forgotten);
        kept.insert(kept.end(), bytes.begin(), bytes.end());
        contents_.lost += excess;
    }

    // And begins afresh.
    Contents take() { return std::exchange(contents_, {}); }

private:
    Contents contents_;
};

} // namespace sim
