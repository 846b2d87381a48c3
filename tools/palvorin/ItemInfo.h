// What the tool shows about a stored item: the name of its item type, its UTC time, and for log packets
// the log code and (for over-the-air logs) the OTA type.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

// Short name of an item type ("log", "ota-log", ...), or "unknown".
const char* ItemTypeName(unsigned int type);
// True for the item types the store assigns (0, 1, 2 and 4 to 10).
bool IsKnownItemType(unsigned int type);

// Milliseconds since 1601-01-01 as "YYYY-MM-DDTHH:MM:SS.mmmZ".
std::string FormatUTC(uint64_t msSince1601);
// The same into `out` (kUTCTextSize bytes at least), ended by a NUL; returns the length. Items come in time
// order, so the date of the last second is kept and only the milliseconds are formatted again.
const size_t kUTCTextSize = 48;
size_t FormatUTC(uint64_t msSince1601, char* out);

// What a payload says about itself.
struct sPacketInfo {
    bool mIsLog = false;  // command code 16 with the 16-byte header
    unsigned int mLogCode = 0;
    bool mIsOTA = false;  // a valid over-the-air log
    std::vector<unsigned int> mOTAType;
};
// Without `withOTAType`, mOTAType stays empty (it costs a third of the time).
sPacketInfo DescribePacket(const unsigned char* payload, size_t size, bool withOTAType = true);
sPacketInfo DescribePacket(const std::vector<unsigned char>& payload);
