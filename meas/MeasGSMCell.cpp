// GSM RR cell information (0x5134; 0x5B34 is the dual-SIM variant with a u8 subscription in front): the
// serving cell's identity, 13 bytes from the layout's start A:
//   A+0 u16 BCCH ARFCN (bits 0..11) and band code (12..15), A+2 NCC, A+3 BCC, A+4 u16 cell identity,
//   A+6 the location area identity as on the air: 3 bytes of BCD MCC and MNC, then the LAC big-endian,
//   A+11 cell selection priority, A+12 NCC-permitted bitmap.
// The band code is not a band number, so the records leave the band out.
#include "meas/MeasFamilies.h"

namespace {

struct sCellLayout {
    uint16_t mCode;
    bool mSubscription;  // a u8 subscription at B+0
    uint8_t mStart;      // A
};

const sCellLayout kLayouts[] = {
    {0x5134, false, 0},
    {0x5B34, true, 1},
};

const size_t kARFCNAt = 0;
// The two BSIC bytes: the decoders disagree on their order and the one published packet (4, 1) fits both.
// Read NCC first, the order in which the synchronisation channel and every 3GPP message carry the BSIC.
const size_t kNCCAt = 2;
const size_t kBCCAt = 3;
const size_t kIdentityAt = 4;
const size_t kPLMNAt = 6;
const size_t kLACAt = 9;
const size_t kSize = 13;
const uint64_t kMaxColourCode = 7;
const uint64_t kBCDFiller = 0x0F;

// MCC and MNC of the 3 BCD bytes of a location area identity: MCC digit 2|1, MNC digit 3|MCC digit 3, MNC
// digit 2|1 (high nibble|low nibble); an MNC digit 3 of 0xF means a 2-digit MNC.
void SetBCDPLMN(cPayloadFields& fields, size_t at, sCellInfo& info, sMeasLog& out) {
    uint64_t digit[6];
    for (size_t i = 0; i < 3; ++i) {
        const uint64_t byte = fields.Unsigned(at + i, 1);
        digit[2 * i] = byte & 0x0F;
        digit[2 * i + 1] = byte >> 4;
    }
    // digit: MCC1, MCC2, MCC3, MNC3, MNC1, MNC2
    const bool twoDigits = digit[3] == kBCDFiller;
    for (size_t i = 0; i < 6; ++i) {
        if (digit[i] > 9 && !(i == 3 && twoDigits)) {
            ++out.mOutOfRange;
            return;
        }
    }
    const uint64_t mcc = digit[0] * 100 + digit[1] * 10 + digit[2];
    const uint64_t mnc = twoDigits ? digit[4] * 10 + digit[5] : digit[4] * 100 + digit[5] * 10 + digit[3];
    SetPLMN(mcc, mnc, twoDigits ? 2 : 3, info, out);
}

}  // namespace

eMeasStatus ExtractGSMCellInfo(const sMeasPayload& payload, sMeasLog& out) {
    const sCellLayout* layout = nullptr;
    for (const sCellLayout& row : kLayouts) {
        layout = row.mCode == payload.mCode ? &row : layout;
    }
    if (layout == nullptr) {
        return MEAS_UNSUPPORTED_VERSION;
    }
    if (!Fits(payload, layout->mStart, kSize)) {
        return MEAS_BAD_LENGTH;
    }
    cPayloadFields fields(payload);
    if (layout->mSubscription) {
        // 0 is the first SIM, as the wrapper-less logs of single-SIM handsets say.
        const uint64_t subscription = fields.Unsigned(0, 1);
        out.mSubscription = subscription == 0 ? 1 : static_cast<uint32_t>(subscription);
    }
    const size_t at = layout->mStart;
    sCellInfo& info = out.mCellInfo;
    info.mDLChannel = Bits(fields.Unsigned(at + kARFCNAt, 2), 0, 11);
    info.mIdentity = fields.Unsigned(at + kIdentityAt, 2);
    const uint64_t lac = fields.Unsigned(at + kLACAt, 1) << 8 | fields.Unsigned(at + kLACAt + 1, 1);
    info.mArea = static_cast<uint32_t>(lac);
    info.mFields |= CELL_HAS_DL_CHANNEL | CELL_HAS_IDENTITY | CELL_HAS_AREA;
    const uint64_t ncc = fields.Unsigned(at + kNCCAt, 1);
    const uint64_t bcc = fields.Unsigned(at + kBCCAt, 1);
    const uint64_t bsic = ncc <= kMaxColourCode && bcc <= kMaxColourCode ? ncc * 8 + bcc : kGSMMaxBSIC + 1;
    if (SetCellInRange(bsic, kGSMMaxBSIC, info.mCell, out)) {
        info.mFields |= CELL_HAS_CELL;
    }
    SetBCDPLMN(fields, at + kPLMNAt, info, out);
    out.mKind = MEAS_KIND_SERVING_CELL;
    out.mTechnology = RADIO_GSM;
    return MEAS_OK;
}
