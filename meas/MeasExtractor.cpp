#include "meas/MeasExtractor.h"

#include <algorithm>
#include <cmath>

#include "diag/WireFormat.h"
#include "meas/MeasFamilies.h"
#include "ota/OTAExtractor.h"

namespace {

// Log packet: 10 00 | u16 length | u16 length | u16 code | u64 timestamp | body; length = size - 4.
const unsigned char kLogCommand = 0x10;
const unsigned char kEventReportCommand = 0x60;
const size_t kLogHeaderSize = 16;
const size_t kLengthAt = 2;
const size_t kLengthCopyAt = 4;
const size_t kCodeAt = 6;
const size_t kTimestampAt = 8;
const size_t kLengthExcludes = 4;

// The log codes the extractor reads, in ascending order (looked up by binary search: most logs of a
// stream are not measurements), with the kind of log each carries.
const struct sCode {
    uint16_t mCode;
    fMeasFamily mFamily;
    const char* mName;
} kCodes[] = {
    {0x4005, ExtractWCDMAReselectionRank, "WCDMA cell reselection rank"},
    {0x4125, ExtractWCDMARRCState, "WCDMA RRC state"},
    {0x4127, ExtractWCDMACellId, "WCDMA serving cell info"},
    {0x5071, ExtractGSMSurroundCells, "GSM surround cells"},
    {0x507A, ExtractGSMAuxMeasurements, "GSM serving cell measurement"},
    {0x507B, ExtractGSMAuxMeasurements, "GSM neighbour cell measurement"},
    {0x5134, ExtractGSMCellInfo, "GSM serving cell info"},
    {0x51FC, ExtractGSMReselection, "GSM cell reselection measurement"},
    {0x5B34, ExtractGSMCellInfo, "GSM serving cell info"},
    {0xB0C1, ExtractLTEMIB, "LTE MIB"},
    {0xB0C2, ExtractLTEServingCellInfo, "LTE serving cell info"},
    {0xB179, ExtractLTEIntraFrequency, "LTE connected intra-frequency measurement"},
    {0xB17F, ExtractLTEIdleServing, "LTE idle serving cell measurement"},
    {0xB180, ExtractLTEIdleNeighbours, "LTE idle neighbour measurement"},
    {0xB188, ExtractLTEWCDMANeighbours, "LTE WCDMA neighbour measurement"},
    {0xB192, ExtractLTENeighbourSubpackets, "LTE idle neighbour measurement"},
    {0xB193, ExtractLTEServingMeasurement, "LTE serving cell measurement"},
    {0xB195, ExtractLTENeighbourSubpackets, "LTE connected neighbour measurement"},
    {0xB197, ExtractLTEML1CellInfo, "LTE ML1 serving cell info"},
    {0xB822, ExtractNRMIB, "NR MIB"},
    {0xB823, ExtractNRServingCellInfo, "NR serving cell info"},
    {0xB975, ExtractNRServingBeams, "NR serving cell beams"},
    {0xB97F, ExtractNRSearcher, "NR searcher measurement"},
};

const sCode* CodeOf(unsigned int code) {
    const sCode* end = kCodes + sizeof kCodes / sizeof kCodes[0];
    const sCode* found = std::lower_bound(kCodes, end, code,
                                          [](const sCode& entry, unsigned int c) { return entry.mCode < c; });
    return found != end && found->mCode == code ? found : nullptr;
}

// Everything but what the log header and wrapper gave goes back to empty.
eMeasStatus Failed(eMeasStatus status, sMeasLog& out) {
    const uint16_t code = out.mLogCode;
    const uint32_t version = out.mLogVersion;
    const uint64_t timestamp = out.mTimestamp;
    const uint32_t subscription = out.mSubscription;
    out.Clear();
    out.mLogCode = code;
    out.mLogVersion = version;
    out.mTimestamp = timestamp;
    out.mSubscription = subscription;
    return status;
}

}  // namespace

const char* RadioTechnologyName(eRadioTechnology technology) {
    switch (technology) {
        case RADIO_LTE:
            return "lte";
        case RADIO_NR:
            return "nr";
        case RADIO_WCDMA:
            return "wcdma";
        case RADIO_GSM:
            return "gsm";
        default:
            return "";
    }
}

sMeasuredCell::sMeasuredCell()
    : mRSRP(NAN), mRSRQ(NAN), mRSSI(NAN), mSINR(NAN), mRSCP(NAN), mEcIo(NAN), mRxLev(NAN) {}

void sMeasLog::Clear() {
    mKind = MEAS_KIND_NONE;
    mTechnology = RADIO_UNKNOWN;
    mLogCode = 0;
    mLogVersion = 0;
    mTimestamp = 0;
    mSubscription = 0;
    mCellInfo = sCellInfo();
    mCellCount = 0;
    mCellsDropped = 0;
    mStateCount = 0;
    mStatesDropped = 0;
    mOutOfRange = 0;
}

const char* MeasStatusName(eMeasStatus status) {
    switch (status) {
        case MEAS_OK:
            return "used";
        case MEAS_NOT_MEASUREMENT:
            return "not a measurement log";
        case MEAS_UNSUPPORTED_VERSION:
            return "unknown version";
        case MEAS_BAD_LENGTH:
            return "failed length check";
        default:
            return "?";
    }
}

const char* MeasLogName(uint16_t logCode) {
    const sCode* code = CodeOf(logCode);
    return code != nullptr ? code->mName : nullptr;
}

bool IsMeasurementLogCode(uint16_t logCode) {
    return CodeOf(logCode) != nullptr;
}

eMeasStatus cMeasExtractor::Extract(const unsigned char* packet, size_t size, sMeasLog& out) const {
    out.Clear();
    const unsigned char* log = packet;
    size_t logSize = size;
    uint32_t subscription = 0;
    if (UnwrapMultiSIM(packet, size, log, logSize, subscription)) {
        out.mSubscription = subscription;
    }
    if (log == nullptr || logSize == 0) {
        return MEAS_NOT_MEASUREMENT;
    }
    if (log[0] == kEventReportCommand) {
        const eMeasStatus status = ExtractEventReport(log, logSize, out);
        return status == MEAS_OK ? status : Failed(status, out);
    }
    if (logSize < kLogHeaderSize || log[0] != kLogCommand) {
        return MEAS_NOT_MEASUREMENT;
    }
    out.mLogCode = static_cast<uint16_t>(ReadU16(log + kCodeAt));
    out.mTimestamp = ReadU64(log + kTimestampAt);
    const sCode* code = CodeOf(out.mLogCode);
    if (code == nullptr) {
        return MEAS_NOT_MEASUREMENT;
    }
    if (ReadU16(log + kLengthAt) != logSize - kLengthExcludes ||
        ReadU16(log + kLengthCopyAt) != logSize - kLengthExcludes) {
        return Failed(MEAS_BAD_LENGTH, out);
    }
    const sMeasPayload payload = {log + kLogHeaderSize, logSize - kLogHeaderSize, out.mLogCode};
    const eMeasStatus status = code->mFamily(payload, out);
    return status == MEAS_OK ? status : Failed(status, out);
}

eMeasStatus cMeasExtractor::Extract(const sSharedBuffer* packet, sMeasLog& out) const {
    if (!IsUsableBuffer(packet)) {
        out.Clear();
        return MEAS_NOT_MEASUREMENT;
    }
    return Extract(packet->mData, packet->mSize, out);
}
