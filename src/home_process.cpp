#include "home_process.hpp"

#include <pthread.h>

#include "transport/enumeration.hpp"

namespace {

std::atomic<unsigned> forks = 0; // from the process that loaded the library to this one

// A fork waits until nobody is inside hidapi, so that the child can use it.
[[maybe_unused]] const int REGISTERED = pthread_atfork([] { hidapiMutex().lock(); }, [] { hidapiMutex().unlock(); },
                                                       [] {
                                                           ++forks;
                                                           hidapiMutex().unlock();
                                                       });

} // namespace

void HomeProcess::moveHere()
{
    number_ = forks.load();
}

bool HomeProcess::isHere() const
{
    return number_ == forks;
}
