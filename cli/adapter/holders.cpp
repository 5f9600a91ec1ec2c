#include "adapter/holders.hpp"

#include <algorithm>
#include <array>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <system_error>

#include <dirent.h>
#include <fmt/format.h>
#include <unistd.h>

namespace tool {

namespace {

namespace fs = std::filesystem;

// The entries of a folder that are numbers: processes in /proc, descriptors in theirs. std::filesystem would take three
// times as long, and there may be thousands.
class Numbers {
public:
    explicit Numbers(const std::string& folder) : folder_(opendir(folder.c_str())) {}
    ~Numbers()
    {
        if (folder_ != nullptr) {
            closedir(folder_);
        }
    }
    Numbers(const Numbers&) = delete;
    Numbers& operator=(const Numbers&) = delete;

    // Null behind the last, and in a folder that cannot be read.
    const char* next()
    {
        const dirent* entry = nullptr;
        do {
            entry = folder_ != nullptr ? readdir(folder_) : nullptr;
        } while (entry != nullptr && (entry->d_name[0] < '0' || entry->d_name[0] > '9'));
        return entry != nullptr ? entry->d_name : nullptr;
    }

    // Where a symbolic link leads; empty if that is unknown.
    std::string target(const std::string& name) const
    {
        std::array<char, PATH_MAX> path;
        const ssize_t length = readlinkat(dirfd(folder_), name.c_str(), path.data(), path.size());
        return {path.data(), static_cast<std::size_t>(std::max<ssize_t>(length, 0))};
    }

private:
    DIR* folder_;
};

std::string firstLineOf(const std::string& file)
{
    std::string line;
    if (std::FILE* const stream = std::fopen(file.c_str(), "re"); stream != nullptr) {
        for (int c = std::fgetc(stream); c != EOF && c != '\n'; c = std::fgetc(stream)) {
            line += static_cast<char>(c);
        }
        std::fclose(stream);
    }
    return line;
}

std::vector<std::string> openFilesOf(const std::string& process)
{
    std::vector<std::string> files;
    Numbers descriptors(process + "/fd");
    while (const char* const descriptor = descriptors.next()) {
        files.push_back(descriptors.target(descriptor));
    }
    return files;
}

// "1-2.4", but no interface ("1-2.4:1.0") and no root hub ("usb1").
bool isPort(const std::string& name)
{
    return name.find('-') != std::string::npos && name.find_first_not_of("0123456789-.") == std::string::npos;
}

} // namespace

std::vector<std::vector<Holder>> holdersOf(const std::vector<std::string>& paths)
{
    std::vector<std::vector<Holder>> holders(paths.size());
    Numbers processes("/proc");
    while (const char* const id = processes.next()) {
        const int number = std::atoi(id);
        const bool unreadable = processes.target(fmt::format("{}/exe", id)).empty(); // others', and the kernel's own
        if (unreadable || number == getpid()) {
            continue;
        }
        const std::string process = fmt::format("/proc/{}", id);
        const std::vector<std::string> files = openFilesOf(process);
        for (std::size_t i = 0; i < paths.size(); ++i) {
            if (std::find(files.begin(), files.end(), paths[i]) != files.end()) {
                holders[i].push_back({firstLineOf(process + "/comm"), number});
            }
        }
    }
    return holders;
}

std::vector<Holder> holdersOf(const std::string& path)
{
    return holdersOf(std::vector<std::string>{path}).front();
}

std::string textOf(const std::vector<Holder>& holders)
{
    std::string text;
    for (const Holder& holder : holders) {
        text += fmt::format("{}{} (process {})", text.empty() ? "" : ", ", holder.program, holder.process);
    }
    return text;
}

std::string usbPortOf(const std::string& path, const std::string& sysfs)
{
    if (fs::path(path).parent_path() != "/dev") {
        return {};
    }
    std::error_code error;
    const fs::path device = fs::canonical(fs::path(sysfs) / fs::path(path).filename() / "device", error);
    if (error) {
        return {};
    }
    // From the device towards the root: the first port is its own, those above are hubs.
    for (fs::path folder = device; folder.has_relative_path(); folder = folder.parent_path()) {
        if (isPort(folder.filename())) {
            return folder.filename();
        }
    }
    return {};
}

} // namespace tool
