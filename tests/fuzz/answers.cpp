// Every command's decoder on an answer of any bytes, in plain and strict sessions.
#include "fuzz.hpp"
#include "golden/golden.hpp"

static const std::vector<golden::Row>& rows()
{
    static const std::vector<golden::Row> rows = golden::rowsWith(&golden::Row::block);
    return rows;
}

enum Option : std::uint8_t { STRICT = 1, LARGE_REPORTS = 2, WHOLE_FRAME = 4 }; // the last: id and code included

static bool isDocumented(StatusCode status, const Bytes& frame)
{
    return status == StatusCode::SUCCESS || status == StatusCode::NO_RESPONSE ||
           status == StatusCode::UNEXPECTED_RESPONSE || status == StatusCode::RESPONSE_TOO_SHORT ||
           (frame.size() >= 6 && status == StatusCode{static_cast<std::uint16_t>(frame[4] | frame[5] << 8)});
}

void fuzz::run(Input input)
{
    const unsigned options = input.u8();
    const golden::Row& row = rows()[input.u8() % rows().size()];
    const Bytes answer = input.rest();
    Bytes frame;
    theAdapter = {.reportSize = (options & LARGE_REPORTS) != 0 ? 1024U : 64U, .onFrame = [&](auto& request) {
                      frame = (options & WHOLE_FRAME) != 0 ? answer : part(request, 0, 4) + answer;
                      deliverFrame(frame);
                  }};
    TarvixSDK sdk(0);
    sdk.open({.strict = (options & STRICT) != 0});
    golden::Outputs outputs;
    outputs.buffer.clear(); // the flat functions'
    const StatusCode status = row.block(sdk, outputs);
    require(isDocumented(status, frame), "the status is the adapter's or a documented one");
    require(outputs.bytes.size() <= 65'535 && outputs.table.size() <= 255, "no count says more");
    require(status == StatusCode::SUCCESS || (options & STRICT) == 0 || outputs.values() + outputs.data() == "",
            "a strict session writes on success only");
}
