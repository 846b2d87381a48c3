// The tool-version record that opens every item store file.
#include "jni/ISFToolVersion.h"

#include <sys/time.h>

#include <cstring>
#include <new>

#include "jni/ISFStore.h"
#include "text/Numbers.h"

sSharedBuffer* cISFStore::GenerateToolVersion(unsigned long long cdmaTime) {
    unsigned char record[TOOL_VERSION_RECORD_SIZE] = {};
    record[0] = DIAG_CMD_LOG;
    PutLE(record + 2, TOOL_VERSION_LOG_LENGTH, 2);
    PutLE(record + 4, TOOL_VERSION_LOG_LENGTH, 2);
    PutLE(record + 6, TOOL_VERSION_LOG_CODE, 2);
    PutLE(record + TOOL_VERSION_AT_TIMESTAMP, cdmaTime, 8);

    PALVORIN_LOG(PALVORIN_TAG_STORE, "VERSION %s\n", TOOL_VERSION_TEXT);
    // major.minor.build, split at the first and the last dot.
    const char* firstDot = strchr(TOOL_VERSION_TEXT, '.');
    const char* lastDot = strrchr(TOOL_VERSION_TEXT, '.');
    char major[16] = {};
    char minor[16] = {};
    const size_t majorLength = firstDot != nullptr ? static_cast<size_t>(firstDot - TOOL_VERSION_TEXT) : 0;
    const size_t minorLength =
        firstDot != nullptr && lastDot > firstDot ? static_cast<size_t>(lastDot - firstDot - 1) : 0;
    unsigned int majorValue = 0;
    unsigned int minorValue = 0;
    if (firstDot != nullptr && majorLength < sizeof major && minorLength < sizeof minor) {
        memcpy(major, TOOL_VERSION_TEXT, majorLength);
        if (minorLength != 0) {
            memcpy(minor, firstDot + 1, minorLength);
        }
        const char* build = lastDot + 1;
        if (FromString(major, majorValue) && FromString(minor, minorValue)) {
            PALVORIN_LOG(PALVORIN_TAG_STORE, "MAJOR %lu, MINOR %lu, BUILD %s\n",
                         static_cast<unsigned long>(majorValue), static_cast<unsigned long>(minorValue),
                         build);
            PutLE(record + TOOL_VERSION_AT_MAJOR, majorValue, 2);
            PutLE(record + TOOL_VERSION_AT_MINOR, minorValue, 2);
            if (strlen(build) < TOOL_VERSION_BUILD_FIELD + 1) {
                memcpy(record + TOOL_VERSION_AT_BUILD, build, strlen(build));
            }
        }
    }
    memcpy(record + TOOL_VERSION_AT_NAME, TOOL_NAME, strlen(TOOL_NAME));
    memcpy(record + TOOL_VERSION_AT_DATE, TOOL_BUILD_DATE, strlen(TOOL_BUILD_DATE));

    timeval now;
    struct timezone zone;
    if (gettimeofday(&now, &zone) == 0) {
        PutLE(record + TOOL_VERSION_AT_SECONDS, static_cast<uint64_t>(now.tv_sec), 4);
        PutLE(record + TOOL_VERSION_AT_MINUTES_WEST, static_cast<uint64_t>(zone.tz_minuteswest), 2);
        PutLE(record + TOOL_VERSION_AT_DST, static_cast<uint64_t>(zone.tz_dsttime), 2);
        PutLE(record + TOOL_VERSION_AT_MILLISECONDS, static_cast<uint64_t>(now.tv_usec / 1000), 2);
    }
    sSharedBuffer* buffer =
        new (std::nothrow) sSharedBuffer(record, TOOL_VERSION_RECORD_SIZE, PROTOCOL_DIAG_FROM_DEVICE);
    if (buffer != nullptr && buffer->mData == nullptr) {
        delete buffer;
        return nullptr;
    }
    return buffer;
}
