// Arbitrary lines into ParseCommandLine: the copy it takes is split without reading outside it.
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "text/Parsing.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::vector<std::string> arguments;
    ParseCommandLine(std::string(reinterpret_cast<const char*>(data), size), arguments);
    return 0;
}
