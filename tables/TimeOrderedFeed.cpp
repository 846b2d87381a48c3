#include "tables/TimeOrderedFeed.h"

#include <algorithm>
#include <new>

namespace {

// Reused buffers keep at most this much room each, so that the free entries stay small.
const size_t kKeptCapacity = 4096;

}  // namespace

cTimeOrderedFeed::cTimeOrderedFeed(cCellTimeline& timeline, cTimelineSink& sink, int64_t windowMs,
                                   size_t maxEntries, size_t maxBytes)
    : mTimeline(timeline),
      mSink(sink),
      mWindowMs(windowMs),
      mMaxEntries(maxEntries > 0 ? maxEntries : 1),
      mMaxBytes(maxBytes),
      mLog(new (std::nothrow) sMeasLog) {}

cTimeOrderedFeed::~cTimeOrderedFeed() {
    delete mLog;
}

bool cTimeOrderedFeed::Message(int64_t timeMs, const sOTAMessage& message) {
    const size_t bytes = message.mData != nullptr ? message.mLength : 0;
    if (Overdue(timeMs) || LeavesAtOnce(timeMs, bytes)) {
        return mGoing && (mGoing = mTimeline.Message(timeMs, message, mSink));
    }
    uint32_t slot = 0;
    sEntry& entry = NewEntry(timeMs, ENTRY_MESSAGE, slot);
    entry.mMessage = message;
    entry.mBytes.assign(message.mData, message.mData + bytes);
    return Push(timeMs, bytes, slot);
}

bool cTimeOrderedFeed::Measurement(int64_t timeMs, const sMeasLog& log, const unsigned char* packet,
                                   size_t size) {
    size_t serving = 0;
    for (size_t i = 0; i < log.mCellCount; ++i) {
        serving += log.mCells[i].mServing ? 1 : 0;
    }
    const bool whole = log.mKind == MEAS_KIND_RRC_STATE || serving > kHeldCells || mLog == nullptr;
    if (Overdue(timeMs) || LeavesAtOnce(timeMs, whole ? size : sizeof(sEntry))) {
        return mGoing && (mGoing = mTimeline.Measurement(timeMs, log, mSink));
    }
    uint32_t slot = 0;
    if (whole) {
        sEntry& entry = NewEntry(timeMs, ENTRY_PACKET, slot);
        entry.mBytes.assign(packet, packet + size);
        return Push(timeMs, size, slot);
    }
    sEntry& entry = NewEntry(timeMs, ENTRY_LOG, slot);
    entry.mLogKind = log.mKind;
    entry.mTechnology = log.mTechnology;
    entry.mLogCode = log.mLogCode;
    entry.mLogVersion = log.mLogVersion;
    entry.mTimestamp = log.mTimestamp;
    entry.mSubscription = log.mSubscription;
    if (log.mKind != MEAS_KIND_MEASUREMENT) {
        entry.mCellInfo = log.mCellInfo;
    }
    entry.mCellCount = 0;
    for (size_t i = 0; i < log.mCellCount; ++i) {
        if (log.mCells[i].mServing) {
            entry.mCells[entry.mCellCount++] = log.mCells[i];
        }
    }
    return Push(timeMs, sizeof(sEntry), slot);
}

// Older than the window: every entry held is later than it (the older ones have left), so it goes on at
// once, as logged late. A capture made of copies of one recording sends the start of each copy this way.
bool cTimeOrderedFeed::Overdue(int64_t timeMs) const {
    return mHaveNewest && timeMs < mNewestMs - mWindowMs;
}

// A capture made of copies of one recording keeps the feed full of the first copy's last seconds while the
// next copies repeat those times: most of their inputs go straight on here instead of through the heap.
bool cTimeOrderedFeed::LeavesAtOnce(int64_t timeMs, size_t bytes) const {
    if (mHeld == 0) {
        return false;  // an empty feed holds an input for the window
    }
    // (An input older than the window went on as overdue before this is asked.) When the feed has room,
    // taking this path or not gives the same order: it only saves the holding.
    if (mHeld + 1 <= mMaxEntries && mBytes + bytes <= mMaxBytes) {
        return false;
    }
    size_t from = kRuns;
    Oldest(from);
    const sKey& oldest = from == kRuns ? mHeap.front() : mRuns[from].front();
    return timeMs < oldest.mTimeMs;  // a tie leaves after the one held, as it came later
}

cTimeOrderedFeed::sEntry& cTimeOrderedFeed::NewEntry(int64_t timeMs, eEntryKind kind, uint32_t& slot) {
    if (mFreeSlots.empty()) {
        slot = static_cast<uint32_t>(mSlots.size());
        mSlots.emplace_back();
    } else {
        slot = mFreeSlots.back();
        mFreeSlots.pop_back();
    }
    sEntry& entry = mSlots[slot];
    entry.mTimeMs = timeMs;
    entry.mKind = kind;
    entry.mBytes.clear();
    return entry;
}

bool cTimeOrderedFeed::Push(int64_t timeMs, size_t bytes, uint32_t slot) {
    if (!mHaveNewest || timeMs > mNewestMs) {
        mNewestMs = timeMs;
        mHaveNewest = true;
    }
    mBytes += bytes;
    Hold({timeMs, mSequence++, slot});
    return Release(false);
}

bool cTimeOrderedFeed::Drain() {
    return Release(true);
}

// Onto the run whose last key is the latest one not later than it (so that runs stay long), or a new run,
// or the heap.
void cTimeOrderedFeed::Hold(const sKey& key) {
    ++mHeld;
    size_t best = kRuns;
    size_t empty = kRuns;
    for (size_t i = 0; i < kRuns; ++i) {
        if (mRuns[i].empty()) {
            empty = empty == kRuns ? i : empty;
        } else if (mRuns[i].back().mTimeMs <= key.mTimeMs &&
                   (best == kRuns || mRuns[i].back().mTimeMs > mRuns[best].back().mTimeMs)) {
            best = i;
        }
    }
    if (best == kRuns) {
        best = empty;
    }
    if (best != kRuns) {
        mRuns[best].push_back(key);
        return;
    }
    mHeap.push_back(key);
    std::push_heap(mHeap.begin(), mHeap.end(), sLater());
}

bool cTimeOrderedFeed::Oldest(size_t& from) const {
    const sKey* oldest = mHeap.empty() ? nullptr : &mHeap.front();
    from = kRuns;
    const sLater later;
    for (size_t i = 0; i < kRuns; ++i) {
        if (!mRuns[i].empty() && (oldest == nullptr || later(*oldest, mRuns[i].front()))) {
            oldest = &mRuns[i].front();
            from = i;
        }
    }
    return oldest != nullptr;
}

// Hands on the oldest entries while they lie further back than the window from the newest time seen, or
// while the feed holds more than it may; all of them with `all`.
bool cTimeOrderedFeed::Release(bool all) {
    size_t from = kRuns;
    while (mGoing && Oldest(from)) {
        const sKey& oldest = from == kRuns ? mHeap.front() : mRuns[from].front();
        const bool due =
            all || mHeld > mMaxEntries || mBytes > mMaxBytes || oldest.mTimeMs < mNewestMs - mWindowMs;
        if (!due) {
            break;
        }
        const uint32_t slot = oldest.mSlot;
        if (from == kRuns) {
            std::pop_heap(mHeap.begin(), mHeap.end(), sLater());
            mHeap.pop_back();
        } else {
            mRuns[from].pop_front();
        }
        --mHeld;
        sEntry& entry = mSlots[slot];
        mBytes -= entry.mKind == ENTRY_LOG ? sizeof(sEntry) : entry.mBytes.size();
        mGoing = HandOn(entry);
        if (entry.mBytes.capacity() > kKeptCapacity) {
            std::vector<unsigned char>().swap(entry.mBytes);  // a rare large packet's room is not kept
        }
        mFreeSlots.push_back(slot);
    }
    return mGoing;
}

bool cTimeOrderedFeed::HandOn(sEntry& entry) {
    switch (entry.mKind) {
        case ENTRY_MESSAGE:
            entry.mMessage.mData = entry.mBytes.data();
            entry.mMessage.mLength = entry.mBytes.size();
            return mTimeline.Message(entry.mTimeMs, entry.mMessage, mSink);
        case ENTRY_LOG:
            mLog->Clear();
            mLog->mKind = entry.mLogKind;
            mLog->mTechnology = entry.mTechnology;
            mLog->mLogCode = entry.mLogCode;
            mLog->mLogVersion = entry.mLogVersion;
            mLog->mTimestamp = entry.mTimestamp;
            mLog->mSubscription = entry.mSubscription;
            if (entry.mLogKind != MEAS_KIND_MEASUREMENT) {
                mLog->mCellInfo = entry.mCellInfo;
            }
            mLog->mCellCount = entry.mCellCount;
            for (size_t i = 0; i < entry.mCellCount; ++i) {
                mLog->mCells[i] = entry.mCells[i];
            }
            return mTimeline.Measurement(entry.mTimeMs, *mLog, mSink);
        default:
            if (mExtractor.Extract(entry.mBytes.data(), entry.mBytes.size(), *mLog) != MEAS_OK) {
                return true;  // it was read once already; it reads the same again
            }
            return mTimeline.Measurement(entry.mTimeMs, *mLog, mSink);
    }
}
