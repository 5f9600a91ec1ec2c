// The I3C Common Command Codes. Behind 09 19: address, flags, length, CCC, defining byte, data.
#include "golden/golden.hpp"

namespace golden {

namespace {

using Action = I3cTargetResetDefByte;
using Mode = I3cTransferMode;
constexpr auto PLAIN = I3cCccType::WITHOUT_DEFINING_BYTE;
constexpr auto DEFINED = I3cCccType::WITH_DEFINING_BYTE;
constexpr auto READ = I3cTransferDirection::READ;
constexpr auto WRITE = I3cTransferDirection::WRITE;

// clang-format off
const Row CCC_ROWS[]{
    // Broadcast, ENEC and DISEC carry the events as the defining byte, direct as data.
    {SAME_CALLS(i3cCccENECBroadcast, I3cCccENECBroadcast, 0x0B), .request = "09 19 7E 10 01 00 0B"},
    {SAME_CALLS(i3cCccDISECBroadcast, I3cCccDISECBroadcast, 0x0B), .request = "09 19 7E 10 01 01 0B"},
    {SAME_CALLS(i3cCccENECDirect, I3cCccENECDirect, 0x30, 0x0B), .request = "09 19 30 00 01 80 00 0B"},
    {SAME_CALLS(i3cCccDISECDirect, I3cCccDISECDirect, 0x30, 0x0B), .request = "09 19 30 00 01 81 00 0B"},
    {SAME_CALLS(i3cCccENTAS0Broadcast, I3cCccENTAS0Broadcast), .request = "09 19 7E 00 00 02 00"},
    {SAME_CALLS(i3cCccENTAS1Broadcast, I3cCccENTAS1Broadcast), .request = "09 19 7E 00 00 03 00"},
    {SAME_CALLS(i3cCccENTAS2Broadcast, I3cCccENTAS2Broadcast), .request = "09 19 7E 00 00 04 00"},
    {SAME_CALLS(i3cCccENTAS3Broadcast, I3cCccENTAS3Broadcast), .request = "09 19 7E 00 00 05 00"},
    {SAME_CALLS(i3cCccENTAS0Direct, I3cCccENTAS0Direct, 0x30), .request = "09 19 30 00 00 82 00"},
    {SAME_CALLS(i3cCccENTAS1Direct, I3cCccENTAS1Direct, 0x31), .request = "09 19 31 00 00 83 00"},
    {SAME_CALLS(i3cCccENTAS2Direct, I3cCccENTAS2Direct, 0x32), .request = "09 19 32 00 00 84 00"},
    {SAME_CALLS(i3cCccENTAS3Direct, I3cCccENTAS3Direct, 0x33), .request = "09 19 33 00 00 85 00"},
    {SAME_CALLS(i3cCccRSTDAA, I3cCccRSTDAA), .request = "09 19 7E 00 00 06 00"},
    {SAME_CALLS(i3cCccENTDAA, I3cCccENTDAA), .request = "09 19 7E 00 00 07 00"},
    {CALLS(i3cCccSETAASA, I3cCccSETAASA, (id, DATA), (DATA), (h, a.in, 3)), .request = "09 19 7E 00 03 29 00 A1 A2 A3"},
    {CALLS(i3cCccSETAASA, I3cCccSETAASA, (id, {}), ({}), (h, nullptr, 0)), .request = "09 19 7E 00 00 29 00"},

    // Addresses inside the data stand in the upper seven bits; a carry is dropped.
    {SAME_CALLS(i3cCccSETDASA, I3cCccSETDASA, 0x50, 0x0A), .request = "09 19 50 00 01 87 00 14"},
    {SAME_CALLS(i3cCccSETNEWDA, I3cCccSETNEWDA, 0x0A, 0xCB), .request = "09 19 0A 00 01 88 00 96"},
    {SAME_CALLS(i3cCccSETGRPADirect, I3cCccSETGRPADirect, 0x0A, 0x41), .request = "09 19 0A 00 01 9B 00 82"},
    {SAME_CALLS(i3cCccRSTGRPABroadcast, I3cCccRSTGRPABroadcast), .request = "09 19 7E 00 00 2C 00"},
    {SAME_CALLS(i3cCccRSTGRPADirect, I3cCccRSTGRPADirect, 0x0B), .request = "09 19 0B 00 00 9C 00"},

    // Values inside the data are big-endian.
    {SAME_CALLS(i3cCccSETMWLBroadcast, I3cCccSETMWLBroadcast, 0x0304), .request = "09 19 7E 00 02 09 00 03 04"},
    {SAME_CALLS(i3cCccSETMWLDirect, I3cCccSETMWLDirect, 0x30, 0x0102), .request = "09 19 30 00 02 89 00 01 02"},
    {CALLS(i3cCccSETMRLBroadcast, I3cCccSETMRLBroadcast, (id, 0x0102, 0x20), (0x0102, 0x20), (h, 0x0102, true, 0x20)),
     .request = "09 19 7E 00 03 0A 00 01 02 20"},
    {CALLS(i3cCccSETMRLBroadcast, I3cCccSETMRLBroadcast, (id, 0x0102, {}), (0x0102, {}), (h, 0x0102, false, 0x20)),
     .request = "09 19 7E 00 02 0A 00 01 02"},
    {CALLS(i3cCccSETMRLDirect, I3cCccSETMRLDirect, (id, 0x30, 0x0102, 0), (0x30, 0x0102, 0),
           (h, 0x30, 0x0102, true, 0)), .request = "09 19 30 00 03 8A 00 01 02 00"},
    {CALLS(i3cCccSETMRLDirect, I3cCccSETMRLDirect, (id, 0x30, 0x0102, {}), (0x30, 0x0102, {}),
           (h, 0x30, 0x0102, false, 0x20)), .request = "09 19 30 00 02 8A 00 01 02"},
    {CALLS(i3cCccSETBUSCONBroadcast, I3cCccSETBUSCONBroadcast, (id, 0x66, DATA), (0x66, DATA), (h, 0x66, a.in, 3)),
     .request = "09 19 7E 00 04 0C 00 66 A1 A2 A3", .refuses = NO_DATA},
    {CALLS(i3cCccSETBUSCONBroadcast, I3cCccSETBUSCONBroadcast, (id, 0x66, {}), (0x66, {}), (h, 0x66, nullptr, 0)),
     .request = "09 19 7E 00 01 0C 00 66"},
    {CALLS(i3cCccSETXTIMEBroadcast, I3cCccSETXTIMEBroadcast, (id, 0x66, DATA), (0x66, DATA), (h, 0x66, a.in, 3)),
     .request = "09 19 7E 00 04 28 00 66 A1 A2 A3", .refuses = NO_DATA},
    {CALLS(i3cCccSETXTIMEBroadcast, I3cCccSETXTIMEBroadcast, (id, 0x66, {}), (0x66, {}), (h, 0x66, nullptr, 0)),
     .request = "09 19 7E 00 01 28 00 66"},
    {CALLS(i3cCccSETXTIMEDirect, I3cCccSETXTIMEDirect, (id, 0x30, 0x66, DATA), (0x30, 0x66, DATA),
           (h, 0x30, 0x66, a.in, 3)), .request = "09 19 30 00 04 98 00 66 A1 A2 A3", .refuses = NO_DATA},
    {CALLS(i3cCccSETXTIMEDirect, I3cCccSETXTIMEDirect, (id, 0x30, 0x66, {}), (0x30, 0x66, {}),
           (h, 0x30, 0x66, nullptr, 0)), .request = "09 19 30 00 01 98 00 66"},
    {CALLS(i3cCccSETBUSCONBroadcast, I3cCccSETBUSCONBroadcast, (id, 0x66, NOTHING), (0x66, NOTHING),
           (h, 0x66, a.in, 0)), .request = "09 19 7E 00 01 0C 00 66"},

    // Written, RSTACT announces one byte to all and none to one target.
    {SAME_CALLS(i3cCccRSTACTBroadcast, I3cCccRSTACTBroadcast, Action::RESET_WHOLE_TARGET),
     .request = "09 19 7E 10 01 2A 02"},
    {CALLS(i3cCccRSTACTDirect, I3cCccRSTACTDirect, (id, 0x30, Action::TIME_RESET_PERIPHERAL, READ),
           (0x30, Action::TIME_RESET_PERIPHERAL, READ, &o.byte1),
           (h, 0x30, Action::TIME_RESET_PERIPHERAL, READ, a.byte1)), .request = "09 19 30 11 01 9A 81",
     .answer = "F1 F2 F3 01 77", .values = "77", .refuses = NO_VALUE},
    {CALLS(i3cCccRSTACTDirect, I3cCccRSTACTDirect, (id, 0x30, Action::RESET_PERIPHERAL, WRITE),
           (0x30, Action::RESET_PERIPHERAL, WRITE, &o.byte1), (h, 0x30, Action::RESET_PERIPHERAL, WRITE, nullptr)),
     .request = "09 19 30 10 00 9A 01", .answer = "F1 F2 F3 01 77"},
    {BLOCKING_CALL(i3cCccRSTACTDirect, (0x30, Action::TIME_RESET_PERIPHERAL, READ, nullptr)),
     .request = "09 19 30 11 01 9A 81", .answer = "F1 F2 F3 01 77"},

    // The adapter says how many bytes the target sent.
    {CALLS(i3cCccGETMWL, I3cCccGETMWL, (id, 0x30), (0x30, o.word1), (h, 0x30, a.word1)),
     .request = "09 19 30 01 02 8B 00", .answer = "F1 F2 F3 02 12 34", .values = "12 34", .refuses = NO_VALUE},
    // GETMRL: whether there is an IBI size stands behind it, or instead of it.
    {CALLS(i3cCccGETMRL, I3cCccGETMRL, (id, 0x31), (0x31, o.word1, o.optional), (h, 0x31, a.word1, a.byte1, a.byte2)),
     .request = "09 19 31 01 03 8C 00", .answer = "F1 F2 F3 03 12 34 56", .values = "12 34 56 01", .refuses = NO_VALUE},
    {CALLS(i3cCccGETMRL, I3cCccGETMRL, (id, 0x31), (0x31, o.word1, o.optional), (h, 0x31, a.word1, a.byte1, a.byte2)),
     .request = "09 19 31 01 03 8C 00", .answer = "F1 F2 F3 02 12 34 56", .values = "12 34 00"},
    {CALLS(i3cCccGETMRL, I3cCccGETMRL, (id, 0x31), (0x31, o.word1, o.optional), (h, 0x31, a.word1, a.byte1, a.byte2)),
     .request = "09 19 31 01 03 8C 00", .answer = "F1 F2 F3 04 12 34 56 78", .values = "12 34 00"},
    {FLAT_CALL(I3cCccGETMRL, (h, 0x31, a.word1, nullptr, nullptr)), .request = "09 19 31 01 03 8C 00",
     .answer = "F1 F2 F3 03 12 34 56", .values = "12 34"},
    {CALLS(i3cCccGETPID, I3cCccGETPID, (id, 0x32), (0x32, o.bytes), (h, 0x32, a.buffer)),
     .request = "09 19 32 01 06 8D 00", .answer = "F1 F2 F3 06 D1 D2 D3 D4 D5 D6 D7", .data = "D1 D2 D3 D4 D5 D6",
     .refuses = NO_BUFFER},
    {CALLS(i3cCccGETBCR, I3cCccGETBCR, (id, 0x33), (0x33, o.byte1), (h, 0x33, a.byte1)),
     .request = "09 19 33 01 01 8E 00", .answer = "F1 F2 F3 01 C6", .values = "C6", .refuses = NO_VALUE},
    {CALLS(i3cCccGETDCR, I3cCccGETDCR, (id, 0x34), (0x34, o.byte1), (h, 0x34, a.byte1)),
     .request = "09 19 34 01 01 8F 00", .answer = "F1 F2 F3 01 C6", .values = "C6", .refuses = NO_VALUE},
    {CALLS(i3cCccGETSTATUS, I3cCccGETSTATUS, (id, 0x30, 0x91), (0x30, o.bytes, 0x91),
           (h, 0x30, a.buffer, a.length8, true, 0x91)), .request = "09 19 30 11 02 90 91",
     .answer = "F1 F2 F3 02 D1 D2", .data = "D1 D2", .refuses = NO_BUFFER | NO_LENGTH},
    {CALLS(i3cCccGETSTATUS, I3cCccGETSTATUS, (id, 0x30, {}), (0x30, o.bytes, {}),
           (h, 0x30, a.buffer, a.length8, false, 0x91)), .request = "09 19 30 01 02 90 00", .answer = "F1 F2 F3 03 D1",
     .data = "D1 00 00", .refuses = NO_BUFFER | NO_LENGTH},
    {CALLS(i3cCccGETCAPS, I3cCccGETCAPS, (id, 0x30, 0x91), (0x30, o.bytes, 0x91),
           (h, 0x30, a.buffer, a.length8, true, 0x91)), .request = "09 19 30 11 04 95 91",
     .answer = "F1 F2 F3 03 D1 D2 D3", .data = "D1 D2 D3", .refuses = NO_BUFFER | NO_LENGTH},
    {CALLS(i3cCccGETCAPS, I3cCccGETCAPS, (id, 0x30, {}), (0x30, o.bytes, {}),
           (h, 0x30, a.buffer, a.length8, false, 0x91)), .request = "09 19 30 01 04 95 00", .answer = "F1 F2 F3 03 D1",
     .data = "D1 00 00", .refuses = NO_BUFFER | NO_LENGTH},
    {CALLS(i3cCccGETMXDS, I3cCccGETMXDS, (id, 0x36), (0x36, o.bytes), (h, 0x36, a.buffer, a.length8)),
     .request = "09 19 36 01 05 94 00", .answer = "F1 F2 F3 05 D1 D2 D3 D4 D5", .data = "D1 D2 D3 D4 D5",
     .refuses = NO_BUFFER | NO_LENGTH},
    {CALLS(i3cCccGETXTIME, I3cCccGETXTIME, (id, 0x36), (0x36, o.bytes), (h, 0x36, a.buffer, a.length8)),
     .request = "09 19 36 01 04 99 00", .answer = "F1 F2 F3 00 D1", .data = "-", .refuses = NO_BUFFER | NO_LENGTH},

    // The frame itself: fields are not masked, and a length may disagree with the data.
    {CALLS(i3cCccTransfer, I3cCccTransfer,
           (id, 0x7E, WRITE, Mode::SDR, false, PLAIN, 0, CCC::ENTDAA, 0, {}),
           (0x7E, WRITE, Mode::SDR, false, PLAIN, 0, CCC::ENTDAA, 0, {}, o.bytes),
           (h, 0x7E, WRITE, Mode::SDR, false, PLAIN, 0, CCC::ENTDAA, 0, nullptr, 0, nullptr, nullptr)),
     .request = "09 19 7E 00 00 07 00", .answer = "F1 F2 F3 02 D1 D2", .data = "-"},
    {CALLS(i3cCccTransfer, I3cCccTransfer,
           (id, 0x30, READ, Mode::SDR, false, PLAIN, 3, CCC::GETMWL, 0, {}),
           (0x30, READ, Mode::SDR, false, PLAIN, 3, CCC::GETMWL, 0, {}, o.bytes),
           (h, 0x30, READ, Mode::SDR, false, PLAIN, 3, CCC::GETMWL, 0, nullptr, 0, a.buffer, a.length8)),
     .request = "09 19 30 01 03 8B 00", .answer = "F1 F2 F3 02 12 34", .data = "12 34",
     .refuses = NO_BUFFER | NO_LENGTH},
    {CALLS(i3cCccTransfer, I3cCccTransfer,
           (id, 0x30, WRITE, Mode::HDR_DDR, true, DEFINED, 5, CCC::SETXTIME_DIRECT, 0xD1, REGISTER),
           (0x30, WRITE, Mode::HDR_DDR, true, DEFINED, 5, CCC::SETXTIME_DIRECT, 0xD1, REGISTER, o.bytes),
           (h, 0x30, WRITE, Mode::HDR_DDR, true, DEFINED, 5, CCC::SETXTIME_DIRECT, 0xD1, a.in, 2, nullptr, nullptr)),
     .request = "09 19 30 1A 05 98 D1 A1 A2", .data = "-", .refuses = NO_DATA, .malformed = true},
    {ASYNC_CALL(i3cCccTransfer, (id, 0x30, READ, Mode{5}, false, I3cCccType{9}, 1, CCC::GETBCR, 0, {})),
     .request = "09 19 30 9B 01 8E 00"},
};
// clang-format on

} // namespace

std::span<const Row> cccRows()
{
    return CCC_ROWS;
}

} // namespace golden
