// LTE serving-cell measurements: the ML1 serving cell measurement response (0xB193, whose subpacket
// version selects the layout) and the idle-mode serving cell measurement and evaluation (0xB17F).
#include "meas/MeasLTEFields.h"

namespace {

// 0xB193 subpacket 0x19 payload: EARFCN at P+0, then (v19 and later) u16 number of cells at P+4 and, in some
// versions, a u16 mask of the valid receive chains at P+6, then the cell records. Every cell record starts
// with the identity word: PCI bits 0..8, serving cell index 9..11 (0 the PCell), and from v18 the
// is-serving flag in bit 12. Field offsets are relative to the cell record.
const uint8_t kServingMeasurementId = 0x19;
const size_t kMaxChains = 4;
const sLTEField kCellPCI = W16(0, 0, 8);
const sLTEField kCellServingIndex = W16(0, 9, 11);
const sLTEField kCellServingFlag = W16(0, 12, 12);
const struct sServingLayout {
    uint8_t mVersion;
    uint8_t mChannelBytes;
    uint8_t mCountAt;    // P+ of the u16 number of cells; 0: the layout has one cell
    uint8_t mValidRxAt;  // P+ of the u16 valid receive-chain mask (bit n: Rx n); 0: none
    uint8_t mFirstCell;  // P+ of cell 0
    uint8_t mStride;     // bytes of each cell record; every record of the count must fit
    bool mServingFlag;   // the identity word has the is-serving flag
    uint16_t mRSRPRawOffset;
    sLTEField mRSRP;  // the combined values
    sLTEField mRSRQ;
    sLTEField mRSSI;
    sLTEField mChainRSRP[kMaxChains];  // per receive chain: a chain with raw RSRP 0 is off
    sLTEField mChainSNR[kMaxChains];   // FTL SNR per receive chain
} kServingLayouts[] = {
    // clang-format off
    // version, EARFCN bytes, count at, valid_rx at, cell 0 at, stride, is-serving flag, RSRP raw offset;
    // combined RSRP, RSRQ, RSSI; chain RSRPs; chain SNRs.
    // 2 receive chains. v22 and v24 are known from one packet each: their stride is that cell's record.
    {4, 2, 0, 0, 2, 74, false, 0, W32(18, 12, 23), W32(26, 20, 29), W32(34, 0, 10),
     {W32(10, 10, 21), W32(14, 12, 23)}, {W32(58, 0, 8), W32(58, 9, 17)}},
    {7, 4, 0, 0, 4, 76, false, 0, W32(20, 12, 23), W32(28, 20, 29), W32(36, 0, 10),
     {W32(12, 10, 21), W32(16, 12, 23)}, {W32(60, 0, 8), W32(60, 9, 17)}},
    // The v18 record is the v19 one. Its combined RSSI is at C+40 bits 0..10 as in v19 (one public
    // reading takes Rx1's bits 21..31 of C+36): in the real v18 packets that word equals max(Rx0, Rx1).
    {18, 4, 0, 0, 4, 88, true, 0, W32(24, 12, 23), W32(32, 20, 29), W32(40, 0, 10),
     {W32(16, 10, 21), W32(20, 12, 23)}, {W32(64, 0, 8), W32(64, 9, 17)}},
    {19, 4, 4, 0, 8, 88, true, 0, W32(24, 12, 23), W32(32, 20, 29), W32(40, 0, 10),
     {W32(16, 10, 21), W32(20, 12, 23)}, {W32(64, 0, 8), W32(64, 9, 17)}},
    {22, 4, 4, 0, 8, 112, true, 0, W32(28, 12, 23), W32(36, 10, 19), W32(52, 0, 10),
     {W32(16, 10, 21), W32(20, 12, 23)}, {W32(76, 0, 8), W32(76, 9, 17)}},
    {24, 4, 4, 0, 8, 92, true, 0, W32(24, 12, 23), W32(32, 20, 29), W32(40, 0, 10),
     {W32(16, 11, 22), W32(20, 12, 23)}, {W32(64, 0, 8), W32(64, 9, 17)}},
    // 4 receive chains: the combined RSRP is stored 640 raw (40 dB) down. v36's combined RSRQ is the word
    // at C+44 (one public reading repeats Rx0's): in the real v36 packets it equals the post-IC RSRQ.
    {35, 4, 4, 0, 8, 124, true, 640, W32(28, 12, 23), W32(44, 0, 9), W32(56, 0, 10),
     {W32(16, 10, 21), W32(20, 12, 23), W32(24, 12, 23), W32(28, 0, 11)},
     {W32(80, 0, 8), W32(80, 9, 17), W32(84, 0, 8), W32(84, 9, 17)}},
    {36, 4, 4, 6, 8, 128, true, 640, W32(28, 12, 23), W32(44, 0, 9), W32(56, 0, 10),
     {W32(16, 10, 21), W32(20, 12, 23), W32(24, 12, 23), W32(28, 0, 11)},
     {W32(80, 0, 8), W32(80, 9, 17), W32(84, 0, 8), W32(84, 9, 17)}},
    // v40 and later have an extra word at C+28, which moves every later field 4 bytes up.
    {40, 4, 4, 6, 8, 132, true, 640, W32(32, 12, 23), W32(48, 0, 9), W32(60, 0, 10),
     {W32(16, 10, 21), W32(20, 12, 23), W32(24, 12, 23), W32(32, 0, 11)},
     {W32(84, 0, 8), W32(84, 9, 17), W32(88, 0, 8), W32(88, 9, 17)}},
    // v48 and v50 are inferred from one published packet (v40's cell with the tail of a 140-byte record).
    {48, 4, 4, 6, 12, 140, true, 640, W32(32, 12, 23), W32(48, 0, 9), W32(60, 0, 10),
     {W32(16, 10, 21), W32(20, 12, 23), W32(24, 12, 23), W32(32, 0, 11)},
     {W32(92, 0, 8), W32(92, 9, 17), W32(96, 0, 8), W32(96, 9, 17)}},
    {50, 4, 4, 6, 12, 140, true, 640, W32(32, 12, 23), W32(48, 0, 9), W32(60, 0, 10),
     {W32(16, 10, 21), W32(20, 12, 23), W32(24, 12, 23), W32(32, 0, 11)},
     {W32(92, 0, 8), W32(92, 9, 17), W32(96, 0, 8), W32(96, 9, 17)}},
    // clang-format on
};

// The SINR of a cell is the best FTL SNR among its receive chains that are on (flagged in the valid-chain
// mask where the layout has one, and with a measured RSRP). The log has no combined SNR; its combined RSRP
// and RSSI are the larger of the chains' values in the real captures, so the SNR is taken the same way.
void SetSINR(const sMeasPayload& payload, size_t cell, const sServingLayout& layout, uint32_t validRx,
             double& sinr, sMeasLog& out) {
    bool any = false;
    double best = 0;
    for (size_t chain = 0; chain < kMaxChains; ++chain) {
        uint32_t rsrp = 0;
        uint32_t snr = 0;
        if ((validRx >> chain & 1) != 0 && ReadField(payload, cell, layout.mChainRSRP[chain], rsrp) &&
            rsrp != 0 && ReadField(payload, cell, layout.mChainSNR[chain], snr) &&
            (!any || LTESNR(snr) > best)) {
            best = LTESNR(snr);
            any = true;
        }
    }
    if (any) {
        SetInRange(best, kSINR, sinr, out);
    }
}

eMeasStatus ServingCells(const sLTESubpacket& subpacket, sMeasLog& out) {
    if (subpacket.mId != kServingMeasurementId) {
        return MEAS_OK;  // no other subpacket of this log is defined
    }
    out.mLogVersion = subpacket.mVersion;
    const sServingLayout* layout = FindLayout(kServingLayouts, subpacket.mVersion);
    if (layout == nullptr) {
        return MEAS_UNSUPPORTED_VERSION;
    }
    const sMeasPayload& payload = subpacket.mPayload;
    uint64_t channel = 0;
    uint64_t count = 1;
    uint64_t validRx = 0xF;
    if (!ReadUnsigned(payload, 0, layout->mChannelBytes, channel) ||
        (layout->mCountAt != 0 && !ReadUnsigned(payload, layout->mCountAt, 2, count)) ||
        (layout->mValidRxAt != 0 && !ReadUnsigned(payload, layout->mValidRxAt, 2, validRx)) ||
        !Fits(payload, layout->mFirstCell, count * layout->mStride)) {
        return MEAS_BAD_LENGTH;
    }
    for (uint64_t k = 0; k < count; ++k) {
        sMeasuredCell* cell = NewCell(out, RADIO_LTE, static_cast<uint32_t>(channel));
        if (cell == nullptr) {
            continue;
        }
        const size_t at = layout->mFirstCell + k * layout->mStride;
        uint32_t pci = 0, index = 0, serving = 1, rsrp = 0, rsrq = 0, rssi = 0;
        ReadField(payload, at, kCellPCI, pci);
        ReadField(payload, at, kCellServingIndex, index);
        if (layout->mServingFlag) {
            ReadField(payload, at, kCellServingFlag, serving);
        }
        ReadField(payload, at, layout->mRSRP, rsrp);
        ReadField(payload, at, layout->mRSRQ, rsrq);
        ReadField(payload, at, layout->mRSSI, rssi);
        SetLTECell(pci, *cell, out);
        cell->mServing = serving != 0;
        cell->mServingIndex = static_cast<uint8_t>(index);
        SetLTERSRP(rsrp, layout->mRSRPRawOffset, cell->mRSRP, out);
        SetLTERSRQ(rsrq, cell->mRSRQ, out);
        SetLTERSSI(rssi, cell->mRSSI, out);
        SetSINR(payload, at, *layout, static_cast<uint32_t>(validRx), cell->mSINR, out);
    }
    return MEAS_OK;
}

// 0xB17F: u8 version, u8 RRC release, u16 reserved, EARFCN @4, then the words below. The Rel-9 word at
// the end is not read, so a body without it is whole.
const size_t kIdleChannelAt = 4;
const struct sIdleServingLayout {
    uint8_t mVersion;
    uint8_t mChannelBytes;
    uint8_t mCellAt;  // u16: PCI bits 0..8, serving-layer priority 9..15
    uint8_t mRSRPAt;  // u32: measured RSRP bits 0..11 (the averaged one is the next word)
    uint8_t mRSRQAt;  // u32: measured RSRQ bits 0..9, averaged 20..29
    uint8_t mRSSIAt;  // u32: measured RSSI bits 10..20
    uint8_t mSize;    // body bytes before the Rel-9 word
} kIdleServingLayouts[] = {
    {4, 2, 6, 8, 16, 20, 32},
    {5, 4, 8, 12, 20, 24, 36},
};

}  // namespace

eMeasStatus ExtractLTEServingMeasurement(const sMeasPayload& payload, sMeasLog& out) {
    out.mKind = MEAS_KIND_MEASUREMENT;
    out.mTechnology = RADIO_LTE;
    return WalkLTESubpackets(payload, out,
                             [&out](const sLTESubpacket& subpacket) { return ServingCells(subpacket, out); });
}

eMeasStatus ExtractLTEIdleServing(const sMeasPayload& payload, sMeasLog& out) {
    const sIdleServingLayout* layout = nullptr;
    const eMeasStatus status = BodyLayout(payload, kIdleServingLayouts, out, layout);
    if (status != MEAS_OK) {
        return status;
    }
    if (payload.mSize < layout->mSize) {
        return MEAS_BAD_LENGTH;
    }
    out.mKind = MEAS_KIND_MEASUREMENT;
    out.mTechnology = RADIO_LTE;
    uint64_t channel = 0, cellWord = 0, rsrp = 0, rsrq = 0, rssi = 0;
    ReadUnsigned(payload, kIdleChannelAt, layout->mChannelBytes, channel);
    ReadUnsigned(payload, layout->mCellAt, 2, cellWord);
    ReadUnsigned(payload, layout->mRSRPAt, 4, rsrp);
    ReadUnsigned(payload, layout->mRSRQAt, 4, rsrq);
    ReadUnsigned(payload, layout->mRSSIAt, 4, rssi);
    sMeasuredCell* cell = NewCell(out, RADIO_LTE, static_cast<uint32_t>(channel));
    if (cell == nullptr) {
        return MEAS_OK;  // the record is new: never full
    }
    cell->mServing = true;
    SetLTECell(Bits(cellWord, 0, 8), *cell, out);
    SetLTERSRP(Bits(rsrp, 0, 11), 0, cell->mRSRP, out);
    SetLTERSRQ(Bits(rsrq, 0, 9), cell->mRSRQ, out);
    SetLTERSSI(Bits(rssi, 10, 20), cell->mRSSI, out);
    return MEAS_OK;
}
