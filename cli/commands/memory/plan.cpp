#include "commands/memory/plan.hpp"

#include <algorithm>
#include <cstddef>
#include <utility>

namespace tool {

namespace {

class Planner {
public:
    Planner(const Geometry& geometry, std::uint64_t first, std::span<const std::uint8_t> before,
            std::span<const std::uint8_t> after)
        : geometry_(geometry), first_(first), before_(before), after_(after)
    {
    }

    std::vector<Change> plan()
    {
        if (geometry_.erasable.empty()) {
            change({first_, after_.size()}, false);
            return std::move(changes_);
        }
        const std::uint64_t end = first_ + after_.size();
        for (std::uint64_t offset = first_; offset < end;) {
            const std::size_t level = largestAt(offset, end);
            consider(offset, level);
            offset += geometry_.erasable[level];
        }
        return std::move(changes_);
    }

private:
    std::span<const std::uint8_t> beforeIn(const Extent& extent) const
    {
        return before_.subspan(extent.offset - first_, extent.length);
    }
    std::span<const std::uint8_t> afterIn(const Extent& extent) const
    {
        return after_.subspan(extent.offset - first_, extent.length);
    }

    std::size_t largestAt(std::uint64_t offset, std::uint64_t end) const
    {
        std::size_t level = geometry_.erasable.size() - 1;
        while (level > 0 && (offset % geometry_.erasable[level] != 0 || geometry_.erasable[level] > end - offset)) {
            --level;
        }
        return level;
    }

    bool mustBeErased(const Extent& block) const
    {
        return !std::ranges::equal(beforeIn(block), afterIn(block),
                                   [](unsigned is, unsigned shall) { return (shall & ~is) == 0; });
    }

    bool eachMustBeErased(const Extent& block) const
    {
        const std::uint64_t smallest = geometry_.erasable.front();
        for (std::uint64_t offset = block.offset; offset < block.end(); offset += smallest) {
            if (!mustBeErased({offset, smallest})) {
                return false;
            }
        }
        return true;
    }

    void consider(std::uint64_t offset, std::size_t level)
    {
        const Extent block{offset, geometry_.erasable[level]};
        const bool erases = eachMustBeErased(block);
        if (erases || level == 0) {
            change(block, erases);
            return;
        }
        for (; offset < block.end(); offset += geometry_.erasable[level - 1]) {
            consider(offset, level - 1);
        }
    }

    void change(const Extent& block, bool erases)
    {
        Change change{block, erases};
        for (std::uint64_t offset = block.offset; offset < block.end();) {
            const std::uint64_t end = std::min(block.end(), (offset / geometry_.page + 1) * geometry_.page);
            addWrite(change, {offset, end - offset});
            offset = end;
        }
        if (erases || !change.writes.empty()) {
            changes_.push_back(std::move(change));
        }
    }

    // From the first to the last byte of the page that is not there yet.
    void addWrite(Change& change, const Extent& page) const
    {
        const auto is = beforeIn(page);
        const auto shall = afterIn(page);
        const auto differs = [&](std::size_t i) { return shall[i] != (change.erases ? ERASED : is[i]); };
        std::size_t begin = 0;
        std::size_t end = page.length;
        while (begin < end && !differs(begin)) {
            ++begin;
        }
        while (end > begin && !differs(end - 1)) {
            --end;
        }
        if (begin < end) {
            change.writes.push_back({page.offset + begin, end - begin});
        }
    }

    const Geometry& geometry_;
    const std::uint64_t first_;
    const std::span<const std::uint8_t> before_;
    const std::span<const std::uint8_t> after_;
    std::vector<Change> changes_;
};

} // namespace

std::vector<Change> planChanges(const Geometry& geometry, std::uint64_t first, std::span<const std::uint8_t> before,
                                std::span<const std::uint8_t> after)
{
    return Planner(geometry, first, before, after).plan();
}

Extent widened(const Geometry& geometry, const Extent& asked)
{
    if (geometry.erasable.empty()) {
        return asked;
    }
    const std::uint64_t block = geometry.erasable.front();
    const std::uint64_t first = asked.offset / block * block;
    return {first, (asked.end() + block - 1) / block * block - first};
}

} // namespace tool
