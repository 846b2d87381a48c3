// NR serving cell beam management (0xB975): the serving cell's filtered levels and its beams. One layout is
// published, version 2.1 (u16 minor, u16 major at B+0): u16 PCI B+4, i32 filtered RSRP B+12 and RSRQ B+16
// (/128; 0: not measured), u8 number of beams B+36, then 16-byte beam records from B+40. The beams give
// per-beam levels of the same cell, so the log yields one measured cell; their records must lie inside
// the payload all the same.
#include "meas/MeasFamilies.h"

namespace {

struct sServingBeamsLayout {
    uint32_t mVersion;
    uint8_t mPCIAt;
    uint8_t mRSRPAt;
    uint8_t mRSRQAt;
    uint8_t mBeamCountAt;
    uint8_t mFirstBeamAt;
    uint8_t mBeamSize;
};

const sServingBeamsLayout kLayouts[] = {
    {0x00020001, 4, 12, 16, 36, 40, 16},
};

const size_t kVersionSize = 4;

}  // namespace

eMeasStatus ExtractNRServingBeams(const sMeasPayload& payload, sMeasLog& out) {
    cPayloadFields fields(payload);
    out.mLogVersion = static_cast<uint32_t>(fields.Unsigned(0, kVersionSize));
    if (!fields.Inside()) {
        return MEAS_BAD_LENGTH;
    }
    const sServingBeamsLayout* layout = FindLayout(kLayouts, out.mLogVersion);
    if (layout == nullptr) {
        return MEAS_UNSUPPORTED_VERSION;
    }
    const uint64_t pci = fields.Unsigned(layout->mPCIAt, 2);
    const int64_t rsrp = fields.Signed(layout->mRSRPAt, 4);
    const int64_t rsrq = fields.Signed(layout->mRSRQAt, 4);
    const uint64_t beams = fields.Unsigned(layout->mBeamCountAt, 1);
    if (!fields.Inside() || !Fits(payload, layout->mFirstBeamAt, beams * layout->mBeamSize)) {
        return MEAS_BAD_LENGTH;
    }
    sMeasuredCell* cell = AddCell(out, RADIO_NR);
    cell->mServing = true;
    cell->mHasCell = SetCellInRange(pci, kNRMaxPCI, cell->mCell, out);
    SetNRLevel(rsrp, kNRRSRP, cell->mRSRP, out);
    SetNRLevel(rsrq, kNRRSRQ, cell->mRSRQ, out);
    out.mKind = MEAS_KIND_MEASUREMENT;
    out.mTechnology = RADIO_NR;
    return MEAS_OK;
}
