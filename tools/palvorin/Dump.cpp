// palvorin dump: one line per item, as text or as a JSON array with one item per line. The file is walked
// item by item; nothing is kept per item.

#include <cinttypes>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <string>

#include "tools/ISFReader.h"
#include "tools/palvorin/Commands.h"
#include "tools/palvorin/ItemInfo.h"
#include "tools/palvorin/Problems.h"

namespace {

std::string JoinOTAType(const std::vector<unsigned int>& values) {
    std::string text;
    for (unsigned int value : values) {
        text += (text.empty() ? "" : ",") + std::to_string(value);
    }
    return text;
}

void TextLine(size_t index, const sISFItem& item) {
    const sPacketInfo info = DescribePacket(item.mPayload.data(), item.mPayload.size());
    char aux[16] = "-";
    if (item.mHasAux) {
        snprintf(aux, sizeof aux, "%" PRIu32, item.mAux);
    }
    char type[40];
    snprintf(type, sizeof type, "%u:%s", item.mType, ItemTypeName(item.mType));
    printf("%8zu  %s  %-22s %5zu  aux %-10s", index, FormatUTC(item.mTimeMs).c_str(), type,
           item.mPayload.size(), aux);
    if (info.mIsLog) {
        printf("  log 0x%04X", info.mLogCode);
    }
    if (info.mIsOTA) {
        printf("  ota %s", info.mOTAType.empty() ? "-" : JoinOTAType(info.mOTAType).c_str());
    }
    putchar('\n');
}

nlohmann::json JsonItem(size_t index, const sISFItem& item) {
    const sPacketInfo info = DescribePacket(item.mPayload.data(), item.mPayload.size());
    nlohmann::json line = {
        {"index", index},     {"time", FormatUTC(item.mTimeMs)},       {"time_ms", item.mTimeMs},
        {"type", item.mType}, {"type_name", ItemTypeName(item.mType)}, {"length", item.mPayload.size()}};
    line["aux"] = item.mHasAux ? nlohmann::json(item.mAux) : nlohmann::json(nullptr);
    if (info.mIsLog) {
        line["log_code"] = info.mLogCode;
    }
    if (info.mIsOTA) {
        line["ota_type"] = info.mOTAType;
    }
    return line;
}

// Prints each item as the reader finds it.
class cDumpItems : public cISFVisitor {
public:
    explicit cDumpItems(bool json) : mJson(json) {}
    bool Item(const sISFItem& item) override {
        if (mJson) {
            printf("%s\n%s", item.mIndex == 0 ? "[" : ",", JsonItem(item.mIndex, item).dump().c_str());
        } else {
            TextLine(item.mIndex, item);
        }
        return true;
    }
    void Problem(const std::string& text) override { mProblems.Add(text); }

    sProblemList mProblems;

private:
    const bool mJson;
};

}  // namespace

int RunDump(const std::string& path, bool json) {
    cISFReader reader;
    if (!reader.Open(path)) {
        fprintf(stderr, "palvorin: %s\n", reader.Error().c_str());
        return 1;
    }
    cDumpItems dump(json);
    const sISFSummary file = reader.Walk(dump);
    if (file.mItems == 0 && file.mProblems != 0) {
        ReportProblems(path, dump.mProblems);
        return 1;
    }
    if (json) {
        printf("%s\n]\n", file.mItems == 0 ? "[" : "");
    }
    if (fflush(stdout) != 0 || ferror(stdout)) {
        fprintf(stderr, "palvorin: writing the dump failed\n");
        return 1;
    }
    if (!file.mClosed) {
        fprintf(stderr, "palvorin: %s was not closed: %" PRIu64 " items up to the last written entry",
                path.c_str(), file.mItems);
        if (file.mUnindexedBytes != 0) {
            fprintf(stderr, ", then %" PRIu64 " bytes no entry covers%s", file.mUnindexedBytes,
                    file.mUnindexedZero ? " (all zero)" : "");
        }
        fputc('\n', stderr);
    }
    ReportProblems(path, dump.mProblems);
    return 0;
}
