#include "golden/golden.hpp"

#include <cstring>

namespace golden {

namespace {

std::string words(std::initializer_list<std::string> all)
{
    std::string line;
    for (const std::string& word : all) {
        line += (line.empty() || word.empty() ? "" : " ") + word;
    }
    return line;
}

std::string recordsOf(std::span<const I3cTargetInfo> records)
{
    Bytes bytes(records.size_bytes());
    if (!bytes.empty()) {
        std::memcpy(bytes.data(), records.data(), bytes.size());
    }
    return hexOf(bytes);
}

template <typename Value>
std::string ifWritten(Value value, Value untouched)
{
    if (value == untouched) {
        return "";
    }
    const auto number = static_cast<std::uint32_t>(value);
    return sizeof(Value) == 2 ? hexOf({static_cast<std::uint8_t>(number >> 8), static_cast<std::uint8_t>(number)})
                              : hexOf({static_cast<std::uint8_t>(number)});
}

} // namespace

std::string Outputs::values() const
{
    const std::string presence = optional == UNTOUCHED ? "" : optional ? "01" : "00";
    return words({ifWritten(word1, std::uint16_t{0xEEEE}), ifWritten(word2, std::uint16_t{0xEEEE}),
                  ifWritten(byte1, UNTOUCHED), ifWritten(byte2, UNTOUCHED),
                  ifWritten(level, GpioLogicLevel{0xEEEEEEEE}), ifWritten(optional.value_or(UNTOUCHED), UNTOUCHED),
                  presence});
}

std::string Outputs::data() const
{
    std::size_t filled = buffer.size();
    while (filled > 0 && buffer[filled - 1] == UNTOUCHED) {
        --filled;
    }
    const std::size_t count = length8 != UNTOUCHED ? length8 : 0;
    const bool emptied = bytes.empty() || table.empty();
    std::string text =
        words({emptied ? "-" : "", bytes == Bytes{UNTOUCHED} ? "" : hexOf(bytes), hexOf(part(buffer, 0, filled)),
               table.size() == 1 && table[0].staticAddress == 0 ? "" : recordsOf(table),
               records[0].staticAddress == 0 ? "" : recordsOf(std::span(records).first(count)),
               info.usbString1 == "?"
                   ? ""
                   : info.usbString1 + info.usbString2 + info.usbString3 + info.usbString4 + info.usbString5});
    if (flatInfo.usbString1 != nullptr) {
        for (const char* const string : {flatInfo.usbString1, flatInfo.usbString2, flatInfo.usbString3,
                                         flatInfo.usbString4, flatInfo.usbString5}) {
            text += string;
        }
    }
    return text;
}

Arguments argumentsFor(Outputs& o)
{
    return {.in = DATA.data(),
            .registerLength = 2,
            .bus = 1,
            .byte1 = &o.byte1,
            .byte2 = &o.byte2,
            .word1 = &o.word1,
            .word2 = &o.word2,
            .level = &o.level,
            .buffer = o.buffer.data(),
            .length8 = &o.length8,
            .length16 = &o.length16,
            .length = &o.length,
            .records = o.records.data(),
            .info = &o.flatInfo};
}

std::vector<Row> everyRow()
{
    std::vector<Row> rows;
    for (const auto family : {busRows(), i3cRows(), cccRows()}) {
        rows.insert(rows.end(), family.begin(), family.end());
    }
    return rows;
}

} // namespace golden
