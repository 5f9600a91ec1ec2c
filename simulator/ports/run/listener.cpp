#include "ports/run/listener.hpp"

#include <cerrno>
#include <sys/epoll.h>
#include <sys/socket.h>

namespace sim {

Listener::Listener(EventLoop& loop, FileDescriptor socket, Accepted accepted)
    : loop_(loop), socket_(std::move(socket)), accepted_(std::move(accepted))
{
    loop_.watch(socket_.get(), EPOLLIN, [this](std::uint32_t) { accept(); });
}

Listener::~Listener()
{
    loop_.cancel(pauseEnd_);
    loop_.forget(socket_.get());
}

void Listener::accept()
{
    while (true) {
        FileDescriptor connection(::accept4(socket_.get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
        if (connection) {
            accepted_(std::move(connection));
        } else if (errno != EINTR && errno != ECONNABORTED) {
            if (errno != EAGAIN) {
                pause();
            }
            return;
        }
    }
}

// Without a free descriptor the connection stays where it is and the socket readable: looks again a little later.
void Listener::pause()
{
    loop_.change(socket_.get(), 0);
    pauseEnd_ = loop_.after(std::chrono::milliseconds(50), [this] { loop_.change(socket_.get(), EPOLLIN); });
}

} // namespace sim
