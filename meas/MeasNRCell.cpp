// NR cell identity logs, version u16 minor, u16 major at B+0 (read as one u32, 3.2 = 0x00030002):
//
//   0xB822 MIB: u16 PCI B+4, u32 NR-ARFCN B+6, then the SFN and subcarrier-spacing word (4 bytes in 0.3,
//   5 in 2.0), which the records do not keep.
//
//   0xB823 serving cell info, offsets by version:
//     version  PCI  DL/UL NR-ARFCN  DL/UL bandwidth  NCI  MCC  MNC digits  MNC  TAC  band  body
//     0.4      4    6 / 10          14 / 16          18   26   28          29   32   36    38
//     3.0      4    14 / 18         22 / 24          26   34   36          37   40   44    46
//     3.2, 3.3 7    17 / 21         25 / 27          29   37   39          40   43   47    49
//   u16 PCI, u32 NR-ARFCNs, u16 bandwidths in MHz, u64 NCI (36 bits), u16 MCC and MNC as binary numbers
//   (not BCD) with a u8 count of MNC digits, u32 TAC (24 bits), u16 band number (78 for n78).
#include "meas/MeasFamilies.h"

namespace {

const size_t kVersionSize = 4;

struct sMIBLayout {
    uint32_t mVersion;
    uint8_t mPCIAt;
    uint8_t mChannelAt;
    uint8_t mSize;
};

const sMIBLayout kMIBLayouts[] = {
    {0x00000003, 4, 6, 14},
    {0x00020000, 4, 6, 15},
};

struct sServingCellLayout {
    uint32_t mVersion;
    uint8_t mPCIAt;
    uint8_t mDLChannelAt;
    uint8_t mULChannelAt;
    uint8_t mDLBandwidthAt;
    uint8_t mULBandwidthAt;
    uint8_t mIdentityAt;
    uint8_t mMCCAt;
    uint8_t mMNCDigitsAt;
    uint8_t mMNCAt;
    uint8_t mTACAt;
    uint8_t mBandAt;
    uint8_t mSize;
};

const sServingCellLayout kServingCellLayouts[] = {
    {0x00000004, 4, 6, 10, 14, 16, 18, 26, 28, 29, 32, 36, 38},
    {0x00030000, 4, 14, 18, 22, 24, 26, 34, 36, 37, 40, 44, 46},
    {0x00030002, 7, 17, 21, 25, 27, 29, 37, 39, 40, 43, 47, 49},
    {0x00030003, 7, 17, 21, 25, 27, 29, 37, 39, 40, 43, 47, 49},
};

const uint64_t kNCILimit = uint64_t(1) << 36;
const uint64_t kTACLimit = uint64_t(1) << 24;

// The version's layout, or the status that refuses the payload.
template <typename Layout, size_t N>
eMeasStatus FindNRLayout(const sMeasPayload& payload, const Layout (&table)[N], const Layout*& layout,
                         sMeasLog& out) {
    cPayloadFields fields(payload);
    out.mLogVersion = static_cast<uint32_t>(fields.Unsigned(0, kVersionSize));
    if (!fields.Inside()) {
        return MEAS_BAD_LENGTH;
    }
    layout = FindLayout(table, out.mLogVersion);
    if (layout == nullptr) {
        return MEAS_UNSUPPORTED_VERSION;
    }
    return payload.mSize < layout->mSize ? MEAS_BAD_LENGTH : MEAS_OK;
}

}  // namespace

eMeasStatus ExtractNRMIB(const sMeasPayload& payload, sMeasLog& out) {
    const sMIBLayout* layout = nullptr;
    const eMeasStatus status = FindNRLayout(payload, kMIBLayouts, layout, out);
    if (status != MEAS_OK) {
        return status;
    }
    cPayloadFields fields(payload);
    sCellInfo& info = out.mCellInfo;
    if (SetCellInRange(fields.Unsigned(layout->mPCIAt, 2), kNRMaxPCI, info.mCell, out)) {
        info.mFields |= CELL_HAS_CELL;
    }
    info.mDLChannel = static_cast<uint32_t>(fields.Unsigned(layout->mChannelAt, 4));
    info.mFields |= CELL_HAS_DL_CHANNEL;
    out.mKind = MEAS_KIND_MIB;
    out.mTechnology = RADIO_NR;
    return MEAS_OK;
}

eMeasStatus ExtractNRServingCellInfo(const sMeasPayload& payload, sMeasLog& out) {
    const sServingCellLayout* layout = nullptr;
    const eMeasStatus status = FindNRLayout(payload, kServingCellLayouts, layout, out);
    if (status != MEAS_OK) {
        return status;
    }
    cPayloadFields fields(payload);
    sCellInfo& info = out.mCellInfo;
    if (SetCellInRange(fields.Unsigned(layout->mPCIAt, 2), kNRMaxPCI, info.mCell, out)) {
        info.mFields |= CELL_HAS_CELL;
    }
    info.mDLChannel = static_cast<uint32_t>(fields.Unsigned(layout->mDLChannelAt, 4));
    info.mULChannel = static_cast<uint32_t>(fields.Unsigned(layout->mULChannelAt, 4));
    info.mDLBandwidthMHz = static_cast<double>(fields.Unsigned(layout->mDLBandwidthAt, 2));
    info.mULBandwidthMHz = static_cast<double>(fields.Unsigned(layout->mULBandwidthAt, 2));
    info.mBand = static_cast<uint16_t>(fields.Unsigned(layout->mBandAt, 2));
    info.mFields |= CELL_HAS_DL_CHANNEL | CELL_HAS_UL_CHANNEL | CELL_HAS_DL_BANDWIDTH |
                    CELL_HAS_UL_BANDWIDTH | CELL_HAS_BAND;
    SetFieldBelow(fields.Unsigned(layout->mIdentityAt, 8), kNCILimit, CELL_HAS_IDENTITY, info.mIdentity, info,
                  out);
    SetFieldBelow(fields.Unsigned(layout->mTACAt, 4), kTACLimit, CELL_HAS_AREA, info.mArea, info, out);
    SetPLMN(fields.Unsigned(layout->mMCCAt, 2), fields.Unsigned(layout->mMNCAt, 2),
            fields.Unsigned(layout->mMNCDigitsAt, 1), info, out);
    out.mKind = MEAS_KIND_SERVING_CELL;
    out.mTechnology = RADIO_NR;
    return MEAS_OK;
}
