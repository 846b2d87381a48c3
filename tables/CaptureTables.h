// The tables of a capture (tables/TableColumns.h), produced item by item in file order: the items
// themselves, the signalling messages (ota/), the measured cells (meas/), and the serving-cell periods and
// events of the cell timeline (timeline/). Only the wanted tables are computed. Memory stays bounded
// whatever the capture's size: nothing is kept per item.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "meas/MeasExtractor.h"
#include "ota/OTAExtractor.h"
#include "tables/TableSink.h"
#include "tables/TimeOrderedFeed.h"
#include "timeline/CellTimeline.h"

// An account of every item read: rows per table, and for the logs the extractors looked at, what became
// of them.
struct sTableSummary {
    uint64_t mItems = 0;
    uint64_t mRows[TABLE_COUNT] = {};
    // Measurement, cell and state logs (and event reports) by outcome: MEAS_OK, unknown version, failed
    // length check; mMeasByStatus[MEAS_NOT_MEASUREMENT] counts every other item.
    uint64_t mMeasByStatus[MEAS_STATUS_COUNT] = {};
    uint64_t mOutOfRange = 0;    // values left empty because outside their physical range
    uint64_t mCellsDropped = 0;  // cells beyond a record's room
    // Items by the signalling extractor's outcome (messages come from OTA_EXTRACT_MESSAGE).
    uint64_t mOTAByStatus[OTA_EXTRACT_STATUS_COUNT] = {};
};

class cCaptureTables {
public:
    // `tables`: the wanted tables (TableBit() of each, or kAllTables).
    explicit cCaptureTables(uint32_t tables);
    ~cCaptureTables();

    // One stored item: its index, `size` payload bytes (not kept), item type, and time in milliseconds
    // since 1970 UTC. Rows go to `sink`; false when the sink stopped.
    bool Item(uint64_t index, const unsigned char* payload, size_t size, unsigned int type, int64_t timeMs,
              cTableSink& sink);
    // After the last item: open periods end, pieces of messages still held count as incomplete.
    bool Finish(cTableSink& sink);

    const sTableSummary& Summary() const { return mSummary; }

    cCaptureTables(const cCaptureTables&) = delete;
    cCaptureTables& operator=(const cCaptureTables&) = delete;

private:
    class cTimelineRows;

    bool Wants(eTable table) const { return (mTables & TableBit(table)) != 0; }
    bool ItemRow(uint64_t index, const unsigned char* payload, size_t size, unsigned int type, int64_t timeMs,
                 const char* messageKind, cTableSink& sink);
    bool MessageRow(int64_t timeMs, const sOTAMessage& message, cTableSink& sink);
    bool MeasurementRows(int64_t timeMs, cTableSink& sink);

    uint32_t mTables;
    cOTAExtractor mOTA;
    cMeasExtractor mMeas;
    sMeasLog* mLog;  // owned: one record reused for every item (a few tens of KB)
    cCellTimeline mTimeline;
    cTimelineRows* mTimelineRows;  // owned
    cTimeOrderedFeed* mFeed;       // owned: the timeline's inputs in time order
    sTableSummary mSummary;
};

// Milliseconds since 1601-01-01 (the ISF item time) as milliseconds since 1970-01-01 UTC.
int64_t UnixMsFromISF(uint64_t msSince1601);

// Reads the ISF file at `path` (closed, or cut short by a writer that never closed it) through the
// library's reader and hands the rows of the wanted tables to `sink`. False when the file cannot be read
// at all or holds no item; `error` then says why ("cannot open x.isf: No such file or directory").
// `problems` counts the inconsistencies the reader reported.
bool ReadCaptureTables(const std::string& path, uint32_t tables, cTableSink& sink, sTableSummary& summary,
                       std::string& error, uint64_t* problems = nullptr);
