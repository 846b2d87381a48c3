// GSM layer-1 received levels, one layout each and no version byte; Rx power is i16 in 1/16 dBm.
//   0x5071 surround cell BA list: u8 count, then 12-byte records: u16 ARFCN (bits 0..11) and band
//     (12..15), i16 Rx power, u8 BSIC valid, u8 BSIC (bits 0..2 BCC, 3..5 NCC), u32 frame number offset,
//     u16 time offset.
//   0x507A serving cell: i16 Rx power, u8 SNR-bad flag.
//   0x507B neighbour cells: u8 count, then 4-byte records: u16 ARFCN and band, i16 Rx power.
// The one published BA list has -110.0 dBm for all ten cells, likely a floor for "not yet measured", but
// nothing says so: the value is kept as the log gives it.
#include "meas/MeasFamilies.h"

namespace {

const uint16_t kServingCode = 0x507A;
const double kRxPowerScale = 16;

// The records of a list after its u8 count.
struct sListLayout {
    uint16_t mCode;
    uint8_t mRecordSize;
    uint8_t mRxPowerAt;
    bool mBSIC;  // u8 BSIC valid at R+4, u8 BSIC at R+5
};

const sListLayout kLists[] = {
    {0x5071, 12, 2, true},
    {0x507B, 4, 2, false},
};

const size_t kCountAt = 0;
const size_t kFirstRecordAt = 1;
const size_t kARFCNAt = 0;
const size_t kBSICValidAt = 4;
const size_t kBSICAt = 5;

void SetRxPower(int64_t raw, sMeasuredCell& cell, sMeasLog& out) {
    SetInRange(static_cast<double>(raw) / kRxPowerScale, kGSMRxLev, cell.mRxLev, out);
}

eMeasStatus ReadServing(const sMeasPayload& payload, sMeasLog& out) {
    int64_t raw = 0;
    if (!ReadSigned(payload, 0, 2, raw)) {
        return MEAS_BAD_LENGTH;
    }
    sMeasuredCell* cell = AddCell(out, RADIO_GSM);
    cell->mServing = true;
    SetRxPower(raw, *cell, out);
    return MEAS_OK;
}

eMeasStatus ReadList(const sMeasPayload& payload, const sListLayout& layout, sMeasLog& out) {
    uint64_t count = 0;
    if (!ReadUnsigned(payload, kCountAt, 1, count) ||
        !Fits(payload, kFirstRecordAt, count * layout.mRecordSize)) {
        return MEAS_BAD_LENGTH;
    }
    cPayloadFields fields(payload);
    for (size_t i = 0; i < count; ++i) {
        sMeasuredCell* cell = AddCell(out, RADIO_GSM);
        if (cell == nullptr) {
            continue;
        }
        const size_t at = kFirstRecordAt + i * layout.mRecordSize;
        cell->mHasChannel = true;
        cell->mChannel = Bits(fields.Unsigned(at + kARFCNAt, 2), 0, 11);
        SetRxPower(fields.Signed(at + layout.mRxPowerAt, 2), *cell, out);
        if (layout.mBSIC && fields.Unsigned(at + kBSICValidAt, 1) != 0) {
            // Bits 0..2 BCC and 3..5 NCC make NCC * 8 + BCC; set bits above are out of range.
            cell->mHasCell = SetCellInRange(fields.Unsigned(at + kBSICAt, 1), kGSMMaxBSIC, cell->mCell, out);
        }
    }
    return MEAS_OK;
}

// The serving level or the list the code carries.
eMeasStatus ReadLevels(const sMeasPayload& payload, sMeasLog& out) {
    eMeasStatus status = MEAS_UNSUPPORTED_VERSION;
    if (payload.mCode == kServingCode) {
        status = ReadServing(payload, out);
    }
    for (const sListLayout& list : kLists) {
        status = list.mCode == payload.mCode ? ReadList(payload, list, out) : status;
    }
    out.mKind = MEAS_KIND_MEASUREMENT;
    out.mTechnology = RADIO_GSM;
    return status;
}

}  // namespace

eMeasStatus ExtractGSMSurroundCells(const sMeasPayload& payload, sMeasLog& out) {
    return ReadLevels(payload, out);
}

eMeasStatus ExtractGSMAuxMeasurements(const sMeasPayload& payload, sMeasLog& out) {
    return ReadLevels(payload, out);
}
