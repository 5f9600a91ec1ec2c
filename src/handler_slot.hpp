// A handler that one thread calls while another replaces it.
#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <utility>

// No lock is held while a handler runs, so it may replace itself. A replaced handler lives until its last call returns.
template <typename... Arguments>
class HandlerSlot {
public:
    using Handler = std::function<void(Arguments...)>;

    void set(Handler handler)
    {
        auto next = handler ? std::make_shared<const Handler>(std::move(handler)) : nullptr;
        const std::lock_guard lock(mutex_);
        handler_.swap(next);
    }

    void call(Arguments... arguments)
    {
        if (const auto handler = current()) {
            (*handler)(arguments...);
        }
    }

private:
    std::shared_ptr<const Handler> current()
    {
        const std::lock_guard lock(mutex_);
        return handler_;
    }

    std::mutex mutex_;
    std::shared_ptr<const Handler> handler_;
};
