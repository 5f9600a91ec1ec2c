// A batch without an adapter: which frames it would send.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "adapter/context.hpp"
#include "arguments/data.hpp"

namespace tool {

// Every request succeeds, and no answer has data: a command goes as far as to what it reads first. Data made up would
// lead to frames that never go out.
class DryRun {
public:
    explicit DryRun(Context& context);

    // Runs a line of the batch, and prints what it would send instead of what it prints. Throws what is wrong with
    // the line itself; other failures come from what is missing, and are printed as that.
    void run(const std::string& place, const std::string& line, const std::function<void()>& command);

private:
    void print(const std::string& place, const std::string& line, const std::string& note);

    Context& context_;
    std::vector<Bytes> frames_; // of the line
};

} // namespace tool
