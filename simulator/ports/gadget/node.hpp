// One adapter behind a USB HID gadget node, for a board with a device port.
#pragma once

#include <string>

#include "common/file_descriptor.hpp"
#include "ports/shared/adapter_host.hpp"

namespace sim {

class GadgetNode final : public Cable {
public:
    // `udcFile` is the attribute of configfs that binds the node's gadget to a controller; empty for none: then the
    // adapter cannot leave the bus, it only falls silent.
    GadgetNode(EventLoop& loop, const HostOptions& options, std::size_t index, std::string node, std::string udcFile);
    ~GadgetNode() override;

    AdapterHost& adapter() { return adapter_; }

    // Throws when the node cannot be opened.
    void start();

    void plugIn() override;
    void pullOut() override;
    bool accepts() override { return node_ && (!busy_ || deaf_); }
    void carry(std::span<const std::uint8_t> report) override;

private:
    bool openNode();
    void closeNode();
    void reopenLater();
    void serve(std::uint32_t events);
    void writeReport();
    void bind();
    void unbind();

    EventLoop& loop_;
    const std::string path_;
    const std::string udcFile_;
    std::string controller_; // what the gadget was bound to, while it is not
    FileDescriptor node_;
    bool busy_ = false; // report_ waits for the USB host
    bool deaf_ = false; // it has waited so long that later reports are dropped
    Report report_;
    EventLoop::Timer retry_;
    EventLoop::Timer patience_;
    AdapterHost adapter_;
};

} // namespace sim
