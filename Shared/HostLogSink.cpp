#include "Shared/HostLogSink.h"

#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <cstring>

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
    char text[1024];
    va_list args;
    va_start(args, format);
    vsnprintf(text, sizeof text, format, args);
    va_end(args);
    const size_t length = strlen(text);
    fprintf(stderr, "%s: %s%s", tag != nullptr ? tag : "", text,
            length != 0 && text[length - 1] == '\n' ? "" : "\n");
    return 1;
}
