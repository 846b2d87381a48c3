// Stand-in for liblog, linked only into builds for a target that has none (a cross build on a host).
// It prints what liblog prints on a host: tag, priority letter, then the message on one line.
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "Shared/Log.h"

extern "C" int __android_log_print(int prio, const char* tag, const char* fmt, ...) {
    static const char kLetters[] = "??VDIWEF";
    const char letter = (prio >= 0 && prio < 8) ? kLetters[prio] : '?';
    char text[1024];
    va_list args;
    va_start(args, fmt);
    vsnprintf(text, sizeof text, fmt, args);
    va_end(args);
    const size_t length = strlen(text);
    const bool endsWithNewline = length > 0 && text[length - 1] == '\n';
    return fprintf(stderr, "%s %c %s%s", tag ? tag : "", letter, text, endsWithNewline ? "" : "\n");
}
