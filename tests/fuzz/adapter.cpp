// HidTransport for fuzzers: in place of hidapi and the reader thread, the writing thread receives the answer while it
// writes. Everything above it is the library's.
#include "fuzz.hpp"
#include "ports/shared/report_codec.hpp"
#include "transport/hid_transport.hpp"

struct hid_device_ {
    std::function<void(const Bytes& report)> receive;
    sim::FrameJoiner joiner;
};

static hid_device_ theDevice;

void fuzz::deliverReport(const Bytes& report)
{
    if (theDevice.receive) {
        theDevice.receive(report);
    }
}

void fuzz::deliverFrame(const Bytes& frame)
{
    std::ranges::for_each(sim::cutIntoReports(frame, theAdapter.reportSize), deliverReport);
}

HidTransport::HidTransport(ReportHandler onReport, LossHandler onLoss)
    : onReport_(std::move(onReport)), onLoss_(std::move(onLoss))
{
}

HidTransport::~HidTransport()
{
    close();
}

bool HidTransport::open(const std::string&, const std::string&)
{
    return static_cast<bool>(open({.strict = false}));
}

OpenResult HidTransport::open(const OpenOptions& options)
{
    reportSize_ = fuzz::theAdapter.reportSize;
    outgoing_.assign(reportSize_ + 1, 0);
    strict_ = options.strict;
    lost_ = false;
    running_ = true;
    theDevice = {.receive =
                     [this](const Bytes& report) {
                         reader() = this;
                         onReport_(report);
                         reader() = nullptr;
                     },
                 .joiner = {}};
    device_ = &theDevice;
    return {OpenStatus::OPENED, path_, 0, "opened adapter"};
}

void HidTransport::close()
{
    if (isOpen() && !isReaderThread()) {
        theDevice = {};
        device_ = nullptr;
    }
}

bool HidTransport::write()
{
    if (!isOpen() || fuzz::theAdapter.failsWrites) {
        lost_ = true;
        onLoss_();
        return false;
    }
    const auto* const frame = theDevice.joiner.take(outgoing());
    if (frame != nullptr && fuzz::theAdapter.onFrame) {
        fuzz::theAdapter.onFrame(*frame);
    }
    return true;
}

const HidTransport*& HidTransport::reader()
{
    static const HidTransport* transport = nullptr;
    return transport;
}
