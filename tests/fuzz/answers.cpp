// Every command's decoder on an answer of any bytes, in plain and strict sessions.
#include "fuzz.hpp"
#include "golden/golden.hpp"

namespace {

const std::vector<golden::Row>& rows()
{
    static const std::vector<golden::Row> rows = golden::rowsWith(&golden::Row::block);
    return rows;
}

enum Option : std::uint8_t { STRICT = 1, LARGE_REPORTS = 2, WHOLE_FRAME = 4 }; // the last: id and code included

bool isDocumented(StatusCode status, const Bytes& frame)
{
    switch (status) {
    case StatusCode::SUCCESS:
    case StatusCode::NO_RESPONSE:
    case StatusCode::UNEXPECTED_RESPONSE:
    case StatusCode::RESPONSE_TOO_SHORT:
        return true;
    default:
        return frame.size() >= 6 && status == StatusCode{static_cast<std::uint16_t>(frame[4] | frame[5] << 8)};
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    fuzz::Input input(data, size);
    const unsigned options = input.u8();
    const golden::Row& row = rows()[input.u8() % rows().size()];
    const Bytes answer = input.rest();
    Bytes frame;
    fuzz::Adapter::instance() = {.reportSize = (options & LARGE_REPORTS) != 0 ? 1024U : 64U,
                                 .onFrame = [&](const Bytes& request) {
                                     frame = (options & WHOLE_FRAME) != 0 ? answer : part(request, 0, 4) + answer;
                                     fuzz::deliverFrame(frame);
                                 }};
    TarvixSDK sdk(0);
    sdk.open({.strict = (options & STRICT) != 0});
    golden::Outputs outputs;
    outputs.buffer.clear(); // the flat functions'
    const StatusCode status = row.block(sdk, outputs);
    fuzz::require(isDocumented(status, frame), "the status is the adapter's or a documented one");
    fuzz::require(outputs.bytes.size() <= 65'535 && outputs.table.size() <= 255, "no count says more");
    fuzz::require(status == StatusCode::SUCCESS || (options & STRICT) == 0 || outputs.values() + outputs.data() == "",
                  row.name + ": a strict session writes on success only");
    return 0;
}

std::vector<Bytes> fuzz::seeds()
{
    std::vector<Bytes> seeds;
    for (std::size_t i = 0; i < rows().size(); ++i) {
        const Bytes frame = hex("01 00 " + rows()[i].request.substr(0, 5) + " 00 00 " + rows()[i].answer);
        const auto index = static_cast<std::uint8_t>(i);
        seeds.push_back(Bytes{0, index} + part(frame, 4, frame.size()));
        seeds.push_back(Bytes{STRICT, index} + part(frame, 4, frame.size()));
        seeds.push_back(Bytes{STRICT | WHOLE_FRAME, index} + frame);
    }
    return seeds;
}
