// WCDMA RRC cell ID (0x4127): the serving cell's identity, one layout of 32 bytes and no version byte.
//   B+0 u32 UL UARFCN, B+4 u32 DL UARFCN, B+8 u32 cell identity (28-bit UC-Id), B+12 URA ID, B+14 flags,
//   B+15 allowed call access, B+16 u16 PSC word, B+18 MCC (3 bytes, one decimal digit each), B+21 MNC
//   (3 bytes, one digit each; 0x0F in the third: a 2-digit MNC), B+24 u32 LAC, B+28 u32 RAC.
#include "meas/MeasFamilies.h"

namespace {

const size_t kULChannelAt = 0;
const size_t kDLChannelAt = 4;
const size_t kIdentityAt = 8;
const size_t kPSCAt = 16;
const size_t kMCCAt = 18;
const size_t kMNCAt = 21;
const size_t kLACAt = 24;
const size_t kSize = 32;

// The scrambling code sits above 4 low bits: the one published packet holds 0x18D0, which is PSC 397
// shifted; one decoder takes the raw word, which would be 6352, outside 0..511.
const unsigned int kPSCShift = 4;
const uint64_t kIdentityLimit = uint64_t(1) << 28;
const uint64_t kLACLimit = uint64_t(1) << 16;
const uint64_t kNoThirdDigit = 0x0F;

// Three bytes of one decimal digit each as a number and its digit count (2 when the third is the filler).
bool ReadDigits(cPayloadFields& fields, size_t at, bool mayHaveTwo, uint64_t& value, uint64_t& digits) {
    value = 0;
    digits = 0;
    for (size_t i = 0; i < 3; ++i) {
        const uint64_t digit = fields.Unsigned(at + i, 1);
        if (i == 2 && mayHaveTwo && digit == kNoThirdDigit) {
            break;
        }
        if (digit > 9) {
            return false;
        }
        value = value * 10 + digit;
        ++digits;
    }
    return true;
}

}  // namespace

eMeasStatus ExtractWCDMACellId(const sMeasPayload& payload, sMeasLog& out) {
    if (payload.mSize < kSize) {
        return MEAS_BAD_LENGTH;
    }
    cPayloadFields fields(payload);
    sCellInfo& info = out.mCellInfo;
    info.mULChannel = static_cast<uint32_t>(fields.Unsigned(kULChannelAt, 4));
    info.mDLChannel = static_cast<uint32_t>(fields.Unsigned(kDLChannelAt, 4));
    info.mFields |= CELL_HAS_DL_CHANNEL | CELL_HAS_UL_CHANNEL;
    if (SetCellInRange(fields.Unsigned(kPSCAt, 2) >> kPSCShift, kWCDMAMaxPSC, info.mCell, out)) {
        info.mFields |= CELL_HAS_CELL;
    }
    SetFieldBelow(fields.Unsigned(kIdentityAt, 4), kIdentityLimit, CELL_HAS_IDENTITY, info.mIdentity, info,
                  out);
    SetFieldBelow(fields.Unsigned(kLACAt, 4), kLACLimit, CELL_HAS_AREA, info.mArea, info, out);
    uint64_t mcc = 0, mccDigits = 0, mnc = 0, mncDigits = 0;
    if (ReadDigits(fields, kMCCAt, false, mcc, mccDigits) &&
        ReadDigits(fields, kMNCAt, true, mnc, mncDigits)) {
        SetPLMN(mcc, mnc, mncDigits, info, out);
    } else {
        ++out.mOutOfRange;
    }
    out.mKind = MEAS_KIND_SERVING_CELL;
    out.mTechnology = RADIO_WCDMA;
    return MEAS_OK;
}
