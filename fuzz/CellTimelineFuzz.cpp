// Arbitrary bytes through the capture tables with every table wanted (signalling and measurement
// extraction, the first-bits readers and the cell timeline) into the table writers, then through the timeline
// as measurement records made up from the bytes (cells, values of any kind, states), and through the
// first-bits readers on their own. Each piece lives in an exactly sized array, so a read past it is caught;
// periods must run forwards and every detail must be a terminated string.
//
// Input: records of [u8 kind][u16 little-endian size n][u16 time step in ms][n bytes] (the last takes what
// is left). Kind bit 0: a packet for the tables, else a made-up measurement record; bits 1..2: the format.
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>

#include "fuzz/FuzzSupport.h"
#include "tables/CaptureTables.h"
#include "tables/TableWriter.h"
#include "timeline/CellTimeline.h"
#include "timeline/SignallingBits.h"

namespace {

class cNullOutput : public cTextOutput {
public:
    bool Write(const char* data, size_t size) override {
        for (size_t i = 0; i < size; ++i) {
            mSum += static_cast<unsigned char>(data[i]);
        }
        return true;
    }
    unsigned int mSum = 0;
};

// Every table to its own writer.
class cAllTables : public cTableSink {
public:
    explicit cAllTables(eTableFormat format) {
        for (unsigned int table = 0; table < TABLE_COUNT; ++table) {
            mWriters[table].reset(new cTableWriter(static_cast<eTable>(table), format, mOutput));
        }
    }
    bool Row(eTable table, const sValue* values) override {
        FailIf(table >= TABLE_COUNT);
        return mWriters[table]->Row(table, values);
    }
    void Finish() {
        for (auto& writer : mWriters) {
            writer->Finish();
        }
    }

private:
    cNullOutput mOutput;
    std::unique_ptr<cTableWriter> mWriters[TABLE_COUNT];
};

class cCheckingSink : public cTimelineSink {
public:
    bool Period(const sCellPeriod& period) override {
        FailIf(period.mFromMs > period.mToMs || CellEntryName(period.mEnteredBy) == nullptr ||
               RadioTechnologyName(period.mTechnology) == nullptr);
        return true;
    }
    bool Event(const sTimelineEvent& event) override {
        FailIf(event.mEvent == nullptr || memchr(event.mDetail, '\0', sizeof event.mDetail) == nullptr);
        return true;
    }
};

uint32_t Take(const uint8_t*& p, const uint8_t* end, unsigned int bytes) {
    uint32_t value = 0;
    for (unsigned int i = 0; i < bytes && p < end; ++i) {
        value |= static_cast<uint32_t>(*p++) << (8 * i);
    }
    return value;
}

double Value(const uint8_t*& p, const uint8_t* end) {
    const uint32_t raw = Take(p, end, 2);
    if (raw == 0xFFFF) {
        return NAN;
    }
    if (raw == 0xFFFE) {
        return INFINITY;
    }
    return (static_cast<int>(raw) - 40000) / 128.0;
}

// A measurement record of any kind made up from the bytes.
void MakeLog(const uint8_t* p, const uint8_t* end, sMeasLog& log) {
    log.Clear();
    log.mKind = static_cast<eMeasKind>(Take(p, end, 1) % 5);
    log.mTechnology = static_cast<eRadioTechnology>(Take(p, end, 1) % 5);
    log.mSubscription = Take(p, end, 1) % 12;
    sCellInfo& cell = log.mCellInfo;
    cell.mFields = Take(p, end, 2);
    cell.mDLChannel = Take(p, end, 1);
    cell.mCell = static_cast<uint16_t>(Take(p, end, 1));
    cell.mIdentity = Take(p, end, 1);
    cell.mDLBandwidthMHz = Value(p, end);
    log.mCellCount = Take(p, end, 1) % 5;
    for (size_t i = 0; i < log.mCellCount; ++i) {
        sMeasuredCell& measured = log.mCells[i];
        measured = sMeasuredCell();
        const uint32_t flags = Take(p, end, 1);
        measured.mTechnology = static_cast<eRadioTechnology>(flags % 5);
        measured.mServing = (flags & 8) != 0;
        measured.mServingIndex = (flags & 16) != 0 ? 0xFF : static_cast<uint8_t>((flags >> 5) & 3);
        measured.mHasChannel = (flags & 128) != 0;
        measured.mHasCell = true;
        measured.mChannel = Take(p, end, 1);
        measured.mCell = static_cast<uint16_t>(Take(p, end, 1));
        measured.mRSRP = Value(p, end);
        measured.mRSRQ = Value(p, end);
    }
    log.mStateCount = Take(p, end, 1) % 3;
    for (size_t i = 0; i < log.mStateCount; ++i) {
        log.mStates[i] = sRRCStateChange();
        log.mStates[i].mTechnology = static_cast<eRadioTechnology>(Take(p, end, 1) % 5);
        log.mStates[i].mState = static_cast<eRRCState>(Take(p, end, 1) % 6);
        log.mStates[i].mTimestamp = Take(p, end, 4);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const uint8_t kChannels[] = {OTA_LTE_DL_DCCH, OTA_LTE_DL_CCCH, OTA_LTE_UL_CCCH, OTA_LTE_UL_DCCH,
                                        OTA_LTE_PCCH};
    const eTableFormat format = static_cast<eTableFormat>(size > 0 ? data[0] % 3 : 0);
    cAllTables tables(format);
    cCaptureTables capture(kAllTables);
    cCellTimeline timeline;
    cCheckingSink checks;
    std::unique_ptr<sMeasLog> log(new sMeasLog);
    int64_t timeMs = 1600000000000;
    uint64_t index = 0;
    for (size_t offset = 0; offset + 5 <= size;) {
        const uint8_t kind = data[offset];
        size_t n = data[offset + 1] | (static_cast<size_t>(data[offset + 2]) << 8);
        timeMs += static_cast<int16_t>(data[offset + 3] | (data[offset + 4] << 8));
        offset += 5;
        n = n < size - offset ? n : size - offset;
        const std::unique_ptr<unsigned char[]> piece = ExactCopy(data + offset, n);
        offset += n;
        for (uint8_t channel : kChannels) {
            const sLTERRCReading reading = ReadLTERRC(channel, piece.get(), n);
            FailIf(reading.mKind > LTE_RRC_SCG_FAILURE_NR);
        }
        FailIf(ReadEMM(piece.get(), n).mKind > EMM_SERVICE_REJECT);
        if ((kind & 1) != 0) {
            capture.Item(index++, piece.get(), n, kind >> 3, timeMs, tables);
        } else {
            MakeLog(piece.get(), piece.get() + n, *log);
            timeline.Measurement(timeMs, *log, checks);
            sOTAMessage message;
            message.mProtocol = (kind & 2) != 0 ? OTA_PROTOCOL_LTE_NAS : OTA_PROTOCOL_LTE_RRC;
            message.mChannel = kChannels[(kind >> 2) % 5];
            message.mDirection = static_cast<eOTADirection>((kind >> 5) % 3);
            message.mSecurityProtected = (kind & 128) != 0;
            message.mSubscription = log->mSubscription;
            message.mContext = static_cast<uint8_t>(kind & 3);
            message.mCell = static_cast<uint16_t>(n);
            message.mChannelNumber = kind;
            message.mData = piece.get();
            message.mLength = n;
            timeline.Message(timeMs, message, checks);
        }
    }
    capture.Finish(tables);
    tables.Finish();
    timeline.Finish(checks);
    return 0;
}
