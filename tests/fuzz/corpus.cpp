// What a fuzzer's search begins with: its seeds, and the inputs of tests/fuzz/corpus/TARGET.hex, one a line. Without
// libFuzzer this is the whole program and runs each of them once.
#include <fstream>
#include <iostream>

#include "fuzz.hpp"

namespace {

std::vector<Bytes> readLines(const std::string& file)
{
    std::vector<Bytes> inputs;
    std::ifstream stream(file);
    for (std::string line; std::getline(stream, line);) {
        line.resize(std::min(line.find('#'), line.size()));
        if (!line.empty()) {
            Bytes& input = inputs.emplace_back();
            for (std::size_t i = 0; i + 2 <= line.size(); i += 2) {
                input.push_back(static_cast<std::uint8_t>(std::stoul(line.substr(i, 2), nullptr, 16)));
            }
        }
    }
    fuzz::require(stream.eof() && !inputs.empty(), "the corpus can be read and holds inputs");
    return inputs;
}

} // namespace

#ifdef TARVIX_LIBFUZZER

// TARGET --unpack FILE DIRECTORY: writes each as a file, as libFuzzer takes them.
extern "C" int LLVMFuzzerInitialize(int* count, char*** words)
{
    if (*count == 4 && std::string((*words)[1]) == "--unpack") {
        std::size_t number = 0;
        for (const Bytes& input : fuzz::seeds() + readLines((*words)[2])) {
            std::ofstream file((*words)[3] + ("/" + std::to_string(number++)), std::ios::binary);
            file.write(reinterpret_cast<const char*>(input.data()), static_cast<std::streamsize>(input.size()));
        }
        std::exit(0);
    }
    return 0;
}

#else

int main(int, char** words)
{
    std::size_t number = 0;
    for (const Bytes& input : fuzz::seeds() + readLines(words[1])) {
        const Bytes exact(input.begin(), input.end());
        LLVMFuzzerTestOneInput(exact.data(), exact.size());
        ++number;
    }
    std::cout << number << " inputs\n";
}

#endif
