// HidTransport for fuzzers: in place of hidapi and the reader thread, the writing thread receives the answer while it
// writes. Everything above it is the library's.
#include <csignal>

#include "fuzz.hpp"
#include "ports/shared/report_codec.hpp"
#include "transport/hid_transport.hpp"

struct hid_device_ {
    std::function<void(const Bytes& report)> receive;
    sim::FrameJoiner joiner;
};

static hid_device_* theDevice = nullptr;

namespace fuzz {

Adapter& Adapter::instance()
{
    static Adapter adapter;
    return adapter;
}

void deliverReport(const Bytes& report)
{
    if (theDevice != nullptr) {
        theDevice->receive(report);
    }
}

void deliverFrame(const Bytes& frame)
{
    for (const sim::Report& report : sim::cutIntoReports(frame, Adapter::instance().reportSize)) {
        deliverReport(report);
    }
}

} // namespace fuzz

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
    return start({fuzz::Adapter::instance().reportSize, "adapter"}, false);
}

OpenResult HidTransport::open(const OpenOptions& options)
{
    start({fuzz::Adapter::instance().reportSize, "adapter"}, options.strict);
    return {OpenStatus::OPENED, path_, 0, "opened adapter"};
}

bool HidTransport::start(const FoundDevice& found, bool strict)
{
    path_ = found.path;
    reportSize_ = found.reportSize;
    outgoing_.assign(reportSize_ + 1, 0);
    strict_ = strict;
    lost_ = false;
    running_ = true;
    device_ = theDevice = new hid_device_{[this](const Bytes& report) {
                                              reader() = this;
                                              onReport_(report);
                                              reader() = nullptr;
                                          },
                                          {}};
    return true;
}

void HidTransport::close()
{
    if (isOpen() && !isReaderThread()) {
        delete device_.exchange(nullptr);
        theDevice = nullptr;
    }
}

bool HidTransport::write()
{
    const fuzz::Adapter& adapter = fuzz::Adapter::instance();
    if (!isOpen() || adapter.failsWrites) {
        lost_ = true;
        onLoss_();
        return false;
    }
    const auto* const frame = (*device_).joiner.take(outgoing());
    if (frame != nullptr && adapter.onFrame) {
        adapter.onFrame(*frame);
    }
    return true;
}

const HidTransport*& HidTransport::reader()
{
    static const HidTransport* transport = nullptr;
    return transport;
}
