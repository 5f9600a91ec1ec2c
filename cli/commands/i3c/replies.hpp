// What the replies to Common Command Codes say, field by field.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json.hpp>

#include "arguments/data.hpp"
#include "console/output.hpp"

namespace tool {

// One thing that a reply says.
struct Field {
    std::string label; // "part id" in text, "partId" in JSON
    Json value;
    std::string text;

    Field(std::string name, Json content, std::string words);
    Field(std::string name, const std::vector<std::string>& list);
};

using Fields = std::vector<Field>;

// Each takes a reply of at least as many bytes as its code says.
Fields decodeMaxWriteLength(const Bytes& reply);
Fields decodeMaxReadLength(const Bytes& reply);
Fields decodePid(const Bytes& reply);
Fields decodeBcr(const Bytes& reply);
Fields decodeDcr(const Bytes& reply);
Fields decodeStatus(const Bytes& reply);
Fields decodeMaxDataSpeed(const Bytes& reply);
Fields decodeCapabilities(const Bytes& reply);
Fields decodeTiming(const Bytes& reply);
Fields decodeResetTime(const Bytes& reply);

// What a Bus Characteristics Register says a target can do, but for its role.
std::vector<std::string> bcrFeatures(std::uint8_t bcr);

// "part id" is "partId" in JSON.
std::string jsonKey(std::string_view label);

} // namespace tool
