#include "tables/CaptureTables.h"

#include <cmath>
#include <cstdio>
#include <cstring>
#include <new>

#include "diag/DiagProtocol.h"
#include "diag/WireFormat.h"
#include "jni/ISFClassify.h"
#include "jni/ISFFormat.h"
#include "reader/ISFReader.h"

namespace {

const int64_t kMsFrom1601To1970 = static_cast<int64_t>(FILETIME_UNIX_EPOCH / FILETIME_UNITS_PER_MS);
const size_t kLogCodeAt = 6;

sValue Int(int64_t value) {
    sValue v;
    v.mNull = false;
    v.mInt = value;
    return v;
}

sValue Real(double value) {
    sValue v;
    v.mNull = std::isnan(value);
    v.mReal = value;
    return v;
}

sValue Text(const char* text) {
    sValue v;
    v.mNull = text == nullptr || text[0] == '\0';
    v.mText = text;
    v.mSize = text != nullptr ? std::strlen(text) : 0;
    return v;
}

sValue Bytes(const unsigned char* data, size_t size) {
    sValue v;
    v.mNull = false;
    v.mText = reinterpret_cast<const char*>(data);
    v.mSize = size;
    return v;
}

// A subscription of 0 means the packet named none.
sValue Subscription(uint32_t subscription) {
    return subscription != 0 ? Int(subscription) : sValue();
}

eRadioTechnology TechnologyOf(const sOTAMessage& message) {
    switch (message.mProtocol) {
        case OTA_PROTOCOL_LTE_RRC:
        case OTA_PROTOCOL_LTE_NAS:
            return RADIO_LTE;
        case OTA_PROTOCOL_NR_RRC:
        case OTA_PROTOCOL_NR_NAS:
            return RADIO_NR;
        case OTA_PROTOCOL_WCDMA_RRC:
            return RADIO_WCDMA;
        case OTA_PROTOCOL_GSM_L3:
            // The UMTS NAS logs carry the circuit- and packet-switched NAS of the UMTS stack; the GPRS log
            // its GSM counterpart.
            return message.mLogCode == 0x5230 ? RADIO_GSM : RADIO_WCDMA;
        case OTA_PROTOCOL_GSM_RR:
        case OTA_PROTOCOL_GPRS_MAC:
            return RADIO_GSM;
        default:
            return RADIO_UNKNOWN;
    }
}

const char* DirectionName(eOTADirection direction) {
    return direction == OTA_DIRECTION_UPLINK ? "ul" : direction == OTA_DIRECTION_DOWNLINK ? "dl" : "";
}

}  // namespace

int64_t UnixMsFromISF(uint64_t msSince1601) {
    return static_cast<int64_t>(msSince1601) - kMsFrom1601To1970;
}

// The timeline's periods and events as rows of the cells and events tables.
class cCaptureTables::cTimelineRows : public cTimelineSink {
public:
    cTimelineRows(uint32_t tables, sTableSummary& summary) : mTables(tables), mSummary(summary) {}
    cTableSink* mSink = nullptr;

    bool Period(const sCellPeriod& period) override {
        if ((mTables & TableBit(TABLE_CELLS)) == 0) {
            return true;
        }
        const sCellInfo& cell = period.mCell;
        char mnc[8] = {};
        if ((cell.mFields & CELL_HAS_PLMN) != 0) {
            snprintf(mnc, sizeof mnc, "%0*u", cell.mMNCDigits == 3 ? 3 : 2, cell.mMNC);
        }
        const sValue values[] = {
            Int(period.mFromMs),
            Int(period.mToMs),
            Subscription(period.mSubscription),
            Text(RadioTechnologyName(period.mTechnology)),
            (cell.mFields & CELL_HAS_DL_CHANNEL) != 0 ? Int(cell.mDLChannel) : sValue(),
            (cell.mFields & CELL_HAS_CELL) != 0 ? Int(cell.mCell) : sValue(),
            (cell.mFields & CELL_HAS_IDENTITY) != 0 ? Int(static_cast<int64_t>(cell.mIdentity)) : sValue(),
            (cell.mFields & CELL_HAS_AREA) != 0 ? Int(cell.mArea) : sValue(),
            (cell.mFields & CELL_HAS_PLMN) != 0 ? Int(cell.mMCC) : sValue(),
            Text(mnc),
            (cell.mFields & CELL_HAS_BAND) != 0 ? Int(cell.mBand) : sValue(),
            (cell.mFields & CELL_HAS_DL_BANDWIDTH) != 0 ? Real(cell.mDLBandwidthMHz) : sValue(),
            Text(CellEntryName(period.mEnteredBy)),
            Real(period.mRSRPMedian),
            Real(period.mRSRQMedian),
            Int(static_cast<int64_t>(period.mMeasurements)),
        };
        static_assert(sizeof values / sizeof values[0] == 16, "one value per column of the cells table");
        ++mSummary.mRows[TABLE_CELLS];
        return mSink->Row(TABLE_CELLS, values);
    }

    bool Event(const sTimelineEvent& event) override {
        if ((mTables & TableBit(TABLE_EVENTS)) == 0) {
            return true;
        }
        const sValue values[] = {
            Int(event.mTimeMs),
            Subscription(event.mSubscription),
            Text(RadioTechnologyName(event.mTechnology)),
            Text(event.mEvent),
            Text(event.mDetail),
        };
        static_assert(sizeof values / sizeof values[0] == 5, "one value per column of the events table");
        ++mSummary.mRows[TABLE_EVENTS];
        return mSink->Row(TABLE_EVENTS, values);
    }

private:
    uint32_t mTables;
    sTableSummary& mSummary;
};

cCaptureTables::cCaptureTables(uint32_t tables)
    : mTables(tables),
      mLog(new (std::nothrow) sMeasLog),
      mTimelineRows(new (std::nothrow) cTimelineRows(tables, mSummary)) {}

cCaptureTables::~cCaptureTables() {
    delete mLog;
    delete mTimelineRows;
}

bool cCaptureTables::Item(uint64_t index, const unsigned char* payload, size_t size, unsigned int type,
                          int64_t timeMs, cTableSink& sink) {
    ++mSummary.mItems;
    if (mLog == nullptr || mTimelineRows == nullptr) {
        return false;
    }
    mTimelineRows->mSink = &sink;
    const bool timeline = Wants(TABLE_CELLS) || Wants(TABLE_EVENTS);
    const char* messageKind = nullptr;
    if (Wants(TABLE_MESSAGES) || Wants(TABLE_ITEMS) || timeline) {
        sOTAMessage message;
        const eOTAExtractStatus status = mOTA.Extract(payload, size, message);
        ++mSummary.mOTAByStatus[status];
        if (status == OTA_EXTRACT_MESSAGE) {
            messageKind = OTAMessageKindName(message);
            if (Wants(TABLE_MESSAGES) && !MessageRow(timeMs, message, sink)) {
                return false;
            }
            if (timeline && !mTimeline.Message(timeMs, message, *mTimelineRows)) {
                return false;
            }
        }
    }
    if (Wants(TABLE_MEASUREMENTS) || timeline) {
        const eMeasStatus status = mMeas.Extract(payload, size, *mLog);
        ++mSummary.mMeasByStatus[status];
        if (status == MEAS_OK) {
            mSummary.mOutOfRange += mLog->mOutOfRange;
            mSummary.mCellsDropped += mLog->mCellsDropped;
            if (Wants(TABLE_MEASUREMENTS) && !MeasurementRows(timeMs, sink)) {
                return false;
            }
            if (timeline && !mTimeline.Measurement(timeMs, *mLog, *mTimelineRows)) {
                return false;
            }
        }
    }
    return !Wants(TABLE_ITEMS) || ItemRow(index, payload, size, type, timeMs, messageKind, sink);
}

bool cCaptureTables::Finish(cTableSink& sink) {
    const unsigned int held = mOTA.HeldPieces();
    mSummary.mOTAByStatus[OTA_EXTRACT_SEGMENT_HELD] -= held;
    mSummary.mOTAByStatus[OTA_EXTRACT_SEGMENTS_INCOMPLETE] += held;
    mOTA.Reset();
    if (mTimelineRows == nullptr) {
        return false;
    }
    mTimelineRows->mSink = &sink;
    return !(Wants(TABLE_CELLS) || Wants(TABLE_EVENTS)) || mTimeline.Finish(*mTimelineRows);
}

bool cCaptureTables::ItemRow(uint64_t index, const unsigned char* payload, size_t size, unsigned int type,
                             int64_t timeMs, const char* messageKind, cTableSink& sink) {
    const unsigned char* log = payload;
    size_t logSize = size;
    uint32_t subscription = 0;
    UnwrapMultiSIM(payload, size, log, logSize, subscription);
    const bool isLog = logSize >= DIAG_LOG_HEADER_SIZE && log[0] == DIAG_CMD_LOG;
    const sValue values[] = {
        Int(static_cast<int64_t>(index)),
        Int(timeMs),
        Int(type),
        Text(ItemTypeName(type)),
        Int(static_cast<int64_t>(size)),
        sValue(),  // filled below
        Subscription(subscription),
        isLog ? Int(ReadU16(log + kLogCodeAt)) : sValue(),
        Text(messageKind),
    };
    static_assert(sizeof values / sizeof values[0] == 9, "one value per column of the items table");
    ++mSummary.mRows[TABLE_ITEMS];
    return sink.Row(TABLE_ITEMS, values);
}

bool cCaptureTables::MessageRow(int64_t timeMs, const sOTAMessage& message, cTableSink& sink) {
    const sValue values[] = {
        Int(timeMs),
        Subscription(message.mSubscription),
        Text(RadioTechnologyName(TechnologyOf(message))),
        Text(OTAMessageKindName(message)),
        Text(DirectionName(message.mDirection)),
        (message.mContext & OTA_HAS_CHANNEL_NUMBER) != 0 ? Int(message.mChannelNumber) : sValue(),
        (message.mContext & OTA_HAS_CELL) != 0 ? Int(message.mCell) : sValue(),
        Int(message.mLogCode),
        Bytes(message.mData, message.mLength),
    };
    static_assert(sizeof values / sizeof values[0] == 9, "one value per column of the messages table");
    ++mSummary.mRows[TABLE_MESSAGES];
    return sink.Row(TABLE_MESSAGES, values);
}

bool cCaptureTables::MeasurementRows(int64_t timeMs, cTableSink& sink) {
    if (mLog->mKind != MEAS_KIND_MEASUREMENT) {
        return true;
    }
    for (size_t i = 0; i < mLog->mCellCount; ++i) {
        const sMeasuredCell& cell = mLog->mCells[i];
        const sValue values[] = {
            Int(timeMs),
            Subscription(mLog->mSubscription),
            Text(RadioTechnologyName(cell.mTechnology)),
            Int(mLog->mLogCode),
            Int(cell.mServing ? 1 : 0),
            cell.mHasChannel ? Int(cell.mChannel) : sValue(),
            cell.mHasCell ? Int(cell.mCell) : sValue(),
            Real(cell.mRSRP),
            Real(cell.mRSRQ),
            Real(cell.mRSSI),
            Real(cell.mSINR),
            Real(cell.mRSCP),
            Real(cell.mEcIo),
            Real(cell.mRxLev),
        };
        static_assert(sizeof values / sizeof values[0] == 14,
                      "one value per column of the measurements table");
        ++mSummary.mRows[TABLE_MEASUREMENTS];
        if (!sink.Row(TABLE_MEASUREMENTS, values)) {
            return false;
        }
    }
    return true;
}

namespace {

// Hands every item of a file to the tables.
class cTableItems : public cISFVisitor {
public:
    cTableItems(cCaptureTables& tables, cTableSink& sink) : mTables(tables), mSink(sink) {}
    bool Item(const sISFItem& item) override {
        mGoing = mTables.Item(item.mIndex, item.mPayload.data(), item.mPayload.size(), item.mType,
                              UnixMsFromISF(item.mTimeMs), mSink);
        return mGoing;
    }
    void Problem(const std::string& text) override {
        if (mFirstProblem.empty()) {
            mFirstProblem = text;
        }
    }

    bool mGoing = true;
    std::string mFirstProblem;

private:
    cCaptureTables& mTables;
    cTableSink& mSink;
};

}  // namespace

bool ReadCaptureTables(const std::string& path, uint32_t tables, cTableSink& sink, sTableSummary& summary,
                       std::string& error, uint64_t* problems) {
    // The file read 1 MB at a time: the bytes are still in the processor's cache when the extractors read
    // them. With the reader's 16 MB window, the measurements of a 172 MB recording took a quarter more time.
    const uint64_t kWindow = 1 << 20;
    cISFReader reader;
    if (!reader.Open(path, kWindow)) {
        error = reader.Error();
        return false;
    }
    cCaptureTables capture(tables);
    cTableItems items(capture, sink);
    const sISFSummary file = reader.Walk(items);
    if (items.mGoing) {
        capture.Finish(sink);
    }
    summary = capture.Summary();
    if (problems != nullptr) {
        *problems = file.mProblems;
    }
    if (file.mItems == 0) {
        error = path + ": not a readable item store file" +
                (items.mFirstProblem.empty() ? std::string() : " (" + items.mFirstProblem + ")");
        return false;
    }
    return true;
}
