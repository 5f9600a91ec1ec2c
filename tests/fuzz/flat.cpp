// Any sequence of flat calls, with buffers of exactly the documented size, on an adapter that answers anything.
#include <map>
#include <memory>

#include "fuzz.hpp"
#include "golden/golden.hpp"

namespace {

const std::vector<golden::Row>& rows()
{
    static const std::vector<golden::Row> rows = golden::rowsWith(&golden::Row::flat);
    return rows;
}

// Room for what a row asks for, in a strict session and in a plain one. The others fill no buffer.
struct Room {
    std::size_t strict, plain;
};
Room roomFor(const golden::Row& row)
{
    static const std::map<std::string, Room> rooms{
        {"I3cSdrRead", {4, 65'535}},  {"I3cHdrDdrRead", {0x1234, 65'535}}, {"I3cLegacyI2CRead", {4, 65'535}},
        {"I3cCccGETPID", {6, 255}},   {"I3cCccGETMXDS", {5, 255}},         {"I3cCccGETCAPS", {4, 255}},
        {"I3cCccGETXTIME", {4, 255}}, {"I3cCccGETSTATUS", {2, 255}},       {"I3cCccTransfer", {3, 3}},
        {"GetUsbString", {3, 3}},     {"I2cScanBus", {255, 255}}};
    const auto found = rooms.find(row.function);
    if (row.function == "I2cRead" || row.function == "SpiTransfer") { // rows that differ in their length
        const Bytes request = hex(row.request);
        const std::size_t at = row.function == "I2cRead" ? 3 : 4;
        const std::size_t asked = request[at] + request[at + 1] * std::size_t{256};
        return {asked, row.function == "I2cRead" ? asked : 65'535};
    }
    return found == rooms.end() ? Room{0, 0} : found->second;
}

void callRow(TarvixSDK_Handle* h, const golden::Row& row, bool strict)
{
    golden::Outputs outputs;
    const Room room = roomFor(row);
    const auto buffer = std::make_unique<std::uint8_t[]>(strict ? room.strict : room.plain);
    const auto records = std::make_unique<I3cTargetInfo[]>(8);
    golden::Arguments arguments = argumentsFor(outputs);
    arguments.buffer = buffer.get();
    arguments.records = records.get();
    row.flat(h, arguments);
}

// The answer to a request: none, any frame, a notification and a fitting one, or that alone. Short ones stand for long
// ones.
void answer(fuzz::Input& input, const Bytes& request)
{
    const unsigned kind = input.u8();
    const Bytes bytes = input.counted();
    const Bytes fields = kind >= 0x80 ? padded(bytes, input.u16()) : bytes;
    if (kind % 8 == 1) {
        fuzz::deliverFrame(fields);
    } else if (kind % 8 != 0) {
        if (kind % 8 == 2) {
            fuzz::deliverFrame(Bytes{0, 0} + fields);
        }
        fuzz::deliverFrame(part(request, 0, 4) + fields);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    fuzz::Input input(data, size);
    fuzz::Adapter& adapter = fuzz::Adapter::instance();
    adapter = {.reportSize = input.u8() % 2 == 0 ? 64U : 1024U, .onFrame = [&](const Bytes& r) { answer(input, r); }};
    const std::unique_ptr<TarvixSDK_Handle, void (*)(TarvixSDK_Handle*)> owner(TarvixSDK_Create(0), TarvixSDK_Destroy);
    TarvixSDK_Handle* const h = owner.get();
    TarvixSDK_onNotification(h, [](const Notification* n) { fuzz::touch({n->data, n->length}); });
    TarvixSDK_OnNotificationFrame(
        h,
        [](void*, const std::uint8_t* frame, std::size_t length) {
            fuzz::touch({frame, length});
        },
        nullptr);
    bool strict = false;
    while (!input.empty()) {
        const unsigned operation = input.u8() % 8;
        const unsigned which = input.u8();
        std::size_t length = 0;
        if (operation == 0 && !TarvixSDK_IsConnected(h)) { // else the old session stays, whose buffers are others
            adapter.failsWrites = false;
            strict = which % 2 == 0;
            TarvixSDK_Disconnect(h);
            TarvixSDK_Open(h, nullptr, nullptr, strict ? 0 : TARVIXSDK_OPEN_PLAIN, nullptr);
        } else if (operation == 1) {
            TarvixSDK_Disconnect(h);
        } else if (operation == 2) {
            adapter.failsWrites = which % 4 == 0;
        } else if (operation == 3) {
            fuzz::deliverFrame(Bytes{0, 0} + input.bytes(which));
        } else if (operation == 4) {
            TarvixSDK_NextNotification(h, std::make_unique<std::uint8_t[]>(which).get(), which, &length, 0);
        } else {
            callRow(h, rows()[which % rows().size()], strict);
        }
    }
    return 0;
}

std::vector<Bytes> fuzz::seeds()
{
    std::vector<Bytes> seeds{hex("00 00 00 03 06 81 10 00 00 03 00 04 40"), hex("00 00 00 02 00 05 00 00 00 05 01")};
    for (std::size_t i = 0; i < rows().size(); ++i) {
        for (std::uint8_t plain = 0; plain < 2; ++plain) {
            seeds.push_back(Bytes{0, 0, plain, 5, static_cast<std::uint8_t>(i), 3} +
                            counted(hex("00 00 " + rows()[i].answer)));
        }
    }
    return seeds;
}
