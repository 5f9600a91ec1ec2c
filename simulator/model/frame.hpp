// What travels between the adapter and its host: the bytes of one request, response or notification.
#pragma once

#include <cstdint>
#include <vector>

namespace sim {

using Frame = std::vector<std::uint8_t>;

} // namespace sim
