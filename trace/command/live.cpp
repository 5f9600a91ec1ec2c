#include "trace/command/live.hpp"

#include <exception>
#include <sys/inotify.h>
#include <unistd.h>

#include "common/terminal.hpp"
#include "console/errors.hpp"
#include "trace/capture/growing.hpp"

namespace trace {

Live::Live(Presenter& presenter, const std::string& file)
    : reader_(openGrowing(file), file), presenter_(presenter), news_(::inotify_init1(IN_CLOEXEC | IN_NONBLOCK))
{
    ::inotify_add_watch(news_, file.c_str(), IN_MODIFY);
}

Live::~Live()
{
    ::close(news_);
}

// The command goes on, whether anybody reads this or not.
template <typename Work>
void Live::unlessEnded(Work work)
{
    if (ended_) {
        return;
    }
    try {
        work();
    } catch (const tool::OutputClosed&) {
        ended_ = true;
    } catch (const std::exception& error) {
        ended_ = true;
        terminal::tell(std::string("tarvix trace: ") + error.what());
    }
}

void Live::print()
{
    alignas(inotify_event) char events[4096];
    while (::read(news_, events, sizeof events) > 0) {
    }
    unlessEnded([&] {
        for (Record record; reader_.next(record);) {
            presenter_.take(record);
        }
    });
}

void Live::end()
{
    print();
    unlessEnded([&] { presenter_.end(); });
}

} // namespace trace
