// Arbitrary bytes through the measurement extractor, twice: the whole input as one packet, then a packet
// built around it so that every code's reader sees well-framed bodies: input byte 0 picks one of the codes
// the extractor reads, byte 1 the form (bit 0: inside the multi-SIM wrapper, subscription from bits 2..7;
// bit 1: an event report instead of a log packet), and the rest is the body. Each packet lives in an
// exactly sized array (no guard tail), so a read past it is caught. The record must be empty on failure and
// hold only values inside their ranges on success.
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "fuzz/FuzzSupport.h"
#include "meas/MeasExtractor.h"
#include "meas/MeasFamilies.h"

namespace {

// The codes of the extractor's table, in ascending order.
const std::vector<uint16_t>& Codes() {
    static const std::vector<uint16_t> codes = [] {
        std::vector<uint16_t> all;
        for (unsigned int code = 0; code <= 0xFFFF; ++code) {
            if (IsMeasurementLogCode(static_cast<uint16_t>(code))) {
                all.push_back(static_cast<uint16_t>(code));
            }
        }
        return all;
    }();
    return codes;
}

bool In(double value, const sRange& range) {
    return std::isnan(value) || (value >= range.mLow && value <= range.mHigh);
}

bool NaNOrFinite(double value) {
    return std::isnan(value) || std::isfinite(value);
}

void Check(const std::vector<unsigned char>& bytes) {
    const std::unique_ptr<unsigned char[]> packet = ExactCopy(bytes.data(), bytes.size());
    static sMeasLog log;  // large: one for the whole run
    const eMeasStatus status = cMeasExtractor().Extract(packet.get(), bytes.size(), log);
    Require(status < MEAS_STATUS_COUNT && MeasStatusName(status) != nullptr);
    if (status != MEAS_OK) {
        Require(log.mKind == MEAS_KIND_NONE && log.mCellCount == 0 && log.mStateCount == 0 &&
                log.mCellInfo.mFields == 0 && log.mOutOfRange == 0);
        return;
    }
    Require(log.mKind != MEAS_KIND_NONE);
    Require(log.mLogCode == 0 || MeasLogName(log.mLogCode) != nullptr);
    Require(log.mCellCount <= kMeasMaxCells && log.mStateCount <= kMeasMaxStates);
    if ((log.mCellInfo.mFields & CELL_HAS_CELL) != 0 && log.mTechnology == RADIO_LTE) {
        Require(log.mCellInfo.mCell <= kLTEMaxPCI);
    }
    Require(NaNOrFinite(log.mCellInfo.mDLBandwidthMHz) && NaNOrFinite(log.mCellInfo.mULBandwidthMHz));
    for (size_t i = 0; i < log.mCellCount; ++i) {
        const sMeasuredCell& cell = log.mCells[i];
        Require(NaNOrFinite(cell.mRSRP) && NaNOrFinite(cell.mRSRQ) && NaNOrFinite(cell.mRSSI) &&
                NaNOrFinite(cell.mSINR) && NaNOrFinite(cell.mRSCP) && NaNOrFinite(cell.mEcIo) &&
                NaNOrFinite(cell.mRxLev));
        if (cell.mTechnology == RADIO_LTE) {
            Require(!cell.mHasCell || cell.mCell <= kLTEMaxPCI);
            Require(In(cell.mRSRP, kLTERSRP) && In(cell.mRSRQ, kLTERSRQ) && In(cell.mRSSI, kLTERSSI) &&
                    In(cell.mSINR, kSINR));
        }
    }
    for (size_t i = 0; i < log.mStateCount; ++i) {
        Require(log.mStates[i].mName != nullptr);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Check(std::vector<unsigned char>(data, data + size));
    if (size < 2 || Codes().empty()) {
        return 0;
    }
    const uint16_t code = Codes()[data[0] % Codes().size()];
    const bool wrapped = (data[1] & 1) != 0;
    const bool report = (data[1] & 2) != 0;
    const size_t bodySize = size - 2;
    std::vector<unsigned char> packet;
    if (wrapped) {
        packet = {0x98, 0x01, 0x00, 0x00, static_cast<unsigned char>(data[1] >> 2), 0, 0, 0};
    }
    if (report) {
        packet.push_back(0x60);
        packet.push_back(static_cast<unsigned char>(bodySize));
        packet.push_back(static_cast<unsigned char>(bodySize >> 8));
    } else {
        // The log header: 10 00, the length twice, the code, an 8-byte timestamp (little-endian words).
        const uint32_t length = static_cast<uint32_t>(12 + bodySize) & 0xFFFF;
        const uint32_t words[] = {0x10 | length << 16, length | static_cast<uint32_t>(code) << 16, 0x04030201,
                                  0x00070605};
        for (uint32_t word : words) {
            for (unsigned int i = 0; i < 4; ++i) {
                packet.push_back(static_cast<unsigned char>(word >> (8 * i)));
            }
        }
    }
    packet.insert(packet.end(), data + 2, data + size);
    Check(packet);
    return 0;
}
