// The choice of a USB device's diagnostic interface on any descriptor bytes: never a read outside them,
// every candidate satisfies the rule, and the active configuration found in a copy of all of a device's
// descriptors lies inside it. The first byte is the configuration value looked for.
#include <cstddef>
#include <cstdint>
#include <vector>

#include "fuzz/FuzzSupport.h"
#include "tools/palvorin/USBDescriptor.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 1) {
        return 0;
    }
    // A copy of exactly the descriptor bytes, so that the sanitizer sees any read past them.
    const std::vector<unsigned char> bytes(data + 1, data + size);
    std::vector<sUSBInterface> interfaces;
    ReadUSBInterfaces(bytes.data(), bytes.size(), interfaces);
    for (const sUSBInterface& candidate : DiagCandidates(interfaces)) {
        FailIf(!IsDiagCandidate(candidate) || candidate.mIn == 0 || candidate.mOut == 0);
    }
    size_t start = 0;
    size_t length = 0;
    if (FindUSBConfiguration(bytes.data(), bytes.size(), data[0], start, length)) {
        FailIf(start > bytes.size() || length > bytes.size() - start);
        interfaces.clear();
        ReadUSBInterfaces(bytes.data() + start, length, interfaces);
    }
    return 0;
}
