// Stand-in for liblog, linked only into builds for a target that has none (a cross build on a host).
// It prints what liblog prints on a host: tag, priority letter, then the message on one line.
#include <cstdarg>
#include <cstdio>

#include "Shared/Log.h"
#include "Shared/LogLine.h"

extern "C" int __android_log_print(int prio, const char* tag, const char* fmt, ...) {
    static const char kLetters[] = "??VDIWEF";
    const char letter = (prio >= 0 && prio < 8) ? kLetters[prio] : '?';
    char tagged[256];
    snprintf(tagged, sizeof tagged, "%s %c ", tag ? tag : "", letter);
    va_list args;
    va_start(args, fmt);
    const int printed = PrintLogLine(tagged, fmt, args);
    va_end(args);
    return printed;
}
