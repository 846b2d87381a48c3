// The library's log lines in the tool. The library logs through __android_log_print, which on a
// workstation prints every line on standard error: a bad frame in a recording would print one line each.
// The tool defines that function itself (its definition in the executable takes precedence over the
// shared liblog's), drops the lines by default and prints them as "tag: text" when asked.
#pragma once

void ShowLibraryLog(bool show);
