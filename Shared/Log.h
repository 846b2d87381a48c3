// The one way the library writes a log line: the Android log at the information priority (4), with the
// source path relative to the repository root and the line number in front of the text.
//
// The build maps the source root away from __FILE__ (-fmacro-prefix-map), so the path reads
// "Shared/HDLC.cpp" whatever directory the build runs in.
#pragma once

#ifdef PALVORIN_LOG_STANDIN
extern "C" int __android_log_print(int prio, const char* tag, const char* fmt, ...)
    __attribute__((format(printf, 3, 4)));
#else
#include <android/log.h>
#endif

// Tag of the shared toolkit code (shared buffer, HDLC, CRC).
#define PALVORIN_TAG_SHARED "tarnik-utils"
// Tag of the item store and the Java interface.
#define PALVORIN_TAG_STORE "libPalvorin"

// Priority 4 is ANDROID_LOG_INFO; written as a number so that the stand-in needs no Android header.
#define PALVORIN_LOG(tag, fmt, ...) \
    __android_log_print(4, tag, "%s:%d: " fmt, __FILE__, __LINE__, ##__VA_ARGS__)
