#include "wcdma/WCDMARRCAccumulator.h"

#include <cstring>
#include <new>

#include "bits/BitPacker.h"
#include "bits/BitParser.h"
#include "diag/DiagLog.h"
#include "wcdma/SIMessage.h"
#include "wcdma/WCDMARRCFormat.h"

namespace {

unsigned int ReadU16(const unsigned char* bytes) {
    return bytes[0] | (bytes[1] << 8);
}

}  // namespace

bool sSIMTag::operator<(const sSIMTag& other) const {
    if (mChannelType != other.mChannelType) {
        return mChannelType < other.mChannelType;
    }
    if (mHeaderByte != other.mHeaderByte) {
        return mHeaderByte < other.mHeaderByte;
    }
    return mSIBType < other.mSIBType;
}

sSIM::sSIM() : mSegmentCount(0), mSegmentsReceived(0), mBitCount(0) {
    memset(mData, 0, sizeof mData);
}

sSIM::sSIM(const sSIMTag& tag, unsigned int segmentCount)
    : mTag(tag), mSegmentCount(segmentCount), mSegmentsReceived(0), mBitCount(REBUILT_HEADER_BITS) {
    memset(mData, 0, sizeof mData);
}

bool OpenRRCMessage(sSharedBuffer* item, cBitParser& parser) {
    if (!IsUsableBuffer(item) || item->mSize <= RRC_CHANNEL_OFFSET) {
        return false;
    }
    // The length word is trusted only as far as the item's bytes go.
    unsigned int length = 0;
    if (item->mSize >= RRC_MESSAGE_OFFSET) {
        length = ReadU16(item->mData + RRC_LENGTH_OFFSET);
        if (length > item->mSize - RRC_MESSAGE_OFFSET) {
            length = item->mSize - RRC_MESSAGE_OFFSET;
        }
    }
    parser.SetData(length == 0 ? nullptr : item->mData + RRC_MESSAGE_OFFSET, length * 8);
    parser.mLSBFirst = false;
    return true;
}

void MoveReaderTo(cBitParser& parser, unsigned int position) {
    parser.mBitPos = position < parser.mBitLength ? position : parser.mBitLength;
}

const unsigned char* InitialProcessing(sSharedBuffer* item, cBitParser& parser, unsigned char& first,
                                       bool listFirst) {
    if (!OpenRRCMessage(item, parser)) {
        return nullptr;
    }
    const unsigned char* header = item->mData + RRC_CHANNEL_OFFSET;
    MoveReaderTo(parser, header[0] == RRC_CHANNEL_BCCH_BCH ? BCH_PAYLOAD_START : FACH_PAYLOAD_START);
    if (parser.Get(listFirst ? LIST_COUNT_BITS : SIB_TYPE_BITS, first) != 0) {
        return nullptr;
    }
    return header;
}

bool CopyBits(cBitParser& parser, cBitPacker& packer, unsigned int count) {
    for (unsigned int i = 0; i < count; ++i) {
        unsigned char bit = 0;
        if (parser.Get(1, bit) != 0 || packer.Set(1, bit) != 0) {
            return false;
        }
    }
    return true;
}

void cWCDMARRCAccumulator::ConvertCompletedSIM(sSIM& sim, unsigned long long& timestamp,
                                               std::list<sSharedBuffer*>& out) {
    sim.mData[0] = static_cast<unsigned char>(sim.mTag.mChannelType & 0xFF);
    sim.mData[1] = sim.mTag.mHeaderByte;
    if (sim.mBitCount % 8 != 0) {
        sim.mBitCount += 8 - sim.mBitCount % 8;  // the padding bits are still zero
    }
    unsigned int length = sim.mBitCount / 8;
    if (length > sizeof sim.mData) {
        length = sizeof sim.mData;
    }
    const unsigned int following = length - REBUILT_LENGTH_EXCLUDES;
    sim.mData[REBUILT_LENGTH_OFFSET] = static_cast<unsigned char>(following & 0xFF);
    sim.mData[REBUILT_LENGTH_OFFSET + 1] = static_cast<unsigned char>((following >> 8) & 0xFF);
    sim.mData[REBUILT_SIB_TYPE_OFFSET] = sim.mTag.mSIBType;

    sSharedBuffer* log = sDiagLog::BuildLog(WCDMA_RRC_LOG_CODE, timestamp, sim.mData, length);
    if (log == nullptr) {
        return;
    }
    try {
        out.push_back(log);
    } catch (const std::bad_alloc&) {
        delete log;
    }
}

std::list<sSharedBuffer*> cWCDMARRCAccumulator::ProcessItem(sSharedBuffer* item,
                                                            unsigned long long timestamp) {
    if (!IsUsableBuffer(item) || item->mSize < RRC_MESSAGE_OFFSET + 1) {
        return {};
    }
    const unsigned char* bytes = item->mData;
    if (ReadU16(bytes + RRC_LOG_CODE_OFFSET) != WCDMA_RRC_LOG_CODE ||
        ReadU16(bytes + RRC_LENGTH_OFFSET) > item->mSize - RRC_MESSAGE_OFFSET) {
        return {};
    }
    cBitParser parser;
    OpenRRCMessage(item, parser);
    if (bytes[RRC_CHANNEL_OFFSET] == RRC_CHANNEL_BCCH_BCH) {
        MoveReaderTo(parser, BCH_SFN_PRIME_BITS);
    } else if (bytes[RRC_CHANNEL_OFFSET] == RRC_CHANNEL_BCCH_FACH) {
        unsigned char messageType = 0;
        if (parser.Get(FACH_MESSAGE_TYPE_BITS, messageType) != 0 || messageType != 0) {
            return {};  // only system information among the FACH broadcast messages
        }
    } else {
        return {};
    }
    unsigned char choice = PAYLOAD_NO_SEGMENT;
    parser.Get(PAYLOAD_CHOICE_BITS, choice);
    switch (choice) {
        case PAYLOAD_FIRST_SEGMENT:
            return ProcessSIM1(item, timestamp);
        case PAYLOAD_SUBSEQUENT_SEGMENT:
            return ProcessSIM2(item, timestamp);
        case PAYLOAD_LAST_SEGMENT_SHORT:
            return ProcessSIM3(item, timestamp);
        case PAYLOAD_LAST_AND_FIRST:
            return ProcessSIM4(item, timestamp);
        case PAYLOAD_LAST_AND_COMPLETE:
            return ProcessSIM5(item, timestamp);
        case PAYLOAD_LAST_AND_COMPLETE_AND_FIRST:
            return ProcessSIM6(item, timestamp);
        case PAYLOAD_COMPLETE_SIB_LIST:
            return ProcessSIM7(item, timestamp);
        case PAYLOAD_COMPLETE_AND_FIRST:
            return ProcessSIM8(item, timestamp);
        case PAYLOAD_COMPLETE_SIB:
            return ProcessSIM9(item, timestamp);
        case PAYLOAD_LAST_SEGMENT:
            return ProcessSIM10(item, timestamp);
        default:
            return {};  // no segment, or a spare choice
    }
}
