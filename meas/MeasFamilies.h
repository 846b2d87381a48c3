// Inside the measurement extractor: the payload of one log packet, the bounds-checked field readers every
// family uses, the physical ranges values are checked against, and the readers of the log families (one
// file per family). Not part of the library's interface.
#pragma once

#include <cmath>
#include <cstddef>
#include <cstdint>

#include "meas/MeasExtractor.h"

// The body of a log packet (after its 16-byte header) and its log code. Not owned.
struct sMeasPayload {
    const unsigned char* mData;
    size_t mSize;
    uint16_t mCode;
};

// The little-endian unsigned field of `width` bytes (1 to 8) at `offset`; false when it does not lie
// inside the payload.
inline bool ReadUnsigned(const sMeasPayload& payload, size_t offset, unsigned int width, uint64_t& value) {
    if (width == 0 || width > 8 || offset > payload.mSize || payload.mSize - offset < width) {
        return false;
    }
    value = 0;
    for (unsigned int i = 0; i < width; ++i) {
        value |= static_cast<uint64_t>(payload.mData[offset + i]) << (8 * i);
    }
    return true;
}

// The same, sign-extended from `width` bytes.
inline bool ReadSigned(const sMeasPayload& payload, size_t offset, unsigned int width, int64_t& value) {
    uint64_t raw = 0;
    if (!ReadUnsigned(payload, offset, width, raw)) {
        return false;
    }
    const unsigned int shift = 64 - 8 * width;
    value = static_cast<int64_t>(raw << shift) >> shift;
    return true;
}

// Bits first..last (inclusive, bit 0 the least significant) of a word.
inline uint32_t Bits(uint64_t word, unsigned int first, unsigned int last) {
    return static_cast<uint32_t>((word >> first) & ((uint64_t(1) << (last - first + 1)) - 1));
}

// True when `size` bytes from `offset` lie inside the payload.
inline bool Fits(const sMeasPayload& payload, size_t offset, size_t size) {
    return offset <= payload.mSize && payload.mSize - offset >= size;
}

// Physical ranges (3GPP reporting ranges, widened where a log reports finer or further): a value outside
// its range is left out and counted, never clamped.
struct sRange {
    double mLow;
    double mHigh;
};
const sRange kLTERSRP = {-144, -44};
const sRange kLTERSRQ = {-34, 2.5};
const sRange kLTERSSI = {-130, 0};
const sRange kSINR = {-23, 40};
const sRange kNRRSRP = {-156, -31};
const sRange kNRRSRQ = {-43, 20};
const sRange kWCDMARSCP = {-120, -25};
const sRange kWCDMAEcIo = {-24, 0};
const sRange kGSMRxLev = {-125, -20};
const uint32_t kLTEMaxPCI = 503;
const uint32_t kNRMaxPCI = 1007;
const uint32_t kWCDMAMaxPSC = 511;
const uint32_t kGSMMaxBSIC = 63;

// `value` is set to `x` when it lies inside `range`; otherwise it stays NaN and the record counts it.
inline void SetInRange(double x, const sRange& range, double& value, sMeasLog& log) {
    if (x >= range.mLow && x <= range.mHigh) {
        value = x;
    } else {
        ++log.mOutOfRange;
    }
}

// A cell id (PCI, PSC, BSIC) into `cell` when it is at most `max`; otherwise left out and counted. True
// when set.
inline bool SetCellInRange(uint64_t value, uint32_t max, uint16_t& cell, sMeasLog& log) {
    if (value > max) {
        ++log.mOutOfRange;
        return false;
    }
    cell = static_cast<uint16_t>(value);
    return true;
}

// MCC and MNC into `info` when they are numbers of three and `mncDigits` (2 or 3) digits; otherwise the
// PLMN is left out and counted.
inline void SetPLMN(uint64_t mcc, uint64_t mnc, uint64_t mncDigits, sCellInfo& info, sMeasLog& log) {
    if (mcc > 999 || (mncDigits != 2 && mncDigits != 3) || mnc >= (mncDigits == 2 ? 100u : 1000u)) {
        ++log.mOutOfRange;
        return;
    }
    info.mMCC = static_cast<uint16_t>(mcc);
    info.mMNC = static_cast<uint16_t>(mnc);
    info.mMNCDigits = static_cast<uint8_t>(mncDigits);
    info.mFields |= CELL_HAS_PLMN;
}

// `value` into the cell-information field `field`, with its CELL_HAS_* bit, when below `limit` (a 28-bit
// cell identity, a 16-bit LAC, ...); otherwise left out and counted.
template <typename Field>
void SetFieldBelow(uint64_t value, uint64_t limit, uint32_t bit, Field& field, sCellInfo& info,
                   sMeasLog& log) {
    if (value >= limit) {
        ++log.mOutOfRange;
        return;
    }
    field = static_cast<Field>(value);
    info.mFields |= bit;
}

// The next measured cell of `log`, with nothing measured yet; null when the record is full, and the cell
// is then counted in mCellsDropped.
inline sMeasuredCell* AddCell(sMeasLog& log, eRadioTechnology technology) {
    if (log.mCellCount == kMeasMaxCells) {
        ++log.mCellsDropped;
        return nullptr;
    }
    sMeasuredCell& cell = log.mCells[log.mCellCount++];
    cell = sMeasuredCell();
    cell.mTechnology = technology;
    return &cell;
}

// An NR RSRP or RSRQ (i32 in 1/128 dBm or dB, 0: not measured) into `value` when inside `range`. Every
// version, the oldest too, is read exactly: a linear approximation one decoder uses for 0xB97F 2.6 differs
// from /128 by 0.16 dB at -100 dBm, with nothing to support it.
inline void SetNRLevel(int64_t raw, const sRange& range, double& value, sMeasLog& log) {
    if (raw != 0) {
        SetInRange(static_cast<double>(raw) / 128, range, value, log);
    }
}

// The row of a layout table for `version` (rows start with uint32_t mVersion); null when none.
template <typename Row, size_t N>
const Row* FindLayout(const Row (&table)[N], uint64_t version) {
    for (const Row& row : table) {
        if (row.mVersion == version) {
            return &row;
        }
    }
    return nullptr;
}

// Reads the fields of one layout in a row and remembers whether any lay outside the payload (those read
// 0), so that a reader checks once, after its reads, that the payload held them all.
class cPayloadFields {
public:
    explicit cPayloadFields(const sMeasPayload& payload) : mPayload(payload) {}
    uint64_t Unsigned(size_t offset, unsigned int width) {
        uint64_t value = 0;
        mInside = ReadUnsigned(mPayload, offset, width, value) && mInside;
        return value;
    }
    int64_t Signed(size_t offset, unsigned int width) {
        int64_t value = 0;
        mInside = ReadSigned(mPayload, offset, width, value) && mInside;
        return value;
    }
    bool Inside() const { return mInside; }

private:
    const sMeasPayload& mPayload;
    bool mInside = true;
};

// The family readers. Each fills `out` (whose log code, timestamp and subscription are already set) from
// the body of a log of one of its codes and returns the status; all share one signature so that the
// extractor's code table can point at them.
using fMeasFamily = eMeasStatus (*)(const sMeasPayload& payload, sMeasLog& out);

// LTE (MeasLTECell.cpp, MeasLTEServing.cpp, MeasLTENeighbour.cpp).
eMeasStatus ExtractLTEMIB(const sMeasPayload& payload, sMeasLog& out);                  // 0xB0C1
eMeasStatus ExtractLTEServingCellInfo(const sMeasPayload& payload, sMeasLog& out);      // 0xB0C2
eMeasStatus ExtractLTEML1CellInfo(const sMeasPayload& payload, sMeasLog& out);          // 0xB197
eMeasStatus ExtractLTEServingMeasurement(const sMeasPayload& payload, sMeasLog& out);   // 0xB193
eMeasStatus ExtractLTEIdleServing(const sMeasPayload& payload, sMeasLog& out);          // 0xB17F
eMeasStatus ExtractLTEIdleNeighbours(const sMeasPayload& payload, sMeasLog& out);       // 0xB180
eMeasStatus ExtractLTENeighbourSubpackets(const sMeasPayload& payload, sMeasLog& out);  // 0xB192, 0xB195
eMeasStatus ExtractLTEIntraFrequency(const sMeasPayload& payload, sMeasLog& out);       // 0xB179
eMeasStatus ExtractLTEWCDMANeighbours(const sMeasPayload& payload, sMeasLog& out);      // 0xB188
// NR (MeasNR.cpp).
eMeasStatus ExtractNRSearcher(const sMeasPayload& payload, sMeasLog& out);         // 0xB97F
eMeasStatus ExtractNRServingBeams(const sMeasPayload& payload, sMeasLog& out);     // 0xB975
eMeasStatus ExtractNRMIB(const sMeasPayload& payload, sMeasLog& out);              // 0xB822
eMeasStatus ExtractNRServingCellInfo(const sMeasPayload& payload, sMeasLog& out);  // 0xB823
// WCDMA (MeasWCDMA.cpp).
eMeasStatus ExtractWCDMACellId(const sMeasPayload& payload, sMeasLog& out);           // 0x4127
eMeasStatus ExtractWCDMAReselectionRank(const sMeasPayload& payload, sMeasLog& out);  // 0x4005
eMeasStatus ExtractWCDMARRCState(const sMeasPayload& payload, sMeasLog& out);         // 0x4125
// GSM (MeasGSM.cpp).
eMeasStatus ExtractGSMCellInfo(const sMeasPayload& payload, sMeasLog& out);         // 0x5134, 0x5B34
eMeasStatus ExtractGSMReselection(const sMeasPayload& payload, sMeasLog& out);      // 0x51FC
eMeasStatus ExtractGSMSurroundCells(const sMeasPayload& payload, sMeasLog& out);    // 0x5071
eMeasStatus ExtractGSMAuxMeasurements(const sMeasPayload& payload, sMeasLog& out);  // 0x507A, 0x507B

// Event reports (command 0x60; MeasEvents.cpp): the RRC state changes among their events. `report` is the
// whole packet (inside any wrapper), `size` its bytes.
eMeasStatus ExtractEventReport(const unsigned char* report, size_t size, sMeasLog& out);
