// Any sequence of flat calls, with buffers of exactly the documented size, on an adapter that answers anything.
#include <map>
#include <memory>

#include "fuzz.hpp"
#include "golden/golden.hpp"

// How large a row's buffer must be in a plain session, and in a strict one. Those that are not here fill none.
using Room = std::array<std::size_t, 2>;
static Room roomFor(const golden::Row& row)
{
    static const std::map<std::string, Room> rooms{
        {"I3cSdrRead", {65'535, 4}},       {"I3cHdrDdrRead", {65'535, 0x1234}}, {"I3cCccGETPID", {255, 6}},
        {"I3cLegacyI2CRead", {65'535, 4}}, {"I3cCccGETMXDS", {255, 5}},         {"I3cCccGETCAPS", {255, 4}},
        {"I3cCccGETXTIME", {255, 4}},      {"I3cCccGETSTATUS", {255, 2}},       {"I3cCccTransfer", {3, 3}},
        {"GetUsbString", {3, 3}},          {"I2cScanBus", {255, 255}}};
    if (row.function == "I2cRead" || row.function == "SpiTransfer") { // rows that differ in their length
        const bool read = row.function == "I2cRead";
        const Bytes request = hex(row.request);
        const std::size_t asked = request[read ? 3 : 4] + request[read ? 4 : 5] * std::size_t{256};
        return {read ? asked : 65'535, asked};
    }
    const auto found = rooms.find(row.function);
    return found == rooms.end() ? Room{} : found->second;
}

static void call(TarvixSDK_Handle* h, unsigned which, bool strict)
{
    static const std::vector<golden::Row> rows = golden::rowsWith(&golden::Row::flat);
    static std::map<std::pair<std::size_t, bool>, std::unique_ptr<std::uint8_t[]>> buffers;
    static golden::Outputs outputs;
    static const auto records = std::make_unique<I3cTargetInfo[]>(8);
    const std::size_t index = which % rows.size();
    auto& buffer = buffers[{index, strict}];
    if (!buffer) {
        buffer = std::make_unique<std::uint8_t[]>(roomFor(rows[index])[strict]);
    }
    golden::Arguments arguments = argumentsFor(outputs);
    arguments.buffer = buffer.get();
    arguments.records = records.get();
    rows[index].flat(h, arguments);
    TarvixSDK_FreeDeviceInfo(&outputs.flatInfo);
}

// The answer to a request: none, any frame, a notification and a fitting one, or that alone. Short ones stand for long
// ones.
static void answer(fuzz::Input& input, const Bytes& request)
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

void fuzz::run(Input input)
{
    theAdapter = {.reportSize = input.u8() % 2 == 0 ? 64U : 1024U,
                  .onFrame = [&](auto& request) { answer(input, request); }};
    const std::unique_ptr<TarvixSDK_Handle, void (*)(TarvixSDK_Handle*)> owner(TarvixSDK_Create(0), TarvixSDK_Destroy);
    TarvixSDK_Handle* const h = owner.get();
    TarvixSDK_onNotification(h, [](const Notification* n) { touch({n->data, n->length}); });
    TarvixSDK_OnNotificationFrame(
        h,
        [](void*, const std::uint8_t* frame, std::size_t length) {
            touch({frame, length});
        },
        nullptr);
    bool strict = false;
    while (!input.empty()) {
        const unsigned operation = input.u8() % 8;
        const unsigned which = input.u8();
        std::size_t length = 0;
        if (operation == 0 && !TarvixSDK_IsConnected(h)) { // else the old session stays, whose buffers are others
            theAdapter.failsWrites = false;
            strict = which % 2 == 0;
            TarvixSDK_Disconnect(h);
            TarvixSDK_Open(h, nullptr, nullptr, strict ? 0 : TARVIXSDK_OPEN_PLAIN, nullptr);
        } else if (operation == 1) {
            TarvixSDK_Disconnect(h);
        } else if (operation == 2) {
            theAdapter.failsWrites = which % 4 == 0;
        } else if (operation == 3) {
            deliverFrame(Bytes{0, 0} + input.bytes(which));
        } else if (operation == 4) {
            TarvixSDK_NextNotification(h, Bytes(which).data(), which, &length, 0);
        } else {
            call(h, which, strict);
        }
    }
}
