// Arbitrary lines into ParseCommandLine, and arbitrary delimiters and text into ParseTokens (exactly sized,
// terminated copies, so that any read past the NUL is caught). Arguments and tokens must be pieces of the
// input that obey the splitting rules.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "text/Parsing.h"

namespace {

void CheckCommandLine(const std::string& line) {
    std::vector<std::string> arguments;
    ParseCommandLine(line, arguments);
    size_t total = 0;
    for (const std::string& argument : arguments) {
        total += argument.size();
        // An argument holds no space unless it was quoted, and a quoted one holds no quote.
        if (argument.find(' ') != std::string::npos && argument.find('"') != std::string::npos) {
            abort();
        }
        if (line.find(argument) == std::string::npos) {
            abort();
        }
    }
    if (total > line.size()) {
        abort();
    }
}

void CheckTokens(const uint8_t* data, size_t size) {
    const size_t delimiterCount = data[0] % 4;
    if (size < 1 + delimiterCount) {
        return;
    }
    std::unique_ptr<char[]> delimiters(new char[delimiterCount + 1]);
    memcpy(delimiters.get(), data + 1, delimiterCount);
    delimiters[delimiterCount] = '\0';
    const size_t length = size - 1 - delimiterCount;
    std::unique_ptr<char[]> text(new char[length + 1]);
    memcpy(text.get(), data + 1 + delimiterCount, length);
    text[length] = '\0';

    std::vector<char*> tokens;
    ParseTokens(delimiters.get(), text.get(), tokens);
    for (char* token : tokens) {
        if (token < text.get() || token >= text.get() + length || *token == '\0' ||
            strpbrk(token, delimiters.get()) != nullptr) {
            abort();
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    CheckCommandLine(std::string(reinterpret_cast<const char*>(data), size));
    if (size > 0) {
        CheckTokens(data, size);
    }
    return 0;
}
