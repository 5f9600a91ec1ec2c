#include "sub_program.hpp"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <string_view>

#include <fmt/format.h>

#include "common/child_process.hpp"
#include "console/errors.hpp"

namespace tool {

namespace {

namespace fs = std::filesystem;

// The first word that is no common option or its value, nor the word help; empty for none.
std::string_view commandOf(const std::vector<std::string>& words)
{
    constexpr std::string_view WITH_VALUE[] = {"-a", "--adapter", "--timeout", "--wait"};
    for (std::size_t i = 0; i < words.size(); ++i) {
        if (std::ranges::find(WITH_VALUE, words[i]) != std::end(WITH_VALUE)) {
            ++i;
        } else if (!words[i].starts_with('-') && !(i == 0 && words[i] == "help")) {
            return words[i];
        }
    }
    return {};
}

// Beside this program in the build tree, in a directory for programs that nobody types once installed.
std::string pathOf(const std::string& name)
{
    const fs::path home = fs::read_symlink("/proc/self/exe").parent_path();
    const fs::path installed = (home / TARVIX_LIBEXEC_DIRECTORY / name).lexically_normal();
    const fs::path built = home / name;
    return fs::exists(built) ? built : installed;
}

} // namespace

const SubProgram* subProgramOf(std::span<const SubProgram> programs, const std::vector<std::string>& words)
{
    const auto found = std::ranges::find(programs, commandOf(words), &SubProgram::command);
    return found == programs.end() ? nullptr : &*found;
}

void become(const SubProgram& program, const std::vector<std::string>& words)
{
    const std::string path = pathOf(fmt::format("tarvix-{}", program.command));
    const int error = child_process::become(path, words);
    throw Failure(ExitStatus::REFUSED, fmt::format("cannot run {}: {}", path, std::strerror(error)),
                  error == ENOENT ? fmt::format("install tarvix-{} there: it is a program of its own", program.command)
                                  : "");
}

} // namespace tool
