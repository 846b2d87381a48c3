#include "tools/palvorin/LogGroups.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "meas/MeasExtractor.h"
#include "ota/OTAExtractor.h"

namespace {

// Codes of the over-the-air signalling logs and of the logs that give their radio context.
struct sRange {
    unsigned int mFirst;
    unsigned int mLast;
};
const sRange kLTERRC[] = {{0xB0C0, 0xB0C2}};                                     // RRC, MIB, serving cell
const sRange kLTENAS[] = {{0xB0E0, 0xB0E3}, {0xB0EA, 0xB0ED}};                   // ESM, EMM
const sRange kNRRRC[] = {{0xB821, 0xB821}};                                      // RRC
const sRange kNRNAS[] = {{0xB800, 0xB801}, {0xB808, 0xB80B}, {0xB814, 0xB814}};  // 5GSM, 5GMM
const sRange kGSMRR[] = {{0x512F, 0x512F}, {0x5B2F, 0x5B2F}, {0x5134, 0x5134}, {0x5226, 0x5226}};
const sRange kGPRSNAS[] = {{0x5230, 0x5230}};  // GMM/SM
const sRange kUMTSNAS[] = {{0x713A, 0x713A}, {0x7B3A, 0x7B3A}};
const sRange kWCDMARRC[] = {{0x4127, 0x4127}, {0x412F, 0x412F}};  // cell id, RRC
struct sPart {
    const sRange* mRanges;
    size_t mCount;
};
#define PART(ranges) \
    { ranges, sizeof ranges / sizeof ranges[0] }

struct sGroup {
    const char* mName;
    sPart mParts[4];
    bool mSignalling;   // and every code the signalling extractor reads (ota/OTAExtractor.h)
    bool mMeasurement;  // and every code the measurement extractor reads (meas/MeasExtractor.h)
    bool mEvents;       // and event reports
};
const sGroup kGroups[] = {
    {"default", {}, true, true, true},
    {"signalling", {}, true, false, false},
    {"measurement", {}, false, true, false},
    {"events", {}, false, false, true},
    {"lte", {PART(kLTERRC), PART(kLTENAS)}, false, false, false},
    {"nr", {PART(kNRRRC), PART(kNRNAS)}, false, false, false},
    {"gsm", {PART(kGSMRR), PART(kGPRSNAS)}, false, false, false},
    {"umts", {PART(kUMTSNAS)}, false, false, false},
    {"wcdma", {PART(kWCDMARRC)}, false, false, false},
    {"nas", {PART(kLTENAS), PART(kNRNAS), PART(kGPRSNAS), PART(kUMTSNAS)}, false, false, false},
    {"rrc", {PART(kLTERRC), PART(kNRRRC), PART(kGSMRR), PART(kWCDMARRC)}, false, false, false},
};

const unsigned int kLastCode = 0xFFFF;

void AddGroup(const sGroup& group, sLogChoice& choice) {
    for (const sPart& part : group.mParts) {
        for (size_t i = 0; i < part.mCount; ++i) {
            for (unsigned int code = part.mRanges[i].mFirst; code <= part.mRanges[i].mLast; ++code) {
                choice.mCodes.insert(code);
            }
        }
    }
    if (group.mSignalling) {
        for (size_t i = 0; i < OTASignallingLogCodeCount(); ++i) {
            choice.mCodes.insert(OTASignallingLogCode(i));
        }
    }
    if (group.mMeasurement) {
        for (unsigned int code = 0; code <= kLastCode; ++code) {
            if (IsMeasurementLogCode(static_cast<uint16_t>(code))) {
                choice.mCodes.insert(code);
            }
        }
    }
    choice.mEvents = choice.mEvents || group.mEvents;
}

}  // namespace

bool ParseLogChoice(const std::string& list, sLogChoice& choice, std::string& error) {
    size_t at = 0;
    while (at <= list.size()) {
        size_t comma = list.find(',', at);
        if (comma == std::string::npos) {
            comma = list.size();
        }
        const std::string word = list.substr(at, comma - at);
        at = comma + 1;
        if (word == "all") {
            choice.mAll = true;
            continue;
        }
        bool known = false;
        for (const sGroup& group : kGroups) {
            if (word == group.mName) {
                known = true;
                AddGroup(group, choice);
            }
        }
        if (!known) {
            char* end = nullptr;
            const unsigned long code = word.size() > 2 ? strtoul(word.c_str(), &end, 16) : 0;
            if (word.compare(0, 2, "0x") != 0 || end == nullptr || *end != '\0' || code > 0xFFFF) {
                error = word;
                return false;
            }
            choice.mCodes.insert(static_cast<unsigned int>(code));
        }
    }
    return true;
}

std::string LogGroupNames() {
    std::string names;
    for (const sGroup& group : kGroups) {
        names += std::string(group.mName) + ", ";
    }
    return names + "all";
}

std::string MeasurementCodeNames() {
    std::string names;
    for (unsigned int code = 0; code <= kLastCode; ++code) {
        if (IsMeasurementLogCode(static_cast<uint16_t>(code))) {
            char name[16];
            snprintf(name, sizeof name, "%s0x%04X", names.empty() ? "" : ", ", code);
            names += name;
        }
    }
    return names;
}
