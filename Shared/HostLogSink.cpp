#include "Shared/HostLogSink.h"

#include <atomic>
#include <cstdarg>
#include <cstdio>

#include "Shared/LogLine.h"

namespace {

std::atomic<bool> gShow(false);

}  // namespace

void ShowLibraryLog(bool show) {
    gShow.store(show, std::memory_order_relaxed);
}

extern "C" __attribute__((visibility("default"))) int __android_log_print(int /*priority*/, const char* tag,
                                                                          const char* format, ...) {
    if (!gShow.load(std::memory_order_relaxed)) {
        return 0;
    }
    char prefix[256];
    snprintf(prefix, sizeof prefix, "%s: ", tag != nullptr ? tag : "");
    va_list args;
    va_start(args, format);
    PrintLogLine(prefix, format, args);
    va_end(args);
    return 1;
}
