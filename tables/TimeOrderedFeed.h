// The cell timeline's inputs in time order. A modem flushes some of its log buffers late: in real captures
// a NAS or RRC log can arrive 18 s after logs stamped later than it, so a timeline fed in file order would
// see a detach after the attach that followed it. The feed holds each input for a window of log time (and
// at most a fixed number of inputs and bytes), and hands them to the timeline oldest first; an input that
// arrives later than the window still goes to the timeline, which treats it as logged late.
//
// Signalling messages are held with a copy of their bytes. Of a measurement log the feed keeps what the
// timeline reads (cCellTimeline::Measurement): the header, the cell information, and of measured cells the
// serving ones; a state log, or one with more serving cells than an entry holds, is kept as its packet and
// read again when it is handed on (the measurement extractor keeps no state). Entries and their buffers
// are reused, so nothing is allocated per item once the feed has filled.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <vector>

#include "meas/MeasExtractor.h"
#include "ota/OTAMessage.h"
#include "timeline/CellTimeline.h"

class cTimeOrderedFeed {
public:
    static const int64_t kWindowMs = 30000;
    static const size_t kMaxEntries = 4096;
    static const size_t kMaxBytes = 4 << 20;

    // `timeline` and `sink` outlive the feed.
    cTimeOrderedFeed(cCellTimeline& timeline, cTimelineSink& sink, int64_t windowMs = kWindowMs,
                     size_t maxEntries = kMaxEntries, size_t maxBytes = kMaxBytes);
    ~cTimeOrderedFeed();

    // A message (its bytes are copied) at `timeMs`. False when the timeline's sink stopped.
    bool Message(int64_t timeMs, const sOTAMessage& message);
    // What the measurement extractor read (`log`) from the `size` bytes of `packet` at `timeMs`; what is
    // held is copied.
    bool Measurement(int64_t timeMs, const sMeasLog& log, const unsigned char* packet, size_t size);
    // Everything still held, oldest first.
    bool Drain();

    cTimeOrderedFeed(const cTimeOrderedFeed&) = delete;
    cTimeOrderedFeed& operator=(const cTimeOrderedFeed&) = delete;

private:
    // Serving cells an entry holds (carrier aggregation has up to 5 per log).
    static const size_t kHeldCells = 8;

    enum eEntryKind : uint8_t {
        ENTRY_MESSAGE,  // mMessage and its bytes
        ENTRY_LOG,      // the header, cell information and serving cells of a measurement log
        ENTRY_PACKET,   // a measurement log packet, read again
    };
    struct sEntry {
        int64_t mTimeMs = 0;
        eEntryKind mKind = ENTRY_MESSAGE;
        sOTAMessage mMessage;               // mData is set when the entry is handed on
        std::vector<unsigned char> mBytes;  // the message's bytes, or the measurement packet
        eMeasKind mLogKind = MEAS_KIND_NONE;
        eRadioTechnology mTechnology = RADIO_UNKNOWN;
        uint16_t mLogCode = 0;
        uint32_t mLogVersion = 0;
        uint64_t mTimestamp = 0;
        uint32_t mSubscription = 0;
        sCellInfo mCellInfo;
        size_t mCellCount = 0;
        sMeasuredCell mCells[kHeldCells];
    };

    struct sKey {
        int64_t mTimeMs;
        uint64_t mSequence;
        uint32_t mSlot;
    };
    struct sLater {
        bool operator()(const sKey& a, const sKey& b) const {
            return a.mTimeMs != b.mTimeMs ? a.mTimeMs > b.mTimeMs : a.mSequence > b.mSequence;
        }
    };

    bool Overdue(int64_t timeMs) const;
    // An input that would leave again at once: the feed is full and it is older than everything held, so
    // it would be the oldest, and the only one due.
    bool LeavesAtOnce(int64_t timeMs, size_t bytes) const;
    sEntry& NewEntry(int64_t timeMs, eEntryKind kind, uint32_t& slot);
    bool Push(int64_t timeMs, size_t bytes, uint32_t slot);
    void Hold(const sKey& key);
    // The key that leaves next: a run's index, or kRuns for the heap's top; false when nothing is held.
    bool Oldest(size_t& from) const;
    bool Release(bool all);
    bool HandOn(sEntry& entry);

    cCellTimeline& mTimeline;
    cTimelineSink& mSink;
    int64_t mWindowMs;
    size_t mMaxEntries;
    size_t mMaxBytes;
    // The held entries: small keys by time over a pool of entries, whose free slots (and the room of their
    // byte buffers) are reused. Logs come in runs in time order (one run for a capture in order; a late
    // burst, or the next copy of a recording made of copies, starts another), so a key joins the back of a
    // run whose last key is not later than it, and leaves from the front of the run with the oldest front;
    // a key that fits no run goes to a heap.
    static const size_t kRuns = 4;
    std::deque<sKey> mRuns[kRuns];
    std::vector<sKey> mHeap;
    size_t mHeld = 0;  // keys in the runs and the heap
    std::vector<sEntry> mSlots;
    std::vector<uint32_t> mFreeSlots;
    size_t mBytes = 0;  // bytes held
    uint64_t mSequence = 0;
    bool mHaveNewest = false;
    int64_t mNewestMs = 0;  // the latest log time seen
    cMeasExtractor mExtractor;
    sMeasLog* mLog;  // owned
    bool mGoing = true;
};
