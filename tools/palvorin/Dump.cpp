// palvorin dump: one line per item, as text or as a JSON array with one item per line; log packets are named
// by the kind of signalling message or of measurement, cell or state log they carry. The file is walked item
// by item; nothing is kept per item.

#include <unistd.h>

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <nlohmann/json.hpp>
#include <string>

#include "meas/MeasExtractor.h"
#include "ota/OTAExtractor.h"
#include "reader/ISFReader.h"
#include "tools/palvorin/Commands.h"
#include "tools/palvorin/ItemInfo.h"
#include "tools/palvorin/Problems.h"

namespace {

// One text line, built in a buffer and written with one call: a printf per field costs more than the whole
// walk of the file. What does not fit is cut.
class cLine {
public:
    cLine& Text(const char* text, size_t size) {
        size = std::min(size, static_cast<size_t>(kRoom - (mEnd - mText)));
        memcpy(mEnd, text, size);
        mEnd += size;
        return *this;
    }
    cLine& Text(const char* text) { return Text(text, strlen(text)); }
    // Left-aligned in `width` characters.
    cLine& Padded(const char* text, size_t size, size_t width) {
        Text(text, size);
        return Spaces(width > size ? width - size : 0);
    }
    // Right-aligned in `width` characters.
    cLine& Number(uint64_t value, size_t width) {
        char digits[24];
        const size_t size = Digits(value, digits);
        Spaces(width > size ? width - size : 0);
        return Text(digits, size);
    }
    cLine& Spaces(size_t count) {
        count = std::min(count, static_cast<size_t>(kRoom - (mEnd - mText)));
        memset(mEnd, ' ', count);
        mEnd += count;
        return *this;
    }
    void Write() {
        *mEnd++ = '\n';
        fwrite(mText, 1, static_cast<size_t>(mEnd - mText), stdout);
    }

    // `value` in decimal into `out` (no NUL); returns the length.
    static size_t Digits(uint64_t value, char* out) {
        char reversed[24];
        size_t size = 0;
        do {
            reversed[size++] = static_cast<char>('0' + value % 10);
            value /= 10;
        } while (value != 0);
        for (size_t i = 0; i < size; ++i) {
            out[i] = reversed[size - 1 - i];
        }
        return size;
    }

private:
    static const size_t kRoom = 511;  // and the newline
    char mText[kRoom + 1];
    char* mEnd = mText;
};

void TextLine(size_t index, const sISFItem& item, cOTAExtractor& extractor) {
    const sPacketInfo info = DescribePacket(item.mPayload.data(), item.mPayload.size());
    const char* kind = MessageKind(extractor, item.mPayload.data(), item.mPayload.size());
    char aux[16] = "-";
    size_t auxSize = 1;
    if (item.mHasAux) {
        auxSize = cLine::Digits(item.mAux, aux);
    }
    char type[40];
    size_t typeSize = cLine::Digits(item.mType, type);
    type[typeSize++] = ':';
    const char* name = ItemTypeName(item.mType);
    const size_t nameSize = std::min(strlen(name), sizeof type - typeSize);
    memcpy(type + typeSize, name, nameSize);
    typeSize += nameSize;
    char utc[kUTCTextSize];
    const size_t utcSize = FormatUTC(item.mTimeMs, utc);
    // "%8zu  %s  %-22s %5zu  aux %-10s"
    cLine line;
    line.Number(index, 8).Text("  ").Text(utc, utcSize).Text("  ").Padded(type, typeSize, 22).Text(" ");
    line.Number(item.mPayload.size(), 5).Text("  aux ").Padded(aux, auxSize, 10);
    if (info.mWrapped) {
        line.Text("  sub ").Number(info.mSubscription, 0);
    }
    if (info.mIsLog) {
        static const char kHex[] = "0123456789ABCDEF";
        const char code[4] = {kHex[(info.mLogCode >> 12) & 15], kHex[(info.mLogCode >> 8) & 15],
                              kHex[(info.mLogCode >> 4) & 15], kHex[info.mLogCode & 15]};
        line.Text("  log 0x").Text(code, sizeof code);
    }
    if (info.mIsOTA) {
        line.Text("  ota ");
        if (info.mOTAType.empty()) {
            line.Text("-");
        }
        for (size_t i = 0; i < info.mOTAType.size(); ++i) {
            line.Text(",", i == 0 ? 0 : 1).Number(info.mOTAType[i], 0);
        }
    }
    if (kind != nullptr) {
        line.Text("  msg ").Text(kind);
    }
    const char* measurement = info.mIsLog ? MeasLogName(static_cast<uint16_t>(info.mLogCode)) : nullptr;
    if (measurement != nullptr) {
        line.Text("  meas ").Text(measurement);
    }
    line.Write();
}

nlohmann::json JsonItem(size_t index, const sISFItem& item, cOTAExtractor& extractor) {
    const sPacketInfo info = DescribePacket(item.mPayload.data(), item.mPayload.size());
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
    const char* measurement = info.mIsLog ? MeasLogName(static_cast<uint16_t>(info.mLogCode)) : nullptr;
    if (measurement != nullptr) {
        line["measurement"] = measurement;
    }
    return line;
}

// Prints each item as the reader finds it.
class cDumpItems : public cISFVisitor {
public:
    explicit cDumpItems(bool json) : mJson(json) {}
    bool Item(const sISFItem& item) override {
        if (mJson) {
            printf("%s\n%s", item.mIndex == 0 ? "[" : ",",
                   JsonItem(item.mIndex, item, mExtractor).dump().c_str());
        } else {
            TextLine(item.mIndex, item, mExtractor);
        }
        return true;
    }
    void Problem(const std::string& text) override { mProblems.Add(text); }

    sProblemList mProblems;

private:
    const bool mJson;
    cOTAExtractor mExtractor;  // fed the items in order, so that segmented messages join
};

}  // namespace

int RunDump(const std::string& path, bool json) {
    cISFReader reader;
    if (!reader.Open(path)) {
        fprintf(stderr, "palvorin: %s\n", reader.Error().c_str());
        return 1;
    }
    // Lines go out in large writes unless someone watches them on a terminal.
    static char buffer[1 << 16];
    if (!isatty(STDOUT_FILENO)) {
        setvbuf(stdout, buffer, _IOFBF, sizeof buffer);
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
