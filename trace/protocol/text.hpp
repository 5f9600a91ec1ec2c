// Decoded frames as people and programs read them.
#pragma once

#include <string>

#include "trace/protocol/decoder.hpp"

namespace trace {

// "i2c read bus 0 0x48 reg 00 len 2", and in parentheses what is wrong with the frame. Of a code that is not in the
// table, the code and its bytes. Long data is cut short.
void appendRequest(std::string& text, const Meaning& meaning, Bytes frame, const Decoded& decoded);

// "17 80", or the name of the status.
void appendResponse(std::string& text, const Table& table, const Meaning& meaning, Bytes frame, const Decoded& decoded);

// "gpio interrupt pin 5"
void appendNotification(std::string& text, const Notification* notification, Bytes frame, const Decoded& decoded);

// {"bus":0,"address":"0x48",...}: the fields that are not hidden; bytes that belong to none are "extra", the number of
// those that are missing "missing". ASCII.
void appendFields(std::string& json, const Decoded& decoded);

// "NACK", "DEVICE_STATUS" for one without a name.
std::string_view statusName(const Table& table, std::uint16_t status);

// "NACK", "status 0x0123" for one without a name.
void appendStatus(std::string& text, const Table& table, std::uint16_t status);

// "17 80"
void appendHex(std::string& text, Bytes bytes);

// "0x0905"
void appendCode(std::string& text, std::uint16_t code);

// In quotation marks, ASCII; what is not UTF-8 becomes U+FFFD.
void appendQuoted(std::string& json, std::string_view text);

} // namespace trace
