// Neighbour cells measured by LTE: idle-mode neighbours (0xB180), the neighbour measurement responses
// (0xB192 idle, 0xB195 connected), the connected-mode intra-frequency results (0xB179, whose first cell is
// the serving one) and WCDMA cells measured from LTE (0xB188).
#include "meas/MeasLTEFields.h"

namespace {

// 0xB180: u8 version, u8 RRC release (non-zero: each cell record ends with a Rel-9 word), u16 reserved,
// EARFCN @4, a word with Qrxlevmin in bits 0..5 and the number of cells from bit 6, then the records.
const size_t kIdleChannelAt = 4;
const size_t kIdleReleaseAt = 1;
const size_t kIdleRecordSize = 28;  // 32 with the Rel-9 word
const size_t kIdleRel9Size = 4;
const sLTEField kIdleRSRQ = W32(8, 12, 21);  // measured RSRQ (the averaged one is at C+12)
const struct sIdleNeighbourLayout {
    uint8_t mVersion;
    uint8_t mChannelBytes;
    uint8_t mCountAt;
    uint8_t mCountBytes;
    uint8_t mFirstCell;
} kIdleNeighbourLayouts[] = {
    {4, 2, 6, 2, 8},
    {5, 4, 8, 4, 12},
};

// 0xB192 and 0xB195: the 0xB193 envelope with request and response subpackets. A response's payload is
// the EARFCN, a u16 with the number of cells in bits 0..5, then 52-byte cell records. Requests list the
// cells to measure and carry no measurement: they are known and passed over.
const size_t kNeighbourRecordSize = 52;
const sLTEField kNeighbourCount = W16(0, 0, 5);
const sLTEField kNeighbourPCI = W32(0, 0, 9);
const sLTEField kNeighbourRSRP = W16(12, 0, 11);
const sLTEField kNeighbourRSRQ = W32(20, 10, 19);
const sLTEField kNeighbourRSSI = W32(28, 11, 21);  // the combined one: the larger of the chains
const uint8_t kRequest = 0;
const struct sNeighbourLayout {
    uint8_t mId;
    uint8_t mVersion;
    uint8_t mChannelBytes;  // kRequest: a request
    uint8_t mCountAt;
    uint8_t mFirstCell;
} kNeighbourLayouts[] = {
    // clang-format off
    {26, 1, kRequest, 0, 0},  // 0xB192 request
    {26, 2, kRequest, 0, 0},
    {27, 2, 2, 2, 4},         // 0xB192 response
    {27, 4, 4, 4, 8},
    {30, 3, kRequest, 0, 0},  // 0xB195 request
    {31, 3, 2, 2, 4},         // 0xB195 response
    {31, 4, 4, 4, 8},
    {31, 24, 4, 4, 8},        // said to be v4's layout; no packet of it was checked
    // clang-format on
};

const sNeighbourLayout* FindNeighbourLayout(unsigned int id, unsigned int version) {
    for (const sNeighbourLayout& layout : kNeighbourLayouts) {
        if (layout.mId == id && layout.mVersion == version) {
            return &layout;
        }
    }
    return nullptr;
}

// 0xB179: u8 version, 3 reserved, u8 serving cell index (bits 0..2) @4, 3 reserved, then the fields
// below; RSRP and RSRQ are i16 (v/16 - 180 dBm, v/16 - 30 dB). The neighbour records hold u16 PCI,
// i16 RSRP, i16 (a copy), i16 RSRQ and 4 reserved bytes; the detected-cell records after them carry no
// measurement but must fit as well. Real packets may carry zero bytes past the records.
const size_t kIntraServingIndexAt = 4;
const size_t kIntraChannelAt = 8;
const size_t kIntraNeighbourSize = 12;
const size_t kIntraNeighbourRSRPAt = 2;
const size_t kIntraNeighbourRSRQAt = 6;
const size_t kIntraDetectedSize = 16;
const struct sIntraFrequencyLayout {
    uint8_t mVersion;
    uint8_t mChannelBytes;
    uint8_t mCellAt;        // u16 serving PCI
    uint8_t mRSRPAt;        // i16 serving filtered RSRP
    uint8_t mRSRQAt;        // i16 serving filtered RSRQ
    uint8_t mNeighboursAt;  // u8 number of neighbour cells; the number of detected cells follows
    uint8_t mFirstCell;
} kIntraFrequencyLayouts[] = {
    {3, 2, 10, 14, 18, 22, 24},
    {4, 4, 12, 16, 20, 24, 28},
};

// 0xB188 subpacket 35 (WCDMA): u32 DRX cycle, u8 number of frequencies, 3 reserved; per frequency u16
// UARFCN, u8 number of cells, 1 reserved, and that many 16-byte cell records. The layout is known from one
// public description with no version number and no packet: every version of the subpacket is read with it.
// The PSC is taken from bits 0..8 of the record's first word (the rest holds an energy value).
const uint8_t kWCDMASubpacketId = 35;
const size_t kWCDMAHeaderSize = 8;
const size_t kWCDMAFrequenciesAt = 4;
const size_t kWCDMAFrequencySize = 4;
const size_t kWCDMACellSize = 16;
const sLTEField kWCDMAPSC = W16(0, 0, 8);
const size_t kWCDMARSCPAt = 8;   // u8 - 256 dBm
const size_t kWCDMAEcNoAt = 10;  // u8 - 256 dB

eMeasStatus NeighbourCells(const sLTESubpacket& subpacket, sMeasLog& out) {
    // The log's version is that of its response subpacket (of its first subpacket when it has none).
    const sNeighbourLayout* layout = FindNeighbourLayout(subpacket.mId, subpacket.mVersion);
    if (layout == nullptr) {
        out.mLogVersion = subpacket.mVersion;
        return MEAS_UNSUPPORTED_VERSION;
    }
    if (layout->mChannelBytes == kRequest) {
        out.mLogVersion = out.mLogVersion != 0 ? out.mLogVersion : subpacket.mVersion;
        return MEAS_OK;
    }
    out.mLogVersion = subpacket.mVersion;
    const sMeasPayload& payload = subpacket.mPayload;
    uint64_t channel = 0;
    uint32_t count = 0;
    if (!ReadUnsigned(payload, 0, layout->mChannelBytes, channel) ||
        !ReadField(payload, layout->mCountAt, kNeighbourCount, count) ||
        !Fits(payload, layout->mFirstCell, count * kNeighbourRecordSize)) {
        return MEAS_BAD_LENGTH;
    }
    for (size_t k = 0; k < count; ++k) {
        sMeasuredCell* cell = NewCell(out, RADIO_LTE, static_cast<uint32_t>(channel));
        if (cell == nullptr) {
            continue;
        }
        const size_t at = layout->mFirstCell + k * kNeighbourRecordSize;
        uint32_t pci = 0, rsrp = 0, rsrq = 0, rssi = 0;
        ReadField(payload, at, kNeighbourPCI, pci);
        ReadField(payload, at, kNeighbourRSRP, rsrp);
        ReadField(payload, at, kNeighbourRSRQ, rsrq);
        ReadField(payload, at, kNeighbourRSSI, rssi);
        SetLTECell(pci, *cell, out);
        SetLTERSRP(rsrp, 0, cell->mRSRP, out);
        SetLTERSRQ(rsrq, cell->mRSRQ, out);
        SetLTERSSI(rssi, cell->mRSSI, out);
    }
    return MEAS_OK;
}

eMeasStatus WCDMACells(const sLTESubpacket& subpacket, sMeasLog& out) {
    if (subpacket.mId != kWCDMASubpacketId) {
        return MEAS_OK;  // no other subpacket of this log is defined
    }
    out.mLogVersion = subpacket.mVersion;
    const sMeasPayload& payload = subpacket.mPayload;
    uint64_t frequencies = 0;
    if (!Fits(payload, 0, kWCDMAHeaderSize) || !ReadUnsigned(payload, kWCDMAFrequenciesAt, 1, frequencies)) {
        return MEAS_BAD_LENGTH;
    }
    size_t at = kWCDMAHeaderSize;
    for (uint64_t f = 0; f < frequencies; ++f) {
        uint64_t uarfcn = 0;
        uint64_t cells = 0;
        if (!ReadUnsigned(payload, at, 2, uarfcn) || !ReadUnsigned(payload, at + 2, 1, cells) ||
            !Fits(payload, at + kWCDMAFrequencySize, cells * kWCDMACellSize)) {
            return MEAS_BAD_LENGTH;
        }
        at += kWCDMAFrequencySize;
        for (uint64_t k = 0; k < cells; ++k, at += kWCDMACellSize) {
            sMeasuredCell* cell = NewCell(out, RADIO_WCDMA, static_cast<uint32_t>(uarfcn));
            if (cell == nullptr) {
                continue;
            }
            uint32_t psc = 0;
            uint64_t rscp = 0, ecno = 0;
            ReadField(payload, at, kWCDMAPSC, psc);
            ReadUnsigned(payload, at + kWCDMARSCPAt, 1, rscp);
            ReadUnsigned(payload, at + kWCDMAEcNoAt, 1, ecno);
            cell->mCell = static_cast<uint16_t>(psc);  // 9 bits: every value is a valid PSC
            cell->mHasCell = true;
            SetInRange(static_cast<double>(rscp) - 256, kWCDMARSCP, cell->mRSCP, out);
            SetInRange(static_cast<double>(ecno) - 256, kWCDMAEcIo, cell->mEcIo, out);
        }
    }
    return MEAS_OK;
}

}  // namespace

eMeasStatus ExtractLTEIdleNeighbours(const sMeasPayload& payload, sMeasLog& out) {
    const sIdleNeighbourLayout* layout = nullptr;
    const eMeasStatus status = BodyLayout(payload, kIdleNeighbourLayouts, out, layout);
    if (status != MEAS_OK) {
        return status;
    }
    uint64_t release = 0, channel = 0, countWord = 0;
    if (!ReadUnsigned(payload, kIdleReleaseAt, 1, release) ||
        !ReadUnsigned(payload, kIdleChannelAt, layout->mChannelBytes, channel) ||
        !ReadUnsigned(payload, layout->mCountAt, layout->mCountBytes, countWord)) {
        return MEAS_BAD_LENGTH;
    }
    const size_t stride = kIdleRecordSize + (release != 0 ? kIdleRel9Size : 0);
    const uint64_t count = countWord >> 6;
    if (!Fits(payload, layout->mFirstCell, count * stride)) {
        return MEAS_BAD_LENGTH;
    }
    out.mKind = MEAS_KIND_MEASUREMENT;
    out.mTechnology = RADIO_LTE;
    for (uint64_t k = 0; k < count; ++k) {
        sMeasuredCell* cell = NewCell(out, RADIO_LTE, static_cast<uint32_t>(channel));
        if (cell == nullptr) {
            continue;
        }
        const size_t at = layout->mFirstCell + k * stride;
        uint64_t word = 0;
        uint32_t rsrq = 0;
        ReadUnsigned(payload, at, 4, word);
        ReadField(payload, at, kIdleRSRQ, rsrq);
        SetLTECell(Bits(word, 0, 8), *cell, out);
        SetLTERSSI(Bits(word, 9, 19), cell->mRSSI, out);
        SetLTERSRP(Bits(word, 20, 31), 0, cell->mRSRP, out);
        SetLTERSRQ(rsrq, cell->mRSRQ, out);
    }
    return MEAS_OK;
}

eMeasStatus ExtractLTENeighbourSubpackets(const sMeasPayload& payload, sMeasLog& out) {
    out.mKind = MEAS_KIND_MEASUREMENT;
    out.mTechnology = RADIO_LTE;
    return WalkLTESubpackets(
        payload, out, [&out](const sLTESubpacket& subpacket) { return NeighbourCells(subpacket, out); });
}

eMeasStatus ExtractLTEIntraFrequency(const sMeasPayload& payload, sMeasLog& out) {
    const sIntraFrequencyLayout* layout = nullptr;
    const eMeasStatus status = BodyLayout(payload, kIntraFrequencyLayouts, out, layout);
    if (status != MEAS_OK) {
        return status;
    }
    uint64_t index = 0, channel = 0, pci = 0, neighbours = 0, detected = 0;
    int64_t rsrp = 0, rsrq = 0;
    if (!ReadUnsigned(payload, kIntraServingIndexAt, 1, index) ||
        !ReadUnsigned(payload, kIntraChannelAt, layout->mChannelBytes, channel) ||
        !ReadUnsigned(payload, layout->mCellAt, 2, pci) || !ReadSigned(payload, layout->mRSRPAt, 2, rsrp) ||
        !ReadSigned(payload, layout->mRSRQAt, 2, rsrq) ||
        !ReadUnsigned(payload, layout->mNeighboursAt, 1, neighbours) ||
        !ReadUnsigned(payload, layout->mNeighboursAt + 1, 1, detected) ||
        !Fits(payload, layout->mFirstCell,
              neighbours * kIntraNeighbourSize + detected * kIntraDetectedSize)) {
        return MEAS_BAD_LENGTH;
    }
    out.mKind = MEAS_KIND_MEASUREMENT;
    out.mTechnology = RADIO_LTE;
    sMeasuredCell* serving = NewCell(out, RADIO_LTE, static_cast<uint32_t>(channel));
    if (serving == nullptr) {
        return MEAS_OK;  // the record is new: never full
    }
    serving->mServing = true;
    serving->mServingIndex = static_cast<uint8_t>(Bits(index, 0, 2));
    SetLTECell(pci, *serving, out);
    SetLTERSRP(rsrp, 0, serving->mRSRP, out);
    SetLTERSRQ(rsrq, serving->mRSRQ, out);
    for (uint64_t k = 0; k < neighbours; ++k) {
        sMeasuredCell* cell = NewCell(out, RADIO_LTE, static_cast<uint32_t>(channel));
        if (cell == nullptr) {
            continue;
        }
        const size_t at = layout->mFirstCell + k * kIntraNeighbourSize;
        uint64_t neighbourPCI = 0;
        int64_t neighbourRSRP = 0, neighbourRSRQ = 0;
        ReadUnsigned(payload, at, 2, neighbourPCI);
        ReadSigned(payload, at + kIntraNeighbourRSRPAt, 2, neighbourRSRP);
        ReadSigned(payload, at + kIntraNeighbourRSRQAt, 2, neighbourRSRQ);
        SetLTECell(neighbourPCI, *cell, out);
        SetLTERSRP(neighbourRSRP, 0, cell->mRSRP, out);
        SetLTERSRQ(neighbourRSRQ, cell->mRSRQ, out);
    }
    return MEAS_OK;
}

eMeasStatus ExtractLTEWCDMANeighbours(const sMeasPayload& payload, sMeasLog& out) {
    out.mKind = MEAS_KIND_MEASUREMENT;
    out.mTechnology = RADIO_LTE;
    return WalkLTESubpackets(payload, out,
                             [&out](const sLTESubpacket& subpacket) { return WCDMACells(subpacket, out); });
}
