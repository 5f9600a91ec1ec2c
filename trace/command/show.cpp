#include "trace/command/show.hpp"

#include <fmt/format.h>

#include "console/errors.hpp"
#include "trace/capture/reader.hpp"
#include "trace/command/presenter.hpp"

namespace trace {

namespace {

using namespace tool;

struct ShowFile : ShowOptions {
    std::string file;
};

// What can be read of a damaged file is shown.
void show(Context& context, const ShowFile& options)
{
    try {
        CaptureReader reader(options.file);
        Presenter presenter(context.output(), options, false);
        try {
            for (Record record; reader.next(record);) {
                presenter.take(record);
            }
        } catch (const CaptureError&) {
            presenter.end();
            throw;
        }
        presenter.end();
        if (!presenter.sawAdapters()) {
            throw CaptureError(
                fmt::format("{}: no traffic of an adapter in its {} records", options.file, reader.count()),
                "record it with 'tarvix trace -o FILE -- COMMAND'");
        }
    } catch (const CaptureError& error) {
        throw Failure(ExitStatus::REFUSED, error.what(), error.advice());
    }
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
