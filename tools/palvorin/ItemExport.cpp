#include "tools/palvorin/ItemExport.h"

#include <algorithm>
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
        ++mNotALog[type % kItemTypes];
        return true;
    }
    sOTAMessage message;
    const eOTAExtractStatus status = mExtractor.Extract(payload, size, message);
    if (status != OTA_EXTRACT_MESSAGE) {
        ++mByStatus[status];
        return true;
    }
    const eExportRoute route = BuildExportRecord(message, mRecord);
    if (route == EXPORT_NONE) {
        ++mNoDecoder[OTAMessageKindName(message)];
        return true;
    }
    ++mExported;
    mThroughGSMTAP += route == EXPORT_GSMTAP ? 1 : 0;
    ++mByKind[OTAMessageKindName(message)];
    return mWriter.Write(time, mRecord.data(), mRecord.size());
}

void cItemExport::Finish() {
    const unsigned int held = mExtractor.HeldPieces();
    if (held != 0) {
        mByStatus[OTA_EXTRACT_SEGMENT_HELD] -= held;
        mByStatus[OTA_EXTRACT_SEGMENTS_INCOMPLETE] += held;
        mExtractor.Reset();
    }
}

std::map<std::string, uint64_t> cItemExport::ExportedByKind() const {
    std::map<std::string, uint64_t> kinds;
    for (const auto& entry : mByKind) {
        kinds[entry.first] += entry.second;
    }
    return kinds;
}

std::map<std::string, uint64_t> cItemExport::Skipped() const {
    std::map<std::string, uint64_t> skipped;
    for (unsigned int type = 0; type < kItemTypes; ++type) {
        if (mNotALog[type] != 0) {
            skipped[std::string("not a log packet: ") + ItemTypeName(type) + " items"] += mNotALog[type];
        }
    }
    // A piece counts as held when it comes; one that was dropped later (a gap, a new first piece, another
    // channel, the size bound) belongs with the incomplete ones.
    uint64_t byStatus[OTA_EXTRACT_STATUS_COUNT];
    std::copy(mByStatus, mByStatus + OTA_EXTRACT_STATUS_COUNT, byStatus);
    const uint64_t dropped = mExtractor.DroppedPieces();
    byStatus[OTA_EXTRACT_SEGMENT_HELD] -= dropped;
    byStatus[OTA_EXTRACT_SEGMENTS_INCOMPLETE] += dropped;
    for (unsigned int status = 0; status < OTA_EXTRACT_STATUS_COUNT; ++status) {
        if (byStatus[status] == 0) {
            continue;
        }
        if (status == OTA_EXTRACT_SEGMENT_HELD) {
            skipped[kHeldReason] += byStatus[status];
        } else {
            skipped[std::string("log packets: ") +
                    OTAExtractStatusName(static_cast<eOTAExtractStatus>(status))] += byStatus[status];
        }
    }
    for (const auto& entry : mNoDecoder) {
        skipped[std::string("no decoder for ") + entry.first] += entry.second;
    }
    return skipped;
}

void cItemExport::Summary(FILE* out) const {
    fprintf(out, "  items            %" PRIu64 "\n", mItems);
    fprintf(out,
            "  exported         %" PRIu64 " messages (%" PRIu64 " as GSMTAP, %" PRIu64
            " to a dissector by name)\n",
            mExported, mThroughGSMTAP, mExported - mThroughGSMTAP);
    for (const auto& entry : ExportedByKind()) {
        fprintf(out, "    %-40s %" PRIu64 "\n", entry.first.c_str(), entry.second);
    }
    fprintf(out, "  skipped          %" PRIu64 " items\n", mItems - mExported);
    for (const auto& entry : Skipped()) {
        fprintf(out, "    %-60s %" PRIu64 "\n", entry.first.c_str(), entry.second);
    }
}
