#include "tools/palvorin/ItemInfo.h"

#include <cstdio>
#include <ctime>
#include <new>

#include "Shared/SharedBuffer.h"
#include "diag/DiagLog.h"
#include "jni/ISFClassify.h"
#include "jni/ISFFormat.h"

namespace {

const char* const kTypeNames[] = {"short-log",
                                  "response",
                                  "request",
                                  nullptr,
                                  "event",
                                  "log",
                                  "message",
                                  "tagged-request",
                                  "ota-log",
                                  "subsystem-response",
                                  "subsystem-request"};
const unsigned int kTypeCount = sizeof kTypeNames / sizeof kTypeNames[0];

const uint64_t kMsFrom1601To1970 = FILETIME_UNIX_EPOCH / FILETIME_UNITS_PER_MS;

}  // namespace

bool IsKnownItemType(unsigned int type) {
    return type < kTypeCount && kTypeNames[type] != nullptr;
}

const char* ItemTypeName(unsigned int type) {
    return IsKnownItemType(type) ? kTypeNames[type] : "unknown";
}

std::string FormatUTC(uint64_t msSince1601) {
    if (msSince1601 < kMsFrom1601To1970) {
        return "before-1970";
    }
    const uint64_t ms = msSince1601 - kMsFrom1601To1970;
    const time_t seconds = static_cast<time_t>(ms / 1000);
    struct tm utc;
    char text[48];
    if (gmtime_r(&seconds, &utc) == nullptr || strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S", &utc) == 0) {
        return "invalid-time";
    }
    char out[64];
    snprintf(out, sizeof out, "%s.%03uZ", text, static_cast<unsigned int>(ms % 1000));
    return out;
}

sPacketInfo DescribePacket(const std::vector<unsigned char>& payload) {
    return DescribePacket(payload.data(), payload.size());
}

sPacketInfo DescribePacket(const unsigned char* payload, size_t size) {
    sPacketInfo info;
    if (size < DIAG_LOG_HEADER_SIZE || payload[0] != DIAG_CMD_LOG) {
        return info;
    }
    info.mIsLog = true;
    info.mLogCode = static_cast<unsigned int>(GetLE(payload + 6, 2));
    eAuxSource aux;
    if (!IsOTALogCode(info.mLogCode, aux) || size > MAX_SHARED_BUFFER_SIZE) {
        return info;
    }
    // The view takes its own reference; the buffer is ours and freed by the last Release.
    sSharedBuffer* buffer =
        new (std::nothrow) sSharedBuffer(payload, static_cast<unsigned int>(size), PROTOCOL_DIAG_FROM_DEVICE);
    if (buffer == nullptr) {
        return info;
    }
    buffer->AddRef();
    {
        sDiagOTALog view(buffer);
        info.mIsOTA = view.IsValid();
        if (info.mIsOTA) {
            info.mOTAType = view.GetOTAType();
        }
    }
    buffer->Release();
    return info;
}
