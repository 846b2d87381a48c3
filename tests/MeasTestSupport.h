// Helpers of the measurement extractor tests: log bodies built from a layout's offsets and bits, the
// packets of a capture excerpt by log code, and what a record says as text.
#pragma once

#include <gtest/gtest.h>

#include <cmath>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "meas/MeasExtractor.h"
#include "tests/DiagPackets.h"

// Writes `value` into bits first..last of the little-endian word of `width` bytes at `offset`, OR-ed into
// what is there (fields that share a word are written one after the other); the body grows as needed.
inline void PutBits(Bytes& body, size_t offset, unsigned int width, unsigned int first, unsigned int last,
                    uint64_t value) {
    if (body.size() < offset + width) {
        body.resize(offset + width, 0);
    }
    const uint64_t mask = last - first == 63 ? ~uint64_t(0) : ((uint64_t(1) << (last - first + 1)) - 1);
    const uint64_t bits = (value & mask) << first;
    for (unsigned int i = 0; i < width; ++i) {
        body[offset + i] |= static_cast<unsigned char>(bits >> (8 * i));
    }
}

inline void Put(Bytes& body, size_t offset, unsigned int width, uint64_t value) {
    PutBits(body, offset, width, 0, 8 * width - 1, value);
}

// The subpacket envelope of 0xB193, 0xB192, 0xB195 and 0xB188: version 1, the count, 2 reserved bytes,
// then each subpacket as id, version, u16 size (with its 4-byte header) and payload.
struct sSubpacket {
    unsigned int mId;
    unsigned int mVersion;
    Bytes mPayload;
};
inline Bytes Envelope(const std::vector<sSubpacket>& subpackets) {
    Bytes body = {1, static_cast<unsigned char>(subpackets.size()), 0xAB, 0xCD};  // reserved: garbage
    for (const sSubpacket& subpacket : subpackets) {
        const size_t size = subpacket.mPayload.size() + 4;
        body.insert(body.end(), {static_cast<unsigned char>(subpacket.mId),
                                 static_cast<unsigned char>(subpacket.mVersion),
                                 static_cast<unsigned char>(size), static_cast<unsigned char>(size >> 8)});
        body.insert(body.end(), subpacket.mPayload.begin(), subpacket.mPayload.end());
    }
    return body;
}

// A packet inside the multi-SIM wrapper of `subscription`.
inline Bytes Wrapped(uint32_t subscription, const Bytes& inner) {
    Bytes packet = {0x98, 0x01, 0x00, 0x00};
    Put(packet, 4, 4, subscription);
    packet.insert(packet.end(), inner.begin(), inner.end());
    return packet;
}

// The packets of a hex-lines file of tests/data with log code `code` (inside a wrapper too), in file order.
inline std::vector<Bytes> PacketsOf(const std::string& file, unsigned int code) {
    std::vector<Bytes> packets;
    for (Bytes& packet : HexLines(file)) {
        const size_t at = !packet.empty() && packet[0] == 0x98 ? 8 : 0;
        if (packet.size() >= at + 16 && packet[at] == 0x10 &&
            (packet[at + 6] | packet[at + 7] << 8) == static_cast<int>(code)) {
            packets.push_back(std::move(packet));
        }
    }
    return packets;
}

// A record on the heap (it holds room for 256 cells) and the status of extracting one packet into it.
struct sExtracted {
    std::unique_ptr<sMeasLog> mLog{new sMeasLog};
    eMeasStatus mStatus = MEAS_STATUS_COUNT;
    const sMeasLog* operator->() const { return mLog.get(); }
};
inline sExtracted Extracted(const Bytes& packet) {
    sExtracted result;
    result.mStatus = cMeasExtractor().Extract(packet.data(), packet.size(), *result.mLog);
    return result;
}
inline sExtracted Extracted(unsigned int code, const Bytes& body) {
    return Extracted(LogPacket(code, body));
}

// A body of `size` zero bytes with fields written into it (in place of what was there; a negative value
// in two's complement); writing past the end grows it.
class cPayloadBuilder {
public:
    explicit cPayloadBuilder(size_t size = 0) : mBytes(size, 0) {}
    cPayloadBuilder& Put(size_t at, unsigned int width, int64_t value) {
        if (mBytes.size() < at + width) {
            mBytes.resize(at + width, 0);
        }
        for (unsigned int i = 0; i < width; ++i) {
            mBytes[at + i] = static_cast<unsigned char>(static_cast<uint64_t>(value) >> (8 * i));
        }
        return *this;
    }
    cPayloadBuilder& PutHex(size_t at, const char* hex) {
        const Bytes bytes = Hex(hex);
        for (size_t i = 0; i < bytes.size(); ++i) {
            Put(at + i, 1, bytes[i]);
        }
        return *this;
    }
    cPayloadBuilder& Resize(size_t size) {
        mBytes.resize(size, 0);
        return *this;
    }
    const Bytes& Body() const { return mBytes; }

private:
    Bytes mBytes;
};

// What a record says as text in a fixed order, to compare with the values decoded from an independent
// source: a header line, then the cell info, each cell and each state change. Levels are printed to two
// decimals, rounded half away from zero as the facts page prints them; absent values are left out.
using Lines = std::vector<std::string>;

__attribute__((format(printf, 1, 2))) inline std::string Format(const char* format, ...) {
    char text[100];
    va_list args;
    va_start(args, format);
    vsnprintf(text, sizeof text, format, args);
    va_end(args);
    return text;
}

inline std::string Level(const char* name, double value) {
    return std::isnan(value) ? "" : Format(" %s %.2f", name, std::round(value * 100) / 100);
}

inline std::string Row(const sCellInfo& info) {
    const uint32_t f = info.mFields;
    std::string row = f & CELL_HAS_DL_CHANNEL ? Format(" dl %u", info.mDLChannel) : "";
    row += f & CELL_HAS_UL_CHANNEL ? Format(" ul %u", info.mULChannel) : "";
    row += f & CELL_HAS_CELL ? Format(" cell %u", info.mCell) : "";
    row += f & CELL_HAS_IDENTITY ? Format(" id 0x%llx", static_cast<unsigned long long>(info.mIdentity)) : "";
    row += f & CELL_HAS_AREA ? Format(" area 0x%x", info.mArea) : "";
    row += f & CELL_HAS_PLMN ? Format(" plmn %03u-%0*u", info.mMCC, info.mMNCDigits, info.mMNC) : "";
    row += f & CELL_HAS_BAND ? Format(" band %u", info.mBand) : "";
    row += f & CELL_HAS_DL_BANDWIDTH ? Format(" dl-bw %g", info.mDLBandwidthMHz) : "";
    row += f & CELL_HAS_UL_BANDWIDTH ? Format(" ul-bw %g", info.mULBandwidthMHz) : "";
    return row.substr(1);
}

inline std::string Row(const sMeasuredCell& cell) {
    std::string row =
        std::string(RadioTechnologyName(cell.mTechnology)) + (cell.mServing ? " serving" : " neighbour");
    row += cell.mServingIndex != 0xFF ? " #" + std::to_string(cell.mServingIndex) : "";
    row += cell.mHasChannel ? " ch " + std::to_string(cell.mChannel) : "";
    row += cell.mHasCell ? " cell " + std::to_string(cell.mCell) : "";
    return row + Level("RSRP", cell.mRSRP) + Level("RSRQ", cell.mRSRQ) + Level("RSSI", cell.mRSSI) +
           Level("SINR", cell.mSINR) + Level("RSCP", cell.mRSCP) + Level("EcIo", cell.mEcIo) +
           Level("RxLev", cell.mRxLev);
}

inline Lines Text(const sExtracted& got) {
    static const char* const kKinds[] = {"none", "serving cell", "mib", "measurement", "rrc state"};
    static const char* const kStates[] = {"unknown", "idle", "connecting", "connected", "closing"};
    const sMeasLog& log = *got.mLog;
    const std::string technology = RadioTechnologyName(log.mTechnology);
    std::string header = std::string(MeasStatusName(got.mStatus)) + " " + kKinds[log.mKind] +
                         (technology.empty() ? "" : " " + technology) + " v" +
                         (log.mLogVersion > 0xFFFF ? std::to_string(log.mLogVersion >> 16) + "." : "") +
                         std::to_string(log.mLogVersion & 0xFFFF);
    header += log.mSubscription != 0 ? " sim " + std::to_string(log.mSubscription) : "";
    header += log.mOutOfRange != 0 ? " out of range " + std::to_string(log.mOutOfRange) : "";
    header += log.mCellsDropped + log.mStatesDropped != 0
                  ? " dropped " + std::to_string(log.mCellsDropped + log.mStatesDropped)
                  : "";
    Lines lines = {header};
    if (log.mCellInfo.mFields != 0) {
        lines.push_back(Row(log.mCellInfo));
    }
    for (size_t i = 0; i < log.mCellCount && i < kMeasMaxCells; ++i) {
        lines.push_back(Row(log.mCells[i]));
    }
    for (size_t i = 0; i < log.mStateCount && i < kMeasMaxStates; ++i) {
        const sRRCStateChange& state = log.mStates[i];
        lines.push_back(Format("%s %s raw %u %s", RadioTechnologyName(state.mTechnology), state.mName,
                               state.mRaw, kStates[state.mState]) +
                        (state.mTimestamp != 0
                             ? Format(" at 0x%llx", static_cast<unsigned long long>(state.mTimestamp))
                             : ""));
    }
    return lines;
}
