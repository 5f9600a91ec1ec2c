// The I3C controller, its bus and target table, private transfers.
#include "golden/golden.hpp"

namespace golden {

namespace {

const std::vector<I3cTargetInfo> BOTH(std::begin(TARGETS), std::end(TARGETS));
constexpr const char* RECORDS =
    "50 08 01 02 03 04 05 06 07 0A 34 12 78 56 0B 0C 51 09 00 00 00 00 00 00 00 00 00 00 00 00 00 00";

constexpr I3cTransferFlags NONE = I3cTransferFlags::NONE;
constexpr I3cTransferFlags BIT_1 = I3cTransferFlags::BIT_1;
constexpr I3cTransferFlags BEYOND_FLAGS{0x31}; // more than the five bits that travel

// clang-format off
const Row I3C_ROWS[]{
    {CALLS(i3cControllerInit, I3cControllerInit, (id, 0x04, 0xF2, 0x01, 0x44),
           (I3cPushPullRate{4}, I3cOpenDrainTransferRate{0x1F2}, I2cTransferRate{1}, I3cDriveStrength{0x144}),
           (h, I3cPushPullRate{4}, I3cOpenDrainTransferRate{0x1F2}, I2cTransferRate{1}, I3cDriveStrength{0x144})),
     .request = "01 19 04 F2 01 44"},
    {CALLS(i3cSetParameters, I3cSetParameters, (id, 0x04, 0x03, 0x02, 0x01),
           (I3cPushPullRate{4}, I3cOpenDrainTransferRate{3}, I2cTransferRate{2}, I3cDriveStrength{1}),
           (h, I3cPushPullRate{4}, I3cOpenDrainTransferRate{3}, I2cTransferRate{2}, I3cDriveStrength{1})),
     .request = "02 19 04 03 02 01"},
    {CALLS(i3cInitBus, I3cInitBus, (id, BOTH), (BOTH), (h, TARGETS, 2)), .request = std::string("04 19 02 ") + RECORDS},
    {CALLS(i3cInitBus, I3cInitBus, (id, {}), ({}), (h, nullptr, 0)), .request = "04 19 00"},
    {SAME_CALLS(i3cResetBus, I3cResetBus), .request = "05 19"},
    {CALLS(i3cGetDeviceTable, I3cGetDeviceTable, (id), (o.table), (h, a.records, 8, a.length8)), .request = "06 19",
     .answer = std::string("02 ") + RECORDS, .data = RECORDS, .refuses = NO_BUFFER | NO_LENGTH},
    {CLASS_CALLS(i3cGetDeviceTable, (id), (o.table)), .request = "06 19", .answer = "00 50", .data = "-"},
    {CALLS(i3cSetTargetDeviceConfiguration, I3cSetTargetDeviceConfiguration, (id, 0x30, I3cTargetConfiguration{0xA5}),
           (0x30, I3cTargetConfiguration{0xA5}), (h, 0x30, 0xA5)), .request = "07 19 30 A5"},
    {SAME_CALLS(i3cHdrExitPattern, I3cHdrExitPattern), .request = "0A 19 01"},
    {SAME_CALLS(i3cTargetResetPattern, I3cTargetResetPattern), .request = "0A 19 00"},

    // A register address travels as it stands, unlike the I2C family's. The adapter says how many bytes it read.
    {CALLS(i3cSdrRead, I3cSdrRead, (id, 0x30, REGISTER, 4, BIT_1), (0x30, REGISTER, 4, o.bytes, BIT_1),
           (h, 0x30, a.in, a.registerLength, 4, a.buffer, a.length16, BIT_1)),
     .request = "08 19 30 11 00 02 A1 A2 00 00 04 00", .answer = "F1 F2 05 00 D1 D2 D3 D4 D5 D6",
     .data = "D1 D2 D3 D4 D5", .refuses = BAD_REGISTER | NO_BUFFER | NO_LENGTH},
    {CLASS_CALLS(i3cSdrRead, (id, 0x08, {0x12, 0x34}, 2, NONE), (0x08, {0x12, 0x34}, 2, o.bytes, NONE)),
     .request = "08 19 08 01 00 02 12 34 00 00 02 00", .answer = "F1 F2 00 00 D1", .data = "-"},
    {CLASS_CALLS(i3cSdrRead, (id, 0x08, FOUR, 0xABCD, BEYOND_FLAGS), (0x08, FOUR, 0xABCD, o.bytes, BEYOND_FLAGS)),
     .request = "08 19 08 89 00 04 01 02 03 04 CD AB", .answer = "F1 F2 03 00 D1", .data = "D1 00 00"},
    {CALLS(i3cSdrWrite, I3cSdrWrite, (id, 0x30, REGISTER, DATA, BEYOND_FLAGS), (0x30, REGISTER, DATA, BEYOND_FLAGS),
           (h, 0x30, a.in, a.registerLength, a.in, 3, BEYOND_FLAGS)),
     .request = "08 19 30 88 00 02 A1 A2 00 00 03 00 A1 A2 A3", .refuses = BAD_REGISTER | NO_DATA},
    {CALLS(i3cHdrDdrRead, I3cHdrDdrRead, (id, 0x30, 0x99, 0x1234), (0x30, 0x99, 0x1234, o.bytes),
           (h, 0x30, 0x99, 0x1234, a.length16, a.buffer)), .request = "08 19 30 03 99 00 34 12",
     .answer = "F1 F2 02 00 D1 D2", .data = "D1 D2", .refuses = NO_BUFFER | NO_LENGTH},
    {CALLS(i3cHdrDdrWrite, I3cHdrDdrWrite, (id, 0x0A, 0x20, DATA), (0x0A, 0x20, DATA), (h, 0x0A, 0x20, a.in, 3)),
     .request = "08 19 0A 02 20 00 03 00 A1 A2 A3", .refuses = NO_DATA},
    {CALLS(i3cLegacyI2cRead, I3cLegacyI2CRead, (id, 0x50, REGISTER, 4, BIT_1), (0x50, REGISTER, 4, o.bytes, BIT_1),
           (h, 0x50, a.in, a.registerLength, 4, a.buffer, BIT_1)), .request = "08 19 50 15 00 02 A1 A2 00 00 04 00",
     .answer = "F1 F2 02 00 D1 D2", .data = "D1 D2", .refuses = BAD_REGISTER | NO_BUFFER},
    {CALLS(i3cLegacyI2cWrite, I3cLegacyI2CWrite, (id, 0x50, REGISTER, DATA, BIT_1), (0x50, REGISTER, DATA, BIT_1),
           (h, 0x50, a.in, a.registerLength, a.in, 3, BIT_1)),
     .request = "08 19 50 14 00 02 A1 A2 00 00 03 00 A1 A2 A3", .refuses = BAD_REGISTER | NO_DATA},
    {CALLS(i3cLegacyI2cWrite, I3cLegacyI2CWrite, (id, 0x53, {}, {}, NONE), (0x53, {}, {}, NONE),
           (h, 0x53, nullptr, 0, nullptr, 0, NONE)), .request = "08 19 53 04 00 00 00 00 00 00 00 00"},
};
// clang-format on

} // namespace

std::span<const Row> i3cRows()
{
    return I3C_ROWS;
}

} // namespace golden
