// palvorin pcap, one stored item at a time: the signalling message its log packet carries, extracted and
// written as a pcap record (Export.h), and an account of every item, exported per message kind or skipped
// per reason, the two adding up to the item count.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include "jni/ISFFormat.h"
#include "ota/OTAExtractor.h"
#include "tools/palvorin/PcapWriter.h"

class cItemExport {
public:
    // `writer` is open for EXPORT_LINK_TYPE and outlives this object.
    explicit cItemExport(cPcapWriter& writer) : mWriter(writer) {}

    // One item: its `size` payload bytes (not kept), item type and time. False when writing failed.
    bool Item(const unsigned char* payload, size_t size, unsigned int type, FILETIME time);
    // After the last item: pieces of segmented messages still held count as incomplete (as do pieces
    // dropped on the way, at any time).
    void Finish();
    // The account, one line each: exported kinds, then skipped reasons.
    void Summary(FILE* out) const;

    // Exported messages per kind and skipped items per reason, named as Summary prints them.
    std::map<std::string, uint64_t> ExportedByKind() const;
    std::map<std::string, uint64_t> Skipped() const;

    uint64_t mItems = 0;
    uint64_t mExported = 0;
    uint64_t mThroughGSMTAP = 0;  // of mExported: GSMTAP packets; the rest went to a dissector by name

private:
    static const unsigned int kItemTypes = 32;  // the 5-bit item type of an index entry

    cPcapWriter& mWriter;
    cOTAExtractor mExtractor;
    std::vector<unsigned char> mRecord;
    // Counted per item by fixed names (the kind and status names are constant strings), so that no text
    // is built for an item: the names are put together for the summary only.
    std::map<const char*, uint64_t> mByKind;
    std::map<const char*, uint64_t> mNoDecoder;  // per kind name
    uint64_t mByStatus[OTA_EXTRACT_STATUS_COUNT] = {};
    uint64_t mNotALog[kItemTypes] = {};  // per item type
};
