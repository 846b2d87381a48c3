#include "ota/OTAExtractor.h"

#include <algorithm>
#include <new>

#include "diag/WireFormat.h"
#include "ota/OTAFamilies.h"

namespace {

// Log packet: 10 00 | u16 length | u16 length | u16 code | u64 timestamp | payload; length = size - 4.
const unsigned char kLogCommand = 0x10;
const size_t kLogHeaderSize = 16;
const size_t kLengthAt = 2;
const size_t kLengthCopyAt = 4;
const size_t kCodeAt = 6;
const size_t kTimestampAt = 8;
const size_t kLengthExcludes = 4;

// Multi-SIM wrapper: 98 01 00 00 | u32 subscription | inner packet.
const unsigned char kMultiSIMPrefix[] = {0x98, 0x01, 0x00, 0x00};
const size_t kMultiSIMHeaderSize = 8;

using fFamily = eOTAExtractStatus (*)(const sOTAPayload&, sOTAMessage&, cOTASegments*);

// The log codes that carry a signalling message, in ascending order (looked up by binary search: most
// logs of a stream are not signalling, and a scan would walk the whole table for each); every other code
// is not signalling.
const struct sCode {
    uint16_t mCode;
    fFamily mFamily;
} kCodes[] = {
    {0x412F, ExtractWCDMARRC}, {0x512F, ExtractGSMRR},   {0x5226, ExtractGPRSMAC}, {0x5230, ExtractGPRSGMM},
    {0x5B2F, ExtractGSMRR},    {0x713A, ExtractUMTSNAS}, {0x7B3A, ExtractUMTSNAS}, {0xB0C0, ExtractLTERRC},
    {0xB0E0, ExtractNAS},      {0xB0E1, ExtractNAS},     {0xB0E2, ExtractNAS},     {0xB0E3, ExtractNAS},
    {0xB0EA, ExtractNAS},      {0xB0EB, ExtractNAS},     {0xB0EC, ExtractNAS},     {0xB0ED, ExtractNAS},
    {0xB800, ExtractNAS},      {0xB801, ExtractNAS},     {0xB808, ExtractNAS},     {0xB809, ExtractNAS},
    {0xB80A, ExtractNAS},      {0xB80B, ExtractNAS},     {0xB814, ExtractNAS},     {0xB821, ExtractNRRRC},
};

fFamily FamilyOf(unsigned int code) {
    const sCode* end = kCodes + sizeof kCodes / sizeof kCodes[0];
    const sCode* found = std::lower_bound(kCodes, end, code,
                                          [](const sCode& entry, unsigned int c) { return entry.mCode < c; });
    return found != end && found->mCode == code ? found->mFamily : nullptr;
}

// Everything but what the log header and wrapper gave goes back to its default.
eOTAExtractStatus Failed(eOTAExtractStatus status, sOTAMessage& out) {
    sOTAMessage kept;
    kept.mLogCode = out.mLogCode;
    kept.mLogVersion = out.mLogVersion;
    kept.mTimestamp = out.mTimestamp;
    kept.mSubscription = out.mSubscription;
    out = kept;
    return status;
}

}  // namespace

bool UnwrapMultiSIM(const unsigned char* packet, size_t size, const unsigned char*& inner, size_t& innerSize,
                    uint32_t& subscription) {
    if (packet == nullptr || size <= kMultiSIMHeaderSize) {
        return false;
    }
    for (size_t i = 0; i < sizeof kMultiSIMPrefix; ++i) {
        if (packet[i] != kMultiSIMPrefix[i]) {
            return false;
        }
    }
    subscription = ReadU32(packet + sizeof kMultiSIMPrefix);
    inner = packet + kMultiSIMHeaderSize;
    innerSize = size - kMultiSIMHeaderSize;
    return true;
}

struct cOTAExtractor::sState {
    cOTASegments mSegments;
};

cOTAExtractor::cOTAExtractor() : mState(new (std::nothrow) sState) {}

cOTAExtractor::~cOTAExtractor() {
    delete mState;
}

eOTAExtractStatus cOTAExtractor::Extract(const unsigned char* packet, size_t size, sOTAMessage& out) {
    out = sOTAMessage();
    const unsigned char* log = packet;
    size_t logSize = size;
    uint32_t subscription = 0;
    if (UnwrapMultiSIM(packet, size, log, logSize, subscription)) {
        out.mSubscription = subscription;
    }
    if (log == nullptr || logSize < kLogHeaderSize || log[0] != kLogCommand) {
        return OTA_EXTRACT_NOT_SIGNALLING;
    }
    out.mLogCode = static_cast<uint16_t>(ReadU16(log + kCodeAt));
    out.mTimestamp = ReadU64(log + kTimestampAt);
    const fFamily family = FamilyOf(out.mLogCode);
    if (family == nullptr) {
        return OTA_EXTRACT_NOT_SIGNALLING;
    }
    if (ReadU16(log + kLengthAt) != logSize - kLengthExcludes ||
        ReadU16(log + kLengthCopyAt) != logSize - kLengthExcludes) {
        return OTA_EXTRACT_BAD_LENGTH;
    }
    const sOTAPayload payload = {log + kLogHeaderSize, logSize - kLogHeaderSize, out.mLogCode};
    const eOTAExtractStatus status = family(payload, out, mState != nullptr ? &mState->mSegments : nullptr);
    return status == OTA_EXTRACT_MESSAGE ? status : Failed(status, out);
}

eOTAExtractStatus cOTAExtractor::Extract(const sSharedBuffer* packet, sOTAMessage& out) {
    if (!IsUsableBuffer(packet)) {
        out = sOTAMessage();
        return OTA_EXTRACT_NOT_SIGNALLING;
    }
    return Extract(packet->mData, packet->mSize, out);
}

unsigned int cOTAExtractor::HeldPieces() const {
    return mState != nullptr ? mState->mSegments.HeldPieces() : 0;
}

uint64_t cOTAExtractor::DroppedPieces() const {
    return mState != nullptr ? mState->mSegments.DroppedPieces() : 0;
}

size_t OTASignallingLogCodeCount() {
    return sizeof kCodes / sizeof kCodes[0];
}

unsigned int OTASignallingLogCode(size_t index) {
    return index < OTASignallingLogCodeCount() ? kCodes[index].mCode : 0;
}

void cOTAExtractor::Reset() {
    if (mState != nullptr) {
        mState->mSegments.Reset();
    }
}
