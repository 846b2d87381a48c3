// Inside the LTE family readers: bit fields of little-endian words as layout tables name them, the
// conversions of LTE measurement fields to dBm and dB, the measured-cell slots of a record, and the
// subpacket envelope that 0xB193, 0xB192, 0xB195 and 0xB188 share. Not part of the library's interface.
#pragma once

#include <cstddef>
#include <cstdint>

#include "meas/MeasFamilies.h"

// Bits mFirst..mLast of the little-endian word of mBytes bytes (2 or 4) at mOffset of a record. A layout
// that lacks the field has mBytes 0.
struct sLTEField {
    uint16_t mOffset;
    uint8_t mBytes;
    uint8_t mFirst;
    uint8_t mLast;
};

constexpr sLTEField W16(uint16_t offset, uint8_t first, uint8_t last) {
    return sLTEField{offset, 2, first, last};
}
constexpr sLTEField W32(uint16_t offset, uint8_t first, uint8_t last) {
    return sLTEField{offset, 4, first, last};
}

// The field of the record at `base`; false when the layout lacks it or it does not lie inside the payload.
inline bool ReadField(const sMeasPayload& payload, size_t base, const sLTEField& field, uint32_t& raw) {
    const size_t at = base + field.mOffset;
    if (field.mBytes == 0 || !Fits(payload, at, field.mBytes)) {
        return false;
    }
    const unsigned char* p = payload.mData + at;
    uint32_t word = p[0] | static_cast<uint32_t>(p[1]) << 8;
    if (field.mBytes == 4) {
        word |= static_cast<uint32_t>(p[2]) << 16 | static_cast<uint32_t>(p[3]) << 24;
    }
    raw = Bits(word, field.mFirst, field.mLast);
    return true;
}

// LTE measurement fields. A raw 0 of RSRP, RSRQ and RSSI means "not measured" (or a receive chain that is
// off): the value stays NaN and is not counted. Any other raw value outside the physical range is counted.
// `raw` is signed for the 16-bit fields of 0xB179; `rawOffset` is the +640 of the combined RSRP of the
// 4-receive-chain layouts of 0xB193 (stored 40 dB down).
inline void SetLTERSRP(int64_t raw, int64_t rawOffset, double& value, sMeasLog& log) {
    if (raw != 0) {
        SetInRange(static_cast<double>(raw + rawOffset) / 16 - 180, kLTERSRP, value, log);
    }
}
inline void SetLTERSRQ(int64_t raw, double& value, sMeasLog& log) {
    if (raw != 0) {
        SetInRange(static_cast<double>(raw) / 16 - 30, kLTERSRQ, value, log);
    }
}
inline void SetLTERSSI(int64_t raw, double& value, sMeasLog& log) {
    if (raw != 0) {
        SetInRange(static_cast<double>(raw) / 16 - 110, kLTERSSI, value, log);
    }
}
// The FTL SNR of a receive chain, raw/10 - 20 dB. Raw 0 is a value here (the -20 dB floor): in the real
// captures it comes with projected SIRs of -14 to -22 dB and RSRQs near -27 dB, not with chains that are off.
inline double LTESNR(uint32_t raw) {
    // One division last: the double nearest to the tenths (raw 291: 9.1, where raw/10 - 20
    // gives 9.100000000000001).
    return (static_cast<double>(raw) - 200) / 10;
}

// An LTE physical cell id: set with mHasCell when it is a valid id (0..503), else counted.
inline void SetLTECell(uint64_t pci, sMeasuredCell& cell, sMeasLog& log) {
    cell.mHasCell = SetCellInRange(pci, kLTEMaxPCI, cell.mCell, log);
}

// The next measured cell of the record (AddCell) on `channel`; null when the record is full.
inline sMeasuredCell* NewCell(sMeasLog& log, eRadioTechnology technology, uint32_t channel) {
    sMeasuredCell* cell = AddCell(log, technology);
    if (cell != nullptr) {
        cell->mChannel = channel;
        cell->mHasChannel = true;
    }
    return cell;
}

// One subpacket of the envelope: its id, version and payload (after its 4-byte header; inside the body).
struct sLTESubpacket {
    uint8_t mId;
    uint8_t mVersion;
    sMeasPayload mPayload;
};

// The envelope of 0xB193 and its kin: u8 version (1), u8 number of subpackets, u16 reserved, then the
// subpackets, each u8 id, u8 version, u16 size including that 4-byte header. Hands each subpacket to
// `visit` (a callable taking const sLTESubpacket& and returning MEAS_OK to go on) and returns the first
// status other than MEAS_OK: MEAS_UNSUPPORTED_VERSION for an envelope version other than 1 (then in
// out.mLogVersion), MEAS_BAD_LENGTH for a subpacket that is cut or whose size does not advance.
template <typename fVisit>
eMeasStatus WalkLTESubpackets(const sMeasPayload& body, sMeasLog& out, fVisit visit) {
    const size_t kEnvelopeSize = 4;
    const size_t kHeaderSize = 4;
    if (!Fits(body, 0, kEnvelopeSize)) {
        return MEAS_BAD_LENGTH;
    }
    if (body.mData[0] != 1) {
        out.mLogVersion = body.mData[0];
        return MEAS_UNSUPPORTED_VERSION;
    }
    const unsigned int count = body.mData[1];
    size_t offset = kEnvelopeSize;
    for (unsigned int i = 0; i < count; ++i) {
        uint64_t id = 0;
        uint64_t subVersion = 0;
        uint64_t size = 0;
        if (!ReadUnsigned(body, offset, 1, id) || !ReadUnsigned(body, offset + 1, 1, subVersion) ||
            !ReadUnsigned(body, offset + 2, 2, size) || size < kHeaderSize || !Fits(body, offset, size)) {
            return MEAS_BAD_LENGTH;
        }
        const sLTESubpacket subpacket = {static_cast<uint8_t>(id),
                                         static_cast<uint8_t>(subVersion),
                                         {body.mData + offset + kHeaderSize, size - kHeaderSize, body.mCode}};
        const eMeasStatus status = visit(subpacket);
        if (status != MEAS_OK) {
            return status;
        }
        offset += size;
    }
    return MEAS_OK;
}

// The body's version byte (B+0) into out.mLogVersion and its row of `layouts`: MEAS_BAD_LENGTH for an empty
// body, MEAS_UNSUPPORTED_VERSION for a version no row describes.
template <typename tLayout, size_t n>
eMeasStatus BodyLayout(const sMeasPayload& payload, const tLayout (&layouts)[n], sMeasLog& out,
                       const tLayout*& layout) {
    if (payload.mSize == 0) {
        return MEAS_BAD_LENGTH;
    }
    out.mLogVersion = payload.mData[0];
    layout = FindLayout(layouts, out.mLogVersion);
    return layout != nullptr ? MEAS_OK : MEAS_UNSUPPORTED_VERSION;
}
