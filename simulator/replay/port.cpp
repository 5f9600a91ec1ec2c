#include "replay/port.hpp"

#include <algorithm>
#include <fmt/format.h>
#include <iterator>
#include <memory>
#include <stdexcept>

#include "common/terminal.hpp"
#include "ports/run/command.hpp"
#include "ports/run/host.hpp"
#include "ports/run/private_directory.hpp"
#include "ports/run/socket.hpp"
#include "replay/replayed_adapter.hpp"

namespace sim {

namespace {

// Each line of it, made printable.
void tellLines(std::string_view text)
{
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        terminal::tell(text.substr(0, end));
        text.remove_prefix(std::min(end + 1, text.size()));
    }
}

// The adapters of a recording. At the first difference all of them are pulled out.
class ReplayedAdapters final : public AdapterSource {
public:
    ReplayedAdapters(std::vector<Recording> recordings, const ReplayOptions& options, std::function<void()> differed)
        : recordings_(std::move(recordings)), options_(options), differed_(std::move(differed))
    {
    }

    std::vector<UsbIdentity> identities() const override
    {
        std::vector<UsbIdentity> identities;
        std::ranges::transform(recordings_, std::back_inserter(identities), &Recording::identity);
        return identities;
    }

    std::unique_ptr<UsbAdapter> make(EventLoop& loop, std::size_t index, Cable& cable) override
    {
        auto adapter = std::make_unique<ReplayedAdapter>(loop, std::move(recordings_[index]), options_, cable,
                                                         [this](const std::string& text) { differ(text); });
        adapters_.push_back(adapter.get());
        return adapter;
    }

    std::string control(std::string_view) override
    {
        throw std::runtime_error("this adapter answers from a recording: it has no bench to look at or to act on");
    }

    bool differs() const { return differs_; }

    // Says of each adapter which request has not come; whether there is one.
    bool tellLeftOver() const
    {
        bool any = false;
        for (const ReplayedAdapter* adapter : adapters_) {
            if (const auto text = adapter->leftOver()) {
                any = true;
                tellLines("tarvix-sim: " + *text);
            }
        }
        return any;
    }

private:
    void differ(const std::string& text)
    {
        differs_ = true;
        tellLines("tarvix-sim: " + text);
        std::ranges::for_each(adapters_, &UsbAdapter::pullOut);
        differed_();
    }

    std::vector<Recording> recordings_;
    const ReplayOptions& options_;
    const std::function<void()> differed_;
    std::vector<ReplayedAdapter*> adapters_;
    bool differs_ = false;
};

} // namespace

int replayPort(const ReplayOptions& options, const std::vector<std::string>& words)
{
    std::string damage;
    auto recordings = readRecordings(options.capture, damage);
    if (!damage.empty()) {
        terminal::tell(fmt::format("tarvix-sim: {}; what came before is played", damage));
    }
    const PrivateDirectory directory;
    EventLoop loop;
    Command command(loop);
    ReplayedAdapters adapters(std::move(recordings), options, [&] { command.mustEnd(); });
    RunHost host(loop, adapters, directory.path());
    const int status = command.run(directory.path() + '/' + SOCKET_NAME, words);
    host.drain();
    if (adapters.differs()) {
        return STATUS_DIFFERENT;
    }
    return adapters.tellLeftOver() && status == 0 ? STATUS_DIFFERENT : status;
}

} // namespace sim
