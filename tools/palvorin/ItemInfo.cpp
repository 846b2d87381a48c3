#include "tools/palvorin/ItemInfo.h"

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <ctime>

#include "Shared/SharedBuffer.h"
#include "diag/DiagLog.h"
#include "jni/ISFClassify.h"
#include "jni/ISFFormat.h"

namespace {

const uint64_t kMsFrom1601To1970 = FILETIME_UNIX_EPOCH / FILETIME_UNITS_PER_MS;

}  // namespace

std::string FormatUTC(uint64_t msSince1601) {
    char text[kUTCTextSize];
    return std::string(text, FormatUTC(msSince1601, text));
}

size_t FormatUTC(uint64_t msSince1601, char* out) {
    static const char kBefore1970[] = "before-1970";
    static const char kInvalid[] = "invalid-time";
    // The last second formatted, as "YYYY-MM-DDTHH:MM:SS".
    static thread_local uint64_t lastSecond = ~0ULL;
    static thread_local char lastText[kUTCTextSize];
    static thread_local size_t lastLength = 0;
    if (msSince1601 < kMsFrom1601To1970) {
        memcpy(out, kBefore1970, sizeof kBefore1970);
        return sizeof kBefore1970 - 1;
    }
    const uint64_t ms = msSince1601 - kMsFrom1601To1970;
    if (ms / 1000 != lastSecond) {
        const time_t seconds = static_cast<time_t>(ms / 1000);
        struct tm utc;
        lastLength = gmtime_r(&seconds, &utc) == nullptr
                         ? 0
                         : strftime(lastText, sizeof lastText - 5, "%Y-%m-%dT%H:%M:%S", &utc);
        if (lastLength == 0) {
            lastSecond = ~0ULL;
            memcpy(out, kInvalid, sizeof kInvalid);
            return sizeof kInvalid - 1;
        }
        lastSecond = ms / 1000;
    }
    memcpy(out, lastText, lastLength);
    const unsigned int fraction = static_cast<unsigned int>(ms % 1000);
    char* p = out + lastLength;
    *p++ = '.';
    *p++ = static_cast<char>('0' + fraction / 100);
    *p++ = static_cast<char>('0' + fraction / 10 % 10);
    *p++ = static_cast<char>('0' + fraction % 10);
    *p++ = 'Z';
    *p = '\0';
    return static_cast<size_t>(p - out);
}

double UnixSeconds(uint64_t msSince1601) {
    return (static_cast<double>(msSince1601) - static_cast<double>(kMsFrom1601To1970)) / 1000.0;
}

sPacketInfo DescribePacket(const unsigned char* payload, size_t size, bool withOTAType) {
    sPacketInfo info;
    const unsigned char* inner = nullptr;
    size_t innerSize = 0;
    if (UnwrapMultiSIM(payload, size, inner, innerSize, info.mSubscription)) {
        info.mWrapped = true;
        payload = inner;
        size = innerSize;
    }
    if (payload == nullptr || size < DIAG_LOG_HEADER_SIZE || payload[0] != DIAG_CMD_LOG) {
        return info;
    }
    info.mIsLog = true;
    info.mLogCode = static_cast<unsigned int>(GetLE(payload + 6, 2));
    eAuxSource aux;
    if (!IsOTALogCode(info.mLogCode, aux) || size > MAX_SHARED_BUFFER_SIZE) {
        return info;
    }
    // The view reads a copy with the zeroed guard tail that every buffer of the library has. The copy is
    // made in one array kept for all calls, and the buffer only points at it: this runs for every item of
    // a file. The buffer holds a reference of its own throughout, so the view's Release never frees it, and
    // it lets go of the array before it goes out of scope.
    static thread_local unsigned char copy[MAX_SHARED_BUFFER_SIZE + SHARED_BUFFER_GUARD_SIZE];
    memcpy(copy, payload, size);
    memset(copy + size, 0, SHARED_BUFFER_GUARD_SIZE);
    sSharedBuffer buffer(nullptr, 0, PROTOCOL_DIAG_FROM_DEVICE);
    buffer.mData = copy;
    buffer.mSize = static_cast<unsigned int>(size);
    buffer.AddRef();
    {
        sDiagOTALog view(&buffer);
        info.mIsOTA = view.IsValid();
        if (info.mIsOTA && withOTAType) {
            info.mOTAType = view.GetOTAType();
        }
    }
    buffer.mData = nullptr;
    return info;
}

const char* MessageKind(cOTAExtractor& extractor, const unsigned char* payload, size_t size) {
    sOTAMessage message;
    return extractor.Extract(payload, size, message) == OTA_EXTRACT_MESSAGE ? OTAMessageKindName(message)
                                                                            : nullptr;
}
