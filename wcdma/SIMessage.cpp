#include "wcdma/SIMessage.h"

#include <new>
#include <utility>

#include "bits/BitPacker.h"
#include "wcdma/WCDMARRCFormat.h"

namespace {

// Count, index and length fields are stored minus one and kept as 8-bit numbers: a length field of 255
// stands for 0 bits (deliberate: the 8-bit length wraps).
unsigned char PlusOne(unsigned char field) {
    return static_cast<unsigned char>(field + 1);
}

int RebuiltChannelType(unsigned char channelType) {
    if (channelType == RRC_CHANNEL_BCCH_FACH) {
        return REBUILT_CHANNEL_BCCH_FACH;
    }
    if (channelType == RRC_CHANNEL_BCCH_BCH) {
        return REBUILT_CHANNEL_BCCH_BCH;
    }
    return -1;
}

}  // namespace

cSIMessage::cSIMessage(cWCDMARRCAccumulator& accumulator, unsigned long long timestamp)
    : mAccumulator(accumulator), mTimestamp(timestamp) {}

cSIMessage::~cSIMessage() {
    for (sSharedBuffer* log : mLogs) {
        delete log;
    }
}

std::list<sSharedBuffer*> cSIMessage::TakeLogs() {
    std::list<sSharedBuffer*> logs;
    logs.swap(mLogs);
    return logs;
}

bool cSIMessage::Open(sSharedBuffer* item, bool listFirst) {
    const unsigned char* header = InitialProcessing(item, mParser, mFirst, listFirst);
    if (header == nullptr) {
        return false;
    }
    mChannelType = RebuiltChannelType(header[0]);
    mHeaderByte = header[1];
    return true;
}

bool cSIMessage::AppendData(sSIM& sim, unsigned int length) {
    cBitPacker packer(sim.mData, sSIM::mBits);
    packer.mLSBFirst = false;
    packer.mBitPos = sim.mBitCount < packer.mBitCapacity ? sim.mBitCount : packer.mBitCapacity;
    if (packer.mBitsUsed < packer.mBitPos) {
        packer.mBitsUsed = packer.mBitPos;
    }
    if (!CopyBits(mParser, packer, length)) {
        return false;
    }
    sim.mSegmentsReceived += 1;
    sim.mBitCount += length;
    return true;
}

void cSIMessage::Emit(sSIM& sim) {
    mAccumulator.ConvertCompletedSIM(sim, mTimestamp, mLogs);
}

void cSIMessage::StartSIB(unsigned char sibType, unsigned int count, unsigned int length) {
    sSIM sim(Key(sibType), count);
    if (!AppendData(sim, length)) {
        return;  // nothing stored, an older entry of the key stays
    }
    if (count == 1) {
        Emit(sim);
        return;
    }
    try {
        mAccumulator.mSIMs[sim.mTag] = sim;
    } catch (const std::bad_alloc&) {
        // The SIB is lost; the accumulator stays usable.
    }
}

void cSIMessage::FirstSegment(unsigned char sibType) {
    unsigned char countField = 0;
    if (!Read(SEGMENT_COUNT_BITS, countField)) {
        return;
    }
    StartSIB(sibType, PlusOne(countField), SEGMENT_DATA_BITS);
}

void cSIMessage::NextSegment(unsigned char sibType, bool last) {
    std::map<sSIMTag, sSIM>& sims = mAccumulator.mSIMs;
    const auto entry = sims.find(Key(sibType));
    if (entry == sims.end()) {
        return;
    }
    sSIM& sim = entry->second;
    unsigned char indexField = 0;
    if (!Read(SEGMENT_INDEX_BITS, indexField) || PlusOne(indexField) != sim.mSegmentsReceived ||
        !AppendData(sim, SEGMENT_DATA_BITS)) {
        sims.erase(entry);
        return;
    }
    if (last) {
        if (sim.mSegmentsReceived == sim.mSegmentCount) {
            Emit(sim);
        }
        sims.erase(entry);
        return;
    }
    if (sim.mSegmentsReceived == sim.mSegmentCount) {
        // Deliberate: a SIB finished by a subsequent segment stays in the map; it is framed on a copy.
        sSIM finished = sim;
        Emit(finished);
    }
}

void cSIMessage::FinishLastSegment(std::map<sSIMTag, sSIM>::iterator entry, unsigned int index,
                                   unsigned int length) {
    sSIM& sim = entry->second;
    if (index == sim.mSegmentsReceived && AppendData(sim, length) &&
        sim.mSegmentsReceived == sim.mSegmentCount) {
        Emit(sim);
    }
    mAccumulator.mSIMs.erase(entry);
}

void cSIMessage::LastSegmentShort(unsigned char sibType) {
    std::map<sSIMTag, sSIM>& sims = mAccumulator.mSIMs;
    const auto entry = sims.find(Key(sibType));
    if (entry == sims.end()) {
        return;
    }
    unsigned char indexField = 0;
    unsigned char lengthField = 0;
    const bool indexRead = Read(SEGMENT_INDEX_BITS, indexField);
    const bool lengthRead = Read(DATA_LENGTH_BITS, lengthField);
    if (!indexRead || !lengthRead) {
        sims.erase(entry);
        return;
    }
    FinishLastSegment(entry, PlusOne(indexField), PlusOne(lengthField));
}

bool cSIMessage::LeadingLastSegment(unsigned char sibType) {
    unsigned char indexField = 0;
    unsigned char lengthField = 0;
    const bool indexRead = Read(SEGMENT_INDEX_BITS, indexField);
    const bool lengthRead = Read(DATA_LENGTH_BITS, lengthField);
    if (!indexRead || !lengthRead) {
        return false;  // deliberate: unlike a last segment alone, the map is left alone
    }
    const unsigned int length = PlusOne(lengthField);
    // Taken before the data is read, so that the next part is found even when this one is dropped.
    const unsigned int resume = mParser.mBitPos + length;
    std::map<sSIMTag, sSIM>& sims = mAccumulator.mSIMs;
    const auto entry = sims.find(Key(sibType));
    if (entry != sims.end()) {
        FinishLastSegment(entry, PlusOne(indexField), length);
    }
    MoveReaderTo(mParser, resume);
    return true;
}

bool cSIMessage::CompleteSIBList() {
    unsigned char countField = 0;
    return Read(LIST_COUNT_BITS, countField) && CompleteSIBList(countField);
}

bool cSIMessage::CompleteSIBList(unsigned char countField) {
    const unsigned int entries = PlusOne(countField);
    for (unsigned int i = 0; i < entries; ++i) {
        unsigned char sibType = 0;
        unsigned char lengthField = 0;
        const bool typeRead = Read(SIB_TYPE_BITS, sibType);
        const bool lengthRead = Read(DATA_LENGTH_BITS, lengthField);
        if (!typeRead || !lengthRead) {
            return false;
        }
        sSIM sim(Key(sibType), 1);
        if (!AppendData(sim, PlusOne(lengthField))) {
            return false;
        }
        Emit(sim);
    }
    return true;
}

void cSIMessage::FirstSegmentShort() {
    unsigned char sibType = 0;
    unsigned char countField = 0;
    unsigned char lengthField = 0;
    const bool typeRead = Read(SIB_TYPE_BITS, sibType);
    const bool countRead = Read(SEGMENT_COUNT_BITS, countField);
    const bool lengthRead = Read(DATA_LENGTH_BITS, lengthField);
    if (typeRead && countRead && lengthRead) {
        StartSIB(sibType, PlusOne(countField), PlusOne(lengthField));
    }
}

void cSIMessage::CompleteSIB(unsigned char sibType) {
    sSIM sim(Key(sibType), 1);
    if (AppendData(sim, COMPLETE_SIB_DATA_BITS)) {
        Emit(sim);
    }
}
