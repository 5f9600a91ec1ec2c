// The lines of a batch.
#pragma once

#include <cstdio>
#include <memory>
#include <optional>
#include <string>

namespace tool {

class Lines {
public:
    // Throws UsageError for what cannot be read.
    static Lines ofFile(const std::string& path);
    static Lines ofStandardInput();

    // Without its end; empty after the last line. Throws UsageError for one that is too long.
    std::optional<std::string> next();

    // Of the line that `next` returned: "setup.txt:3".
    std::string place() const;

private:
    Lines(std::string name, std::FILE* stream);
    [[noreturn]] void fail() const;

    std::string name_;
    unsigned number_ = 0;
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> stream_;
};

} // namespace tool
