// The session that all bridges share, and what becomes of it when the adapter goes.
#pragma once

#include <memory>

#include "adapter/context.hpp"
#include "common/file_descriptor.hpp"
#include "tarvixsdk/sdk.hpp"

namespace bridge {

class AdapterLink {
public:
    // Opens the adapter. Throws tool::Failure.
    explicit AdapterLink(tool::Context& context);
    ~AdapterLink();
    AdapterLink(const AdapterLink&) = delete;
    AdapterLink& operator=(const AdapterLink&) = delete;

    tool::Context& context() const { return context_; }
    TarvixSDK& sdk() const { return sdk_; }
    bool isUp() const { return sdk_.isConnected(); }

    // Readable once the adapter is gone, until `reopen`.
    int lossDescriptor() const { return lost_->get(); }

    // Takes the same adapter up again. Throws tool::Failure while it is not there or cannot be opened.
    void reopen();

    // Another number each time the adapter was opened: it then has to be set up anew.
    unsigned generation() const { return generation_; }

private:
    tool::Context& context_;
    TarvixSDK& sdk_;
    const std::shared_ptr<const FileDescriptor> lost_; // shared with the handler, which may outlast this
    unsigned generation_ = 1;
};

// What a kernel driver's caller would get in `errno` for this status; 0 for success.
int errnoOf(StatusCode status);

} // namespace bridge
