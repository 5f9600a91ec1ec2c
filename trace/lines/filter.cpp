#include "trace/lines/filter.hpp"

#include <algorithm>

namespace trace {

namespace {

template <typename Item, typename Wanted>
bool isIn(const std::vector<Item>& items, const Wanted& wanted)
{
    return std::ranges::find(items, wanted) != items.end();
}

// "address", "dynamic_address", "group_address"
bool isAddress(const Field& field)
{
    return field.type == Type::U8 && field.name.ends_with("address");
}

bool hasAddress(const Values& values, const std::vector<std::uint32_t>& addresses)
{
    return std::ranges::any_of(
        values, [&](const Value& value) { return isAddress(*value.field) && isIn(addresses, value.number); });
}

} // namespace

bool Filter::wants(const Described& described) const
{
    const Event& event = *described.event;
    if ((from && event.time < *from) || (to && event.time / MICROSECOND > *to / MICROSECOND)) {
        return false;
    }
    if (!families.empty() && !isIn(families, described.family)) {
        return false;
    }
    if (!adapters.empty() && !isIn(adapters, event.adapter->serial) && !isIn(adapters, event.adapter->place())) {
        return false;
    }
    if (!addresses.empty() && !hasAddress(described.request.values, addresses) &&
        !hasAddress(described.response.values, addresses)) {
        return false;
    }
    const bool anyStatus = statuses.empty() && !failed;
    return anyStatus || (failed && described.failed()) || (described.status && isIn(statuses, *described.status));
}

} // namespace trace
