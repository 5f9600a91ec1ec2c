// The queue of notifications between the reader thread and whoever fetches them.
#include <gtest/gtest.h>

#include "flat/notification_queue.hpp"
#include "support/bytes.hpp"

namespace {

// The reader thread delivers as soon as the adapter is open, the caller's thread says so later.
TEST(NotificationQueue, KeepsANotificationThatIsFasterThanOpenAndTheLatestHoweverLong)
{
    NotificationQueue queue;
    Bytes buffer((std::size_t{1} << 20) + 1); // more than the queue holds
    for (const Bytes& frame : {hex("01 02 03"), buffer}) {
        queue.put(frame);
        queue.begin();
        std::size_t length = 0;
        EXPECT_EQ(queue.take(buffer, length, 0), StatusCode::SUCCESS);
        EXPECT_EQ(length, frame.size());
    }
}

} // namespace
