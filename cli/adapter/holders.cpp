#include "adapter/holders.hpp"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <filesystem>
#include <system_error>

#include <fmt/format.h>
#include <unistd.h>

namespace tool {

namespace {

namespace fs = std::filesystem;

std::string firstLineOf(const fs::path& file)
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

std::vector<std::string> openFilesOf(const fs::path& process)
{
    std::vector<std::string> files;
    std::error_code error;
    for (const auto& descriptor : fs::directory_iterator(process / "fd", error)) {
        files.push_back(fs::read_symlink(descriptor.path(), error));
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
    std::error_code error;
    for (const auto& process : fs::directory_iterator("/proc", error)) {
        const std::string id = process.path().filename();
        int number = 0;
        const auto [end, noNumber] = std::from_chars(id.data(), id.data() + id.size(), number);
        if (noNumber != std::errc{} || end != id.data() + id.size() || number == getpid()) {
            continue;
        }
        const std::vector<std::string> files = openFilesOf(process.path());
        for (std::size_t i = 0; i < paths.size(); ++i) {
            if (std::find(files.begin(), files.end(), paths[i]) != files.end()) {
                holders[i].push_back({firstLineOf(process.path() / "comm"), number});
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
