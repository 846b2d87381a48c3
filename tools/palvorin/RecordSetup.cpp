#include "tools/palvorin/RecordSetup.h"

#include <cstdio>

#include "tools/palvorin/Amounts.h"

bool ParseRotation(const std::string& size, const std::string& time, sRotationLimits& limits) {
    if (!size.empty() && !ParseSize(size, limits.mBytes)) {
        fprintf(
            stderr,
            "palvorin: --rotate-size takes a size such as 512M or 2G (K, M, G: powers of 1024), not '%s'\n",
            size.c_str());
        return false;
    }
    if (limits.mBytes != 0 && limits.mBytes < kMinRotateBytes) {
        fprintf(stderr,
                "palvorin: --rotate-size is at least 64K (every file begins with a 57,360-byte index)\n");
        return false;
    }
    if (!time.empty() && !ParseDuration(time, limits.mSeconds)) {
        fprintf(stderr, "palvorin: --rotate-time takes a duration such as 30m or 1h (s, m, h, d), not '%s'\n",
                time.c_str());
        return false;
    }
    return true;
}

bool ParseSource(const std::string& text, sSourceAddress& address) {
    std::string error;
    if (!ParseSourceAddress(text, address, error)) {
        fprintf(stderr, "palvorin: %s: %s\n", text.c_str(), error.c_str());
        return false;
    }
    return true;
}
