#include "cuse/cuse_device.hpp"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <iterator>
#include <utility>
#include <vector>

#define FUSE_USE_VERSION 31
#include <cuse_lowlevel.h>
#include <fcntl.h>
#include <fmt/format.h>
#include <fuse_lowlevel.h>
#include <poll.h>
#include <unistd.h>

#include "common/file_descriptor.hpp"
#include "console/errors.hpp"

namespace bridge {

namespace {

constexpr const char* CONTROL = "/dev/cuse";

FileDescriptor openControl()
{
    const int descriptor = open(CONTROL, O_RDWR | O_CLOEXEC | O_NONBLOCK);
    if (descriptor < 0) {
        const std::string message = fmt::format("{}: {}", CONTROL, std::strerror(errno));
        if (errno == EACCES || errno == EPERM) {
            throw tool::Failure(tool::ExitStatus::NO_PERMISSION, message,
                                "run it as root, or as the service in docs/existing-tools.md");
        }
        throw tool::Failure(tool::ExitStatus::REFUSED, message, "load the kernel's module: modprobe cuse");
    }
    return {descriptor, CONTROL};
}

OpenFile& fileOf(const fuse_file_info* info)
{
    return *reinterpret_cast<OpenFile*>(info->fh);
}

// Runs what makes an answer, and answers in its place when it fails.
template <class Answer>
void answering(fuse_req_t request, Answer answer)
{
    try {
        answer();
    } catch (const Errno& error) {
        fuse_reply_err(request, error.number);
    } catch (const std::exception&) { // out of memory; none may reach libfuse, which is C
        fuse_reply_err(request, ENOMEM);
    }
}

void onOpen(fuse_req_t request, fuse_file_info* info)
{
    answering(request, [&] {
        auto file = static_cast<const CuseDevice*>(fuse_req_userdata(request))->open();
        info->fh = reinterpret_cast<std::uint64_t>(file.get());
        if (fuse_reply_open(request, info) == 0) { // else the program has gone
            [[maybe_unused]] const OpenFile* const kept = file.release();
        }
    });
}

void onRelease(fuse_req_t request, fuse_file_info* info)
{
    delete &fileOf(info);
    fuse_reply_err(request, 0);
}

void onRead(fuse_req_t request, std::size_t size, off_t, fuse_file_info* info)
{
    answering(request, [&] {
        const Bytes bytes = fileOf(info).read(size);
        fuse_reply_buf(request, reinterpret_cast<const char*>(bytes.data()), bytes.size());
    });
}

void onWrite(fuse_req_t request, const char* data, std::size_t size, off_t, fuse_file_info* info)
{
    answering(request, [&] {
        fuse_reply_write(request, fileOf(info).write({reinterpret_cast<const std::uint8_t*>(data), size}));
    });
}

std::vector<iovec> vectorsOf(const std::vector<Area>& areas)
{
    std::vector<iovec> vectors;
    for (const Area& area : areas) {
        vectors.push_back({reinterpret_cast<void*>(area.address), area.size});
    }
    return vectors;
}

void onIoctl(fuse_req_t request, int command, void* argument, fuse_file_info* info, unsigned flags, const void* fetched,
             std::size_t fetchedSize, std::size_t room)
{
    UserMemory memory(reinterpret_cast<std::uint64_t>(argument), (flags & FUSE_IOCTL_COMPAT) != 0,
                      {static_cast<const std::uint8_t*>(fetched), fetchedSize}, room);
    answering(request, [&] {
        try {
            const int result = fileOf(info).ioctl(static_cast<unsigned>(command), memory);
            fuse_reply_ioctl(request, result, memory.written().data(), memory.written().size());
        } catch (const UserMemory::Incomplete&) {
            const auto from = vectorsOf(memory.from());
            const auto to = vectorsOf(memory.to());
            fuse_reply_ioctl_retry(request, from.data(), from.size(), to.data(), to.size());
        }
    });
}

fuse_session* newSession(const std::string& name, CuseDevice* device)
{
    cuse_lowlevel_ops operations{};
    operations.open = onOpen;
    operations.release = onRelease;
    operations.read = onRead;
    operations.write = onWrite;
    operations.ioctl = onIoctl;
    const std::string nameArgument = "DEVNAME=" + name;
    const char* names[] = {nameArgument.c_str()};
    cuse_info info{};
    info.dev_info_argc = 1;
    info.dev_info_argv = names;
    info.flags = CUSE_UNRESTRICTED_IOCTL;
    char program[] = "tarvix-bridge";
    char* words[] = {program};
    fuse_args arguments = FUSE_ARGS_INIT(1, words);
    return cuse_lowlevel_new(&arguments, &info, &operations, device);
}

} // namespace

CuseDevice::CuseDevice(std::string kind, const std::string& name, Open open)
    : kind_(std::move(kind)), path_("/dev/" + name), open_(std::move(open))
{
    FileDescriptor control = openControl();
    if (access(path_.c_str(), F_OK) == 0) {
        throw tool::Failure(tool::ExitStatus::REFUSED, path_ + " exists already", "choose another name with --device");
    }
    session_.reset(newSession(name, this));
    // For libfuse, a mount point of this form is an open descriptor.
    const std::string place = fmt::format("/dev/fd/{}", control.get());
    if (session_ == nullptr || fuse_session_mount(session_.get(), place.c_str()) != 0) {
        throw tool::Failure(tool::ExitStatus::REFUSED, fmt::format("cannot make {}", path_));
    }
    control.release();
    // The kernel asks once what the device is like, and makes it.
    constexpr int PATIENCE = 5000; // ms
    for (int waits = 0; access(path_.c_str(), F_OK) != 0; ++waits) {
        pollfd asked = awaited();
        if (waits == 2 || poll(&asked, 1, PATIENCE) <= 0 || (asked.revents & POLLERR) != 0) {
            throw tool::Failure(tool::ExitStatus::REFUSED, fmt::format("the kernel does not make {}", path_),
                                "see the kernel's messages: dmesg");
        }
        serve(asked.revents);
    }
}

CuseDevice::~CuseDevice() = default;

void CuseDevice::EndSession::operator()(fuse_session* session) const
{
    fuse_session_destroy(session);
}

pollfd CuseDevice::awaited()
{
    return {fuse_session_fd(session_.get()), POLLIN, 0};
}

void CuseDevice::serve(short events)
{
    if (events == 0) {
        return;
    }
    fuse_buf request{};
    const int size = fuse_session_receive_buf(session_.get(), &request);
    if (size > 0) {
        fuse_session_process_buf(session_.get(), &request);
    }
    std::free(request.mem);
    if (size != -EINTR && size != -EAGAIN && size <= 0) {
        throw tool::Failure(tool::ExitStatus::REFUSED, fmt::format("the kernel has taken {} away", path_));
    }
}

} // namespace bridge
