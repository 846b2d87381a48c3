// One log line on a host's standard error, as the stand-in for liblog and the front ends' sink print it:
// a prefix, then the message, ended by a newline unless the message ends with one. Long messages are cut
// at 1,023 bytes, as liblog cuts them.
#pragma once

#include <cstdarg>
#include <cstdio>
#include <cstring>

inline int PrintLogLine(const char* prefix, const char* format, va_list args) {
    char text[1024];
    vsnprintf(text, sizeof text, format, args);
    const size_t length = strlen(text);
    return fprintf(stderr, "%s%s%s", prefix, text, length != 0 && text[length - 1] == '\n' ? "" : "\n");
}
