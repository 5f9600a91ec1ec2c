// An adapter that answers as recorded.
#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "ports/shared/usb_adapter.hpp"
#include "replay/options.hpp"
#include "replay/recording.hpp"

namespace sim {

// Gets what `differenceAt` says, once an adapter has got a request that was not to come then.
using TellDifference = std::function<void(const std::string& text)>;

class ReplayedAdapter final : public UsbAdapter {
public:
    // The options outlive it.
    ReplayedAdapter(EventLoop& loop, Recording recording, const ReplayOptions& options, Cable& cable,
                    TellDifference differs);

    void opened() override;

    // What `missingFrom` says of the first request that has not come, if there is one.
    std::optional<std::string> leftOver() const;

private:
    // The steps of equal requests, by index.
    struct Occurrences {
        std::vector<std::size_t> steps;
        std::size_t played = 0;
    };

    void powerUp() override {}
    void execute(const Frame& request) override;
    void playNext(const Frame& request);
    void playAny(const Frame& request);
    void play(std::size_t step, const Frame& request);
    void perform(std::vector<Deed> deeds, const Frame* recorded, const Frame* request);

    const ReplayOptions& options_;
    const TellDifference differs_;
    std::vector<Step> steps_;
    std::size_t next_ = 0;
    std::map<Frame, Occurrences> occurrences_; // lenient: by what is compared
    std::set<Frame> unknown_;                  // likewise, what was told of
};

} // namespace sim
