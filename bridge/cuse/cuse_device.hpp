// A character device that the kernel asks us about (CUSE).
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "cuse/open_file.hpp"
#include "session/bridge.hpp"

struct fuse_session;

namespace bridge {

class CuseDevice final : public Bridge {
public:
    using Open = std::function<std::unique_ptr<OpenFile>()>; // once for each program that opens it

    // The device is there when this returns. `name` is that below /dev. Throws tool::Failure.
    CuseDevice(std::string kind, const std::string& name, Open open);
    ~CuseDevice() override;

    std::string kind() const override { return kind_; }
    std::string device() const override { return path_; }
    pollfd awaited() override;
    void serve(short events) override;

    std::unique_ptr<OpenFile> open() const { return open_(); }

private:
    struct EndSession {
        void operator()(fuse_session* session) const;
    };

    const std::string kind_;
    const std::string path_;
    const Open open_;
    std::unique_ptr<fuse_session, EndSession> session_;
};

} // namespace bridge
