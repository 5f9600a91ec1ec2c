#include "session/adapter_link.hpp"

#include <cerrno>
#include <cstdint>

#include <sys/eventfd.h>

#include "adapter/statuses.hpp"
#include "console/errors.hpp"

namespace bridge {

AdapterLink::AdapterLink(tool::Context& context)
    : context_(context),
      sdk_(context.sdk()),
      lost_(std::make_shared<const FileDescriptor>(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK), "eventfd"))
{
    sdk_.onConnectionLost([lost = lost_] { eventfd_write(lost->get(), 1); });
    if (!sdk_.isConnected()) { // since before the handler was there
        eventfd_write(lost_->get(), 1);
    }
}

AdapterLink::~AdapterLink()
{
    sdk_.onConnectionLost(nullptr);
}

void AdapterLink::reopen()
{
    OpenOptions options;
    options.path = tool::chooseAdapter(context_.adapter().selector).path;
    options.exclusive = !context_.options().shared;
    eventfd_t ignored;
    eventfd_read(lost_->get(), &ignored);
    tool::requireOpen(sdk_.open(options));
    ++generation_;
}

int errnoOf(StatusCode status)
{
    switch (status) {
    case StatusCode::SUCCESS:
        return 0;
    case StatusCode::NO_RESPONSE:
        return ETIMEDOUT;
    case StatusCode::ADAPTER_LOST:
    case StatusCode::NOT_CONNECTED:
        return ENODEV;
    case StatusCode::INVALID_ARGUMENT:
        return EINVAL;
    default:
        break;
    }
    if (isStatus(status, tool::DeviceStatus::NACK)) {
        return ENXIO;
    }
    return isStatus(status, tool::DeviceStatus::BUS_STUCK) ? EBUSY : EIO;
}

} // namespace bridge
