// LTE cell information: the MIB log (0xB0C1), the RRC serving cell info (0xB0C2) and the ML1 serving cell
// info (0xB197), each a fixed layout per version.
#include "meas/MeasLTEFields.h"

namespace {

// Resource blocks of an LTE bandwidth field to MHz; any other count is not an LTE bandwidth.
bool BandwidthMHz(uint64_t resourceBlocks, double& mhz) {
    static const struct {
        uint8_t mResourceBlocks;
        double mMHz;
    } kBandwidths[] = {{6, 1.4}, {15, 3}, {25, 5}, {50, 10}, {75, 15}, {100, 20}};
    for (const auto& bandwidth : kBandwidths) {
        if (bandwidth.mResourceBlocks == resourceBlocks) {
            mhz = bandwidth.mMHz;
            return true;
        }
    }
    return false;
}

// The bandwidth field at `offset` into `mhz` with `flag`; a count that is no LTE bandwidth is counted.
void SetBandwidth(const sMeasPayload& payload, size_t offset, uint32_t flag, double& mhz, sMeasLog& out) {
    uint64_t resourceBlocks = 0;
    if (!ReadUnsigned(payload, offset, 1, resourceBlocks)) {
        return;
    }
    if (BandwidthMHz(resourceBlocks, mhz)) {
        out.mCellInfo.mFields |= flag;
    } else {
        ++out.mOutOfRange;
    }
}

void SetCell(uint64_t pci, sCellInfo& info, sMeasLog& out) {
    if (SetCellInRange(pci, kLTEMaxPCI, info.mCell, out)) {
        info.mFields |= CELL_HAS_CELL;
    }
}

// The body's layout; MEAS_OK when it is known and the body holds all of it.
template <typename tLayout, size_t n>
eMeasStatus Layout(const sMeasPayload& payload, const tLayout (&layouts)[n], sMeasLog& out,
                   const tLayout*& layout) {
    const eMeasStatus status = BodyLayout(payload, layouts, out, layout);
    return status == MEAS_OK && payload.mSize < layout->mSize ? MEAS_BAD_LENGTH : status;
}

// 0xB0C1: u8 version, u16 PCI @1, DL EARFCN @3, u16 SFN, then (but in the NB-IoT MIB of v17) u8 Tx
// antennas and u8 DL bandwidth in resource blocks.
const size_t kMIBCellAt = 1;
const size_t kMIBChannelAt = 3;
const struct sMIBLayout {
    uint8_t mVersion;
    uint8_t mChannelBytes;
    uint8_t mBandwidthAt;  // 0: none
    uint8_t mSize;         // body bytes
} kMIBLayouts[] = {
    {1, 2, 8, 9},
    {2, 4, 10, 11},
    {3, 4, 10, 12},  // v2 and the SIB1-BR scheduling byte
    {17, 4, 0, 18},  // NB-IoT: SFN and H-SFN bits, scheduling, operation mode; no bandwidth field
};

// 0xB0C2: u8 version, u16 PCI @1, DL EARFCN @3, then the fields below (EARFCNs u16 in v2, u32 in v3).
const size_t kServingCellAt = 1;
const size_t kServingChannelAt = 3;
const uint32_t kMaxCellIdentity = 0x0FFFFFFF;  // 28 bits: eNB id and local cell
const struct sServingCellLayout {
    uint8_t mVersion;
    uint8_t mChannelBytes;
    uint8_t mULChannelAt;
    uint8_t mDLBandwidthAt;
    uint8_t mULBandwidthAt;
    uint8_t mIdentityAt;  // u32
    uint8_t mAreaAt;      // u16 TAC
    uint8_t mBandAt;      // u32
    uint8_t mMCCAt;       // u16, a plain binary number
    uint8_t mMNCDigitsAt;
    uint8_t mMNCAt;  // u16, a plain binary number
    uint8_t mSize;   // body bytes, through the allowed-access byte
} kServingCellLayouts[] = {
    {2, 2, 5, 7, 8, 9, 13, 15, 19, 21, 22, 25},
    {3, 4, 7, 11, 12, 13, 17, 19, 23, 25, 26, 29},
};

// 0xB197: u8 version, u8 DL bandwidth @1, u16 SFN @2, EARFCN @4, then a word whose bits 0..8 are the PCI.
const size_t kML1BandwidthAt = 1;
const size_t kML1ChannelAt = 4;
const struct sML1CellLayout {
    uint8_t mVersion;
    uint8_t mChannelBytes;
    uint8_t mCellAt;  // u16, PCI in bits 0..8
    uint8_t mSize;    // body bytes, through the number of antennas
} kML1CellLayouts[] = {
    {1, 2, 6, 32},
    {2, 4, 8, 36},
};

}  // namespace

eMeasStatus ExtractLTEMIB(const sMeasPayload& payload, sMeasLog& out) {
    const sMIBLayout* layout = nullptr;
    const eMeasStatus status = Layout(payload, kMIBLayouts, out, layout);
    if (status != MEAS_OK) {
        return status;
    }
    out.mKind = MEAS_KIND_MIB;
    out.mTechnology = RADIO_LTE;
    sCellInfo& info = out.mCellInfo;
    uint64_t pci = 0;
    uint64_t channel = 0;
    ReadUnsigned(payload, kMIBCellAt, 2, pci);
    ReadUnsigned(payload, kMIBChannelAt, layout->mChannelBytes, channel);
    SetCell(pci, info, out);
    info.mDLChannel = static_cast<uint32_t>(channel);
    info.mFields |= CELL_HAS_DL_CHANNEL;
    if (layout->mBandwidthAt != 0) {
        SetBandwidth(payload, layout->mBandwidthAt, CELL_HAS_DL_BANDWIDTH, info.mDLBandwidthMHz, out);
    }
    return MEAS_OK;
}

eMeasStatus ExtractLTEServingCellInfo(const sMeasPayload& payload, sMeasLog& out) {
    const sServingCellLayout* layout = nullptr;
    const eMeasStatus status = Layout(payload, kServingCellLayouts, out, layout);
    if (status != MEAS_OK) {
        return status;
    }
    out.mKind = MEAS_KIND_SERVING_CELL;
    out.mTechnology = RADIO_LTE;
    sCellInfo& info = out.mCellInfo;
    uint64_t pci = 0, dl = 0, ul = 0, identity = 0, area = 0, band = 0, mcc = 0, digits = 0, mnc = 0;
    ReadUnsigned(payload, kServingCellAt, 2, pci);
    ReadUnsigned(payload, kServingChannelAt, layout->mChannelBytes, dl);
    ReadUnsigned(payload, layout->mULChannelAt, layout->mChannelBytes, ul);
    ReadUnsigned(payload, layout->mIdentityAt, 4, identity);
    ReadUnsigned(payload, layout->mAreaAt, 2, area);
    ReadUnsigned(payload, layout->mBandAt, 4, band);
    ReadUnsigned(payload, layout->mMCCAt, 2, mcc);
    ReadUnsigned(payload, layout->mMNCDigitsAt, 1, digits);
    ReadUnsigned(payload, layout->mMNCAt, 2, mnc);

    SetCell(pci, info, out);
    info.mDLChannel = static_cast<uint32_t>(dl);
    info.mULChannel = static_cast<uint32_t>(ul);
    info.mFields |= CELL_HAS_DL_CHANNEL | CELL_HAS_UL_CHANNEL;
    SetBandwidth(payload, layout->mDLBandwidthAt, CELL_HAS_DL_BANDWIDTH, info.mDLBandwidthMHz, out);
    SetBandwidth(payload, layout->mULBandwidthAt, CELL_HAS_UL_BANDWIDTH, info.mULBandwidthMHz, out);
    SetFieldBelow(identity, kMaxCellIdentity + uint64_t(1), CELL_HAS_IDENTITY, info.mIdentity, info, out);
    info.mArea = static_cast<uint32_t>(area);
    info.mFields |= CELL_HAS_AREA;
    // Band 0 names no band; a number beyond 16 bits is none either.
    if (band > UINT16_MAX) {
        ++out.mOutOfRange;
    } else if (band != 0) {
        info.mBand = static_cast<uint16_t>(band);
        info.mFields |= CELL_HAS_BAND;
    }
    // The MNC is kept with its digit count, so that 3-digit MNCs keep a leading zero.
    SetPLMN(mcc, mnc, digits, info, out);
    return MEAS_OK;
}

eMeasStatus ExtractLTEML1CellInfo(const sMeasPayload& payload, sMeasLog& out) {
    const sML1CellLayout* layout = nullptr;
    const eMeasStatus status = Layout(payload, kML1CellLayouts, out, layout);
    if (status != MEAS_OK) {
        return status;
    }
    out.mKind = MEAS_KIND_SERVING_CELL;
    out.mTechnology = RADIO_LTE;
    sCellInfo& info = out.mCellInfo;
    uint64_t channel = 0;
    uint64_t word = 0;
    ReadUnsigned(payload, kML1ChannelAt, layout->mChannelBytes, channel);
    ReadUnsigned(payload, layout->mCellAt, 2, word);
    SetCell(Bits(word, 0, 8), info, out);
    info.mDLChannel = static_cast<uint32_t>(channel);
    info.mFields |= CELL_HAS_DL_CHANNEL;
    SetBandwidth(payload, kML1BandwidthAt, CELL_HAS_DL_BANDWIDTH, info.mDLBandwidthMHz, out);
    return MEAS_OK;
}
