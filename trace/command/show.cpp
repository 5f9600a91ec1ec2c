#include "trace/command/show.hpp"

#include "trace/command/presenter.hpp"
#include "trace/command/reading.hpp"

namespace trace {

namespace {

using namespace tool;

struct ShowFile : ShowOptions {
    std::string file;
};

void show(Context& context, const ShowFile& options)
{
    Presenter presenter(context.output(), options, false);
    readCapture(
        options.file, [&](const Record& record) { presenter.take(record); },
        [&](const CaptureError*) {
            presenter.end();
            return presenter.sawAdapters();
        });
}

} // namespace

void addShowCommand(Commands& commands)
{
    auto [app, options] = commands.add<ShowFile>(
        "show", "Print what a trace holds, one line an exchange", show,
        {"tarvix trace -o run.pcap -- tarvix i2c get 0x48 0 -n 2; tarvix trace show run.pcap",
         "tarvix trace -o run.pcap -- tarvix i2c scan; tarvix trace show run.pcap --stats",
         "tarvix trace -o run.pcap -- tarvix --json gpio get 3; tarvix trace show run.pcap --json"});
    addText(app, "FILE", options.file, "Trace, or a capture of the kernel's usbmon; - is standard input").required();
    addShowOptions(app, options);
}

} // namespace trace
