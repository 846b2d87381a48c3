// The library's log lines in a front end on a workstation (the tool, the Python package). The library logs
// through __android_log_print, which on a workstation prints every line on standard error: a recording with
// bad frames would print one line each. A front end links this sink, whose definition of that function takes
// precedence over the shared liblog's (the tool's executable exports it; the Python module is loaded before
// the library it depends on). Lines are dropped by default and printed as "tag: text" when asked. Not part of
// libPalvorin.so, whose lines on a handset go to the system log.
#pragma once

void ShowLibraryLog(bool show);
