#include "board/types/contents.hpp"

#include <filesystem>
#include <string_view>

#include <fmt/format.h>

namespace sim {

namespace {

// "file:NAME", which need not be there yet, as an absolute path.
std::filesystem::path keptFile(Object& object)
{
    constexpr std::string_view FILE = "file:";
    const auto contents = object.find("contents");
    if (!contents || !contents->isText() || !contents->text().starts_with(FILE)) {
        object.get("keep").fail("to be kept, contents must be \"file:NAME\"");
    }
    return std::filesystem::absolute(contents->file().parent_path() / contents->text().substr(FILE.size()));
}

} // namespace

Contents readContents(Object& object, std::size_t size)
{
    Contents result;
    const auto keep = object.find("keep");
    bool isThere = true;
    if (keep && keep->flag()) {
        const auto file = keptFile(object);
        result.keptIn = file.string();
        isThere = std::filesystem::exists(file);
        if (!std::filesystem::is_directory(file.parent_path())) {
            object.get("contents").fail(fmt::format("there is no directory {}", file.parent_path().string()));
        }
    }
    if (const auto contents = object.find("contents"); contents && isThere) {
        result.bytes = contents->bytes(size);
    }
    return result;
}

} // namespace sim
