// WCDMA search cell reselection rank (0x4005): the WCDMA and GSM cells ranked for reselection, with the
// WCDMA cells' RSCP and Ec/Io. B+0 holds the version in bits 6..7 and the number of WCDMA cells in bits
// 0..5, B+1 the number of GSM cells in bits 0..5; the WCDMA records follow from B+2 (B+7 in version 2,
// which adds 5 header bytes), then the GSM records:
//
//   version  cells at  WCDMA record  GSM record
//   0        B+2       10 bytes      7 bytes
//   1        B+2       11 bytes      8 bytes
//   2        B+7       16 bytes      13 bytes
//
// WCDMA record: u16 UARFCN C+0, u16 PSC C+2, i8 RSCP C+4 (v - 21 dBm), i16 rank, i8 Ec/Io C+7 (v/2 dB),
// i16 rank, then version 1's status byte and version 2's HCS fields. GSM record: u16 ARFCN C+0 (bits
// 0..11), u16 BSIC C+2, i8 RSSI C+4, i16 rank, then the later versions' fields. No conversion of that GSM
// RSSI is published, so it is not reported: the GSM cells give their channel and BSIC only.
//
// One decoder reads the whole of B+0 as the WCDMA count, without a version. The published version 2
// packet (`82 00`, two WCDMA cells in 2 + 5 + 2 * 16 bytes) fits only the version in the top bits.
#include "meas/MeasFamilies.h"

namespace {

struct sReselectionLayout {
    uint32_t mVersion;
    uint8_t mCellsAt;
    uint8_t mWCDMASize;
    uint8_t mGSMSize;
};

const sReselectionLayout kLayouts[] = {
    {0, 2, 10, 7},
    {1, 2, 11, 8},
    {2, 7, 16, 13},
};

const size_t kWCDMACountAt = 0;
const size_t kGSMCountAt = 1;
const unsigned int kVersionFirstBit = 6;
const size_t kUARFCNAt = 0;
const size_t kPSCAt = 2;
const size_t kRSCPAt = 4;
const size_t kEcIoAt = 7;
const int kRSCPOffset = -21;
const double kEcIoScale = 2;
const size_t kARFCNAt = 0;
const size_t kBSICAt = 2;

void ReadWCDMACell(cPayloadFields& fields, size_t at, sMeasuredCell& cell, sMeasLog& out) {
    cell.mHasChannel = true;
    cell.mChannel = static_cast<uint32_t>(fields.Unsigned(at + kUARFCNAt, 2));
    cell.mHasCell = SetCellInRange(fields.Unsigned(at + kPSCAt, 2), kWCDMAMaxPSC, cell.mCell, out);
    SetInRange(static_cast<double>(fields.Signed(at + kRSCPAt, 1) + kRSCPOffset), kWCDMARSCP, cell.mRSCP,
               out);
    SetInRange(static_cast<double>(fields.Signed(at + kEcIoAt, 1)) / kEcIoScale, kWCDMAEcIo, cell.mEcIo, out);
}

void ReadGSMCell(cPayloadFields& fields, size_t at, sMeasuredCell& cell, sMeasLog& out) {
    cell.mHasChannel = true;
    cell.mChannel = Bits(fields.Unsigned(at + kARFCNAt, 2), 0, 11);
    cell.mHasCell = SetCellInRange(fields.Unsigned(at + kBSICAt, 2), kGSMMaxBSIC, cell.mCell, out);
}

}  // namespace

eMeasStatus ExtractWCDMAReselectionRank(const sMeasPayload& payload, sMeasLog& out) {
    cPayloadFields fields(payload);
    const uint64_t wcdmaByte = fields.Unsigned(kWCDMACountAt, 1);
    const uint64_t gsmByte = fields.Unsigned(kGSMCountAt, 1);
    if (!fields.Inside()) {
        return MEAS_BAD_LENGTH;
    }
    out.mLogVersion = Bits(wcdmaByte, kVersionFirstBit, 7);
    const sReselectionLayout* layout = FindLayout(kLayouts, out.mLogVersion);
    if (layout == nullptr) {
        return MEAS_UNSUPPORTED_VERSION;
    }
    const size_t wcdmaCells = Bits(wcdmaByte, 0, 5);
    const size_t gsmCells = Bits(gsmByte, 0, 5);
    const size_t gsmAt = layout->mCellsAt + wcdmaCells * layout->mWCDMASize;
    if (!Fits(payload, gsmAt, gsmCells * layout->mGSMSize)) {
        return MEAS_BAD_LENGTH;
    }
    for (size_t i = 0; i < wcdmaCells + gsmCells; ++i) {
        const bool wcdma = i < wcdmaCells;
        sMeasuredCell* cell = AddCell(out, wcdma ? RADIO_WCDMA : RADIO_GSM);
        if (cell == nullptr) {
            continue;
        }
        if (wcdma) {
            ReadWCDMACell(fields, layout->mCellsAt + i * layout->mWCDMASize, *cell, out);
        } else {
            ReadGSMCell(fields, gsmAt + (i - wcdmaCells) * layout->mGSMSize, *cell, out);
        }
    }
    out.mKind = MEAS_KIND_MEASUREMENT;
    out.mTechnology = RADIO_WCDMA;
    return MEAS_OK;
}
