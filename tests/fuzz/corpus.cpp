// The entry of a fuzzer: libFuzzer's, or a program that runs each input of tests/fuzz/corpus/TARGET.hex once.
#include <fstream>

#include "fuzz.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    fuzz::run(fuzz::Input({data, size}));
    return 0;
}

#ifdef TARVIX_LIBFUZZER

// Half the time would go into remembering who allocated what: to see that, replay with ASAN_OPTIONS.
extern "C" const char* __asan_default_options()
{
    return "malloc_context_size=1:quarantine_size_mb=8";
}

#else

int main(int, char** words)
{
    std::size_t inputs = 0;
    std::ifstream corpus(words[1]);
    for (std::string line; std::getline(corpus, line);) {
        Bytes input;
        for (std::size_t i = 0; i + 2 <= std::min(line.find('#'), line.size()); i += 2) {
            input.push_back(static_cast<std::uint8_t>(std::stoul(line.substr(i, 2), nullptr, 16)));
        }
        LLVMFuzzerTestOneInput(input.data(), input.size());
        ++inputs;
    }
    fuzz::require(corpus.eof() && inputs > 0, "the corpus can be read and holds inputs");
}

#endif
