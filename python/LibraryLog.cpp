// palvorin.library_log: the library's own log lines on standard error, or dropped (the default); the sink
// is the one the tool uses (Shared/HostLogSink.h).

#include <pybind11/pybind11.h>

#include "Shared/HostLogSink.h"

void BindLibraryLog(pybind11::module_& module) {
    module.def(
        "library_log", &ShowLibraryLog, pybind11::arg("show"),
        "Shows the library's own log lines (bad frames, the tool-version record, ...) on standard error "
        "when `show` is true; they are dropped otherwise (the default).");
}
