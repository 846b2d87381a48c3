// The library's log lines in Python. The library logs through __android_log_print, which on a workstation
// prints every line on standard error: a raw stream with bad frames would print a line for each. As in the
// tool (tools/palvorin/LibraryLog.h), the native part defines that function itself: loaded first of its
// own dependencies, its definition is the one the library's calls reach. Lines are dropped unless
// palvorin.library_log(True) asked for them.

#include <pybind11/pybind11.h>

#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <cstring>

namespace {

std::atomic<bool> gShow(false);

}  // namespace

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

void BindLibraryLog(pybind11::module_& module) {
    module.def(
        "library_log", [](bool show) { gShow = show; }, pybind11::arg("show"),
        "Shows the library's own log lines (bad frames, the tool-version record, ...) on standard error "
        "when `show` is true; they are dropped otherwise (the default).");
}
