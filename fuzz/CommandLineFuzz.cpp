// Arbitrary lines into ParseCommandLine, and the same bytes, split at the first NUL into delimiters and
// text held in exactly sized terminated copies, into ParseTokens: nothing may be read past a NUL.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "text/Parsing.h"

namespace {

std::unique_ptr<char[]> Terminated(const uint8_t* data, size_t size) {
    std::unique_ptr<char[]> copy(new char[size + 1]);
    memcpy(copy.get(), data, size);
    copy[size] = '\0';
    return copy;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::vector<std::string> arguments;
    ParseCommandLine(std::string(reinterpret_cast<const char*>(data), size), arguments);

    const uint8_t* nul = static_cast<const uint8_t*>(memchr(data, 0, size));
    const size_t split = nul == nullptr ? size : static_cast<size_t>(nul - data);
    std::unique_ptr<char[]> delimiters = Terminated(data, split);
    std::unique_ptr<char[]> text = Terminated(data + split, size - split);
    std::vector<char*> tokens;
    ParseTokens(delimiters.get(), text.get() + (split < size), tokens);
    return 0;
}
