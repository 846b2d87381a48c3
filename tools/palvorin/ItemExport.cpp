#include "tools/palvorin/ItemExport.h"

#include <cinttypes>

#include "diag/DiagProtocol.h"
#include "tools/palvorin/Export.h"
#include "tools/palvorin/ItemInfo.h"

namespace {

const char* const kHeldReason = "segments (pieces of a message exported with its last piece)";

}  // namespace

bool cItemExport::Item(const unsigned char* payload, size_t size, unsigned int type, FILETIME time) {
    ++mItems;
    const unsigned char* inner = nullptr;
    size_t innerSize = 0;
    uint32_t subscription = 0;
    const bool wrapped = UnwrapMultiSIM(payload, size, inner, innerSize, subscription);
    if (size == 0 || (!wrapped && payload[0] != DIAG_CMD_LOG)) {
        ++mSkipped[std::string("not a log packet: ") + ItemTypeName(type) + " items"];
        return true;
    }
    sOTAMessage message;
    const eOTAExtractStatus status = mExtractor.Extract(payload, size, message);
    if (status == OTA_EXTRACT_SEGMENT_HELD) {
        ++mSkipped[kHeldReason];
        return true;
    }
    if (status != OTA_EXTRACT_MESSAGE) {
        ++mSkipped[std::string("log packets: ") + OTAExtractStatusName(status)];
        return true;
    }
    const eExportRoute route = BuildExportRecord(message, mRecord);
    if (route == EXPORT_NONE) {
        ++mSkipped[std::string("no decoder for ") + OTAMessageKindName(message)];
        return true;
    }
    ++mExported;
    mThroughGSMTAP += route == EXPORT_GSMTAP ? 1 : 0;
    ++mExportedByKind[OTAMessageKindName(message)];
    return mWriter.Write(time, mRecord.data(), mRecord.size());
}

void cItemExport::Finish() {
    const unsigned int held = mExtractor.HeldPieces();
    if (held != 0) {
        mSkipped[kHeldReason] -= held;
        mSkipped[std::string("log packets: ") + OTAExtractStatusName(OTA_EXTRACT_SEGMENTS_INCOMPLETE)] +=
            held;
        mExtractor.Reset();
    }
}

void cItemExport::Summary(FILE* out) const {
    fprintf(out, "  items            %" PRIu64 "\n", mItems);
    fprintf(out,
            "  exported         %" PRIu64 " messages (%" PRIu64 " as GSMTAP, %" PRIu64
            " to a dissector by name)\n",
            mExported, mThroughGSMTAP, mExported - mThroughGSMTAP);
    for (const auto& entry : mExportedByKind) {
        fprintf(out, "    %-40s %" PRIu64 "\n", entry.first.c_str(), entry.second);
    }
    fprintf(out, "  skipped          %" PRIu64 " items\n", mItems - mExported);
    for (const auto& entry : mSkipped) {
        if (entry.second != 0) {
            fprintf(out, "    %-60s %" PRIu64 "\n", entry.first.c_str(), entry.second);
        }
    }
}
