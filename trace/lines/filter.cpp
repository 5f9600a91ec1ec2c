#include "trace/lines/filter.hpp"

#include <algorithm>

namespace trace {

namespace {

template <typename Item, typename Wanted>
bool isIn(const std::vector<Item>& items, const Wanted& wanted)
{
    return std::ranges::find(items, wanted) != items.end();
}

bool hasAddress(const Values& values, const std::vector<std::uint32_t>& addresses);

// "address", "dynamic_address", and lists: "addresses", records with addresses of their own
bool hasAddress(const Value& value, const std::vector<std::uint32_t>& addresses)
{
    const Field& field = *value.field;
    if (field.type == Type::RECORDS) {
        bool has = false;
        forEachRecord(value, [&](const Decoded& record) { has = has || hasAddress(record.values, addresses); });
        return has;
    }
    if (field.type != Type::U8) {
        return false;
    }
    return field.name.ends_with("addresses")
               ? std::ranges::any_of(value.bytes, [&](std::uint8_t address) { return isIn(addresses, address); })
               : field.name.ends_with("address") && isIn(addresses, value.number);
}

bool hasAddress(const Values& values, const std::vector<std::uint32_t>& addresses)
{
    return std::ranges::any_of(values, [&](const Value& value) { return hasAddress(value, addresses); });
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
