// palvorin dump: one line per item, as text or as a JSON array with one item per line.

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

void TextLine(size_t index, const sISFItem& item, cOTAExtractor& extractor) {
    const sPacketInfo info = DescribePacket(item.mPayload);
    const char* kind = MessageKind(extractor, item.mPayload.data(), item.mPayload.size());
    char aux[16] = "-";
    if (item.mHasAux) {
        snprintf(aux, sizeof aux, "%" PRIu32, item.mAux);
    }
    char type[40];
    snprintf(type, sizeof type, "%u:%s", item.mType, ItemTypeName(item.mType));
    printf("%8zu  %s  %-22s %5zu  aux %-10s", index, FormatUTC(item.mTimeMs).c_str(), type,
           item.mPayload.size(), aux);
    if (info.mWrapped) {
        printf("  sub %" PRIu32, info.mSubscription);
    }
    if (info.mIsLog) {
        printf("  log 0x%04X", info.mLogCode);
    }
    if (info.mIsOTA) {
        printf("  ota %s", info.mOTAType.empty() ? "-" : JoinOTAType(info.mOTAType).c_str());
    }
    if (kind != nullptr) {
        printf("  msg %s", kind);
    }
    putchar('\n');
}

nlohmann::json JsonItem(size_t index, const sISFItem& item, cOTAExtractor& extractor) {
    const sPacketInfo info = DescribePacket(item.mPayload);
    const char* kind = MessageKind(extractor, item.mPayload.data(), item.mPayload.size());
    nlohmann::json line = {{"index", index},
                           {"time_utc", FormatUTC(item.mTimeMs)},
                           {"unix_time", UnixSeconds(item.mTimeMs)},
                           {"type", item.mType},
                           {"type_name", ItemTypeName(item.mType)},
                           {"length", item.mPayload.size()}};
    line["aux"] = item.mHasAux ? nlohmann::json(item.mAux) : nlohmann::json(nullptr);
    if (info.mWrapped) {
        line["subscription"] = info.mSubscription;
    }
    if (info.mIsLog) {
        line["log_code"] = info.mLogCode;
    }
    if (info.mIsOTA) {
        line["ota_type"] = info.mOTAType;
    }
    if (kind != nullptr) {
        line["message"] = kind;
    }
    return line;
}

}  // namespace

int RunDump(const std::string& path, bool json) {
    const sISFFile file = ReadISFFile(path);
    if (file.mItems.empty() && !file.Consistent()) {
        ReportProblems(path, file.mProblems);
        return 1;
    }
    cOTAExtractor extractor;  // the items in order, so that segmented messages join
    if (json) {
        printf("[\n");
    }
    for (size_t i = 0; i < file.mItems.size(); ++i) {
        if (json) {
            printf("%s%s\n", JsonItem(i, file.mItems[i], extractor).dump().c_str(),
                   i + 1 < file.mItems.size() ? "," : "");
        } else {
            TextLine(i, file.mItems[i], extractor);
        }
    }
    if (json) {
        printf("]\n");
    }
    if (fflush(stdout) != 0 || ferror(stdout)) {
        fprintf(stderr, "palvorin: writing the dump failed\n");
        return 1;
    }
    if (!file.mClosed) {
        fprintf(stderr, "palvorin: %s was not closed: %zu items up to the last written entry\n", path.c_str(),
                file.mItems.size());
    }
    ReportProblems(path, file.mProblems);
    return 0;
}
