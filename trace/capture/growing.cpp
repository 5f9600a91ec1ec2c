#include "trace/capture/growing.hpp"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <memory>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

#include "trace/capture/layout.hpp"
#include "trace/capture/reader.hpp"

namespace trace {

namespace {

class GrowingFile {
public:
    explicit GrowingFile(int descriptor) : descriptor_(descriptor) {}
    ~GrowingFile() { ::close(descriptor_); }
    GrowingFile(const GrowingFile&) = delete;
    GrowingFile& operator=(const GrowingFile&) = delete;

    ssize_t read(char* buffer, std::size_t size)
    {
        if (position_ == whole_) {
            findWholeRecords();
        }
        const ssize_t count = ::pread(
            descriptor_, buffer, std::min<std::size_t>(size, static_cast<std::size_t>(whole_ - position_)), position_);
        position_ += std::max<ssize_t>(count, 0);
        return count;
    }

private:
    void findWholeRecords()
    {
        struct stat status {};
        RecordHeader header{};
        ::fstat(descriptor_, &status);
        while (whole_ + off_t{sizeof header} <= status.st_size &&
               ::pread(descriptor_, &header, sizeof header, whole_) == ssize_t{sizeof header}) {
            const off_t end = whole_ + off_t{sizeof header} + header.captured;
            if (end > status.st_size) {
                break;
            }
            whole_ = end;
        }
    }

    const int descriptor_;
    off_t position_ = 0;
    off_t whole_ = sizeof(FileHeader);
};

ssize_t readGrowing(void* cookie, char* buffer, std::size_t size)
{
    return static_cast<GrowingFile*>(cookie)->read(buffer, size);
}

int closeGrowing(void* cookie)
{
    delete static_cast<GrowingFile*>(cookie);
    return 0;
}

} // namespace

std::FILE* openGrowing(const std::string& path)
{
    const int descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0) {
        throw CaptureError(path + ": " + std::generic_category().message(errno));
    }
    auto file = std::make_unique<GrowingFile>(descriptor);
    std::FILE* const stream = ::fopencookie(file.get(), "rb", {readGrowing, nullptr, nullptr, closeGrowing});
    if (stream == nullptr) {
        throw CaptureError(path + ": " + std::generic_category().message(errno));
    }
    static_cast<void>(file.release());
    return stream;
}

} // namespace trace
