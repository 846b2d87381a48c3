// GSM RR cell reselection measurements (0x51FC): the serving cell's and up to 6 neighbours' averaged
// RxLev, one layout and no version byte. Serving part, 26 bytes: u16 BCCH ARFCN (bits 0..11) and band
// (12..15), u16 PBCCH ARFCN, u8 priority class, u8 RxLev average B+5, u32 C1, C2, C31, C32, u8 5-second
// timer, u8 barred, u8 reselected in the last 15 s, u8 number of neighbours B+25. Each neighbour, 25 bytes
// from B+26: the same up to C32, then u8 timer, u8 barred, u8 same routing area. RxLev is raw - 110.5 dBm
// (the middle of the 1 dB step the raw level stands for).
#include "meas/MeasFamilies.h"

namespace {

const size_t kARFCNAt = 0;
const size_t kRxLevAt = 5;
const size_t kNeighbourCountAt = 25;
const size_t kFirstNeighbourAt = 26;
const size_t kNeighbourSize = 25;
const uint64_t kMaxNeighbours = 6;
const double kRxLevOffset = -110.5;

void ReadCell(cPayloadFields& fields, size_t at, bool serving, sMeasLog& out) {
    sMeasuredCell* cell = AddCell(out, RADIO_GSM);
    if (cell == nullptr) {
        return;
    }
    cell->mServing = serving;
    cell->mHasChannel = true;
    cell->mChannel = Bits(fields.Unsigned(at + kARFCNAt, 2), 0, 11);
    SetInRange(static_cast<double>(fields.Unsigned(at + kRxLevAt, 1)) + kRxLevOffset, kGSMRxLev, cell->mRxLev,
               out);
}

}  // namespace

eMeasStatus ExtractGSMReselection(const sMeasPayload& payload, sMeasLog& out) {
    uint64_t neighbours = 0;
    if (!ReadUnsigned(payload, kNeighbourCountAt, 1, neighbours) || neighbours > kMaxNeighbours ||
        !Fits(payload, kFirstNeighbourAt, neighbours * kNeighbourSize)) {
        return MEAS_BAD_LENGTH;
    }
    cPayloadFields fields(payload);
    ReadCell(fields, 0, true, out);
    for (size_t i = 0; i < neighbours; ++i) {
        ReadCell(fields, kFirstNeighbourAt + i * kNeighbourSize, false, out);
    }
    out.mKind = MEAS_KIND_MEASUREMENT;
    out.mTechnology = RADIO_GSM;
    return MEAS_OK;
}
