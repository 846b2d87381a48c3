// What the tool shows about a stored item: the name of its item type, its UTC time, and for log packets
// (also inside a multi-SIM wrapper) the log code, the OTA type and the kind of signalling message.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "jni/ISFClassify.h"
#include "ota/OTAExtractor.h"


// Milliseconds since 1601-01-01 as "YYYY-MM-DDTHH:MM:SS.mmmZ".
std::string FormatUTC(uint64_t msSince1601);
// The same into `out` (kUTCTextSize bytes at least), ended by a NUL; returns the length. Items come in time
// order, so the date of the last second is kept and only the milliseconds are formatted again.
const size_t kUTCTextSize = 48;
size_t FormatUTC(uint64_t msSince1601, char* out);

// Milliseconds since 1601-01-01 as seconds since 1970-01-01 (Unix time), fraction included.
double UnixSeconds(uint64_t msSince1601);

// What a payload says about itself; a multi-SIM wrapper is described by its inner packet.
struct sPacketInfo {
    bool mWrapped = false;       // inside a multi-SIM wrapper
    uint32_t mSubscription = 0;  // the wrapper's subscription id
    bool mIsLog = false;         // command code 16 with the 16-byte header
    unsigned int mLogCode = 0;
    bool mIsOTA = false;  // a valid over-the-air log
    std::vector<unsigned int> mOTAType;
};
// Without `withOTAType`, mOTAType stays empty (it costs a third of the time).
sPacketInfo DescribePacket(const unsigned char* payload, size_t size, bool withOTAType = true);
inline sPacketInfo DescribePacket(const std::vector<unsigned char>& payload) {
    return DescribePacket(payload.data(), payload.size());
}

// The kind of signalling message (OTAMessageKindName) that `extractor`, fed the items in order, takes
// from this payload, or null (not a signalling log, a held segment, a failed check).
const char* MessageKind(cOTAExtractor& extractor, const unsigned char* payload, size_t size);
