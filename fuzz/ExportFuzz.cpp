// The export path on any packets: extraction, the pcap record and the GSMTAP packet of each message, the item
// clock and the dump's description. Never a fault; a GSMTAP record ends with the GSMTAP packet itself.
// Input: packets one after another, each behind a 2-byte little-endian length (so that segmented messages
// meet their pieces).
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "fuzz/FuzzSupport.h"
#include "ota/OTAExtractor.h"
#include "stream/ItemClock.h"
#include "tools/palvorin/Export.h"
#include "tools/palvorin/ItemInfo.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    cOTAExtractor extractor;
    cItemClock clock(ITEM_CLOCK_PACKET);
    std::vector<unsigned char> record;
    std::vector<unsigned char> gsmtap;
    while (size >= 2) {
        size_t length = data[0] | (size_t{data[1]} << 8);
        data += 2;
        size -= 2;
        length = length < size ? length : size;
        // A copy of exactly `length` bytes, so that a read past the packet is caught.
        std::vector<unsigned char> packet(data, data + length);
        data += length;
        size -= length;
        clock.Stamp(packet.data(), packet.size());
        DescribePacket(packet.data(), packet.size());
        sOTAMessage message;
        if (extractor.Extract(packet.data(), packet.size(), message) != OTA_EXTRACT_MESSAGE) {
            continue;
        }
        const eExportRoute route = BuildExportRecord(message, record);
        const bool carried = BuildGSMTAPPacket(message, gsmtap);
        FailIf((route == EXPORT_GSMTAP) != carried || (route == EXPORT_NONE) != record.empty() ||
               (carried && (record.size() < gsmtap.size() ||
                            !std::equal(gsmtap.begin(), gsmtap.end(), record.end() - gsmtap.size()))));
    }
    return 0;
}
