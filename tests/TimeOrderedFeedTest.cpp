// The timeline's inputs in time order (a modem flushes some log buffers late, as in lte_attach.bin), with
// plain EMM messages whose events name them one to one.
#include "tables/TimeOrderedFeed.h"

#include <gtest/gtest.h>

#include <map>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "tables/CaptureTables.h"
#include "tests/DiagPackets.h"

namespace {

// An EMM message in a plain LTE NAS log: version 1, three release bytes, the message.
Bytes EMMLog(bool uplink, const Bytes& message) {
    Bytes payload = {1, 9, 0, 0};
    payload.insert(payload.end(), message.begin(), message.end());
    return LogPacket(uplink ? 0xB0ED : 0xB0EC, payload);
}

const Bytes kAttachRequest = {0x07, 0x41};
const Bytes kAttachAccept = {0x07, 0x42};
const Bytes kDetachRequest = {0x07, 0x45};
const Bytes kTAURequest = {0x07, 0x48};

struct sLog {
    int64_t mTimeMs;
    bool mUplink;
    Bytes mMessage;
};

// "time event" of every row of the events table.
class cEvents : public cTableSink {
public:
    bool Row(eTable table, const sValue* values) override {
        if (table == TABLE_EVENTS) {
            mRows.push_back(std::to_string(values[0].mInt) + " " +
                            std::string(values[3].mText, values[3].mSize));
        }
        return true;
    }
    std::vector<std::string> mRows;
};

std::vector<std::string> EventsOf(const std::vector<sLog>& logs) {
    cCaptureTables tables(TableBit(TABLE_EVENTS));
    cEvents sink;
    uint64_t index = 0;
    for (const sLog& log : logs) {
        const Bytes packet = EMMLog(log.mUplink, log.mMessage);
        EXPECT_TRUE(tables.Item(index++, packet.data(), packet.size(), 5, log.mTimeMs, sink));
    }
    EXPECT_TRUE(tables.Finish(sink));
    return sink.mRows;
}

TEST(TimeOrderedFeed, ALogDeliveredLateTakesItsPlaceInTime) {
    // As in the real capture: the detach request 9 s before the attach arrives after it.
    EXPECT_EQ(
        EventsOf(
            {{18500, true, kAttachRequest}, {19300, false, kAttachAccept}, {9500, true, kDetachRequest}}),
        (std::vector<std::string>{"9500 detach_request", "18500 attach_request", "19300 attach_accept"}));
}

// The feed alone, with small bounds: uplink EMM messages of three kinds in turn (attach, detach, TAU
// request), so that the events tell equal times apart: "time kind" per event handed on.
class cNames : public cTimelineSink {
public:
    bool Period(const sCellPeriod&) override { return true; }
    bool Event(const sTimelineEvent& event) override {
        mRows.push_back(std::to_string(event.mTimeMs) + " " + event.mEvent);
        return true;
    }
    std::vector<std::string> mRows;
};

std::vector<std::string> FeedKinds(const std::vector<int64_t>& times, int64_t windowMs, size_t maxEntries,
                                   size_t maxBytes = 1 << 20, size_t* heldBeforeDrain = nullptr) {
    const Bytes messages[] = {kAttachRequest, kDetachRequest, kTAURequest};
    cCellTimeline timeline;
    cNames sink;
    cTimeOrderedFeed feed(timeline, sink, windowMs, maxEntries, maxBytes);
    for (size_t i = 0; i < times.size(); ++i) {
        sOTAMessage message;
        message.mProtocol = OTA_PROTOCOL_LTE_NAS;
        message.mChannel = OTA_NAS_MOBILITY;
        message.mDirection = OTA_DIRECTION_UPLINK;
        message.mData = messages[i % 3].data();
        message.mLength = messages[i % 3].size();
        EXPECT_TRUE(feed.Message(times[i], message));
    }
    if (heldBeforeDrain != nullptr) {
        *heldBeforeDrain = times.size() - sink.mRows.size();
    }
    EXPECT_TRUE(feed.Drain());
    return sink.mRows;
}

// The bytes bound, which the model below leaves out: at most 4 bytes (two messages) held.
TEST(TimeOrderedFeed, BoundedByBytes) {
    size_t held = 0;
    EXPECT_EQ(FeedKinds({10, 20, 30, 5}, 100000, 100, 4, &held),
              (std::vector<std::string>{"10 attach_request", "5 attach_request", "20 detach_request",
                                        "30 tau_request"}));
    EXPECT_EQ(held, 2u) << "before the drain";
}

// The feed's rule stated plainly: hold everything in (time, arrival) order and hand on the oldest while
// the feed holds too many or the oldest lies further back than the window from the newest time seen.
std::vector<std::string> ModelKinds(const std::vector<int64_t>& times, int64_t windowMs, size_t maxEntries) {
    const char* names[] = {"attach_request", "detach_request", "tau_request"};
    std::map<std::pair<int64_t, size_t>, std::string> held;
    std::vector<std::string> out;
    int64_t newest = times.empty() ? 0 : times[0];
    for (size_t i = 0; i < times.size(); ++i) {
        newest = std::max(newest, times[i]);
        held[{times[i], i}] = std::to_string(times[i]) + " " + names[i % 3];
        while (!held.empty() && (held.size() > maxEntries || held.begin()->first.first < newest - windowMs)) {
            out.push_back(held.begin()->second);
            held.erase(held.begin());
        }
    }
    for (const auto& entry : held) {
        out.push_back(entry.second);
    }
    return out;
}

TEST(TimeOrderedFeed, HandsOnAsHoldingEverythingInOrderWould) {
    // Copies of one recording (times repeating, as a recording of 100 copies of a capture), late logs
    // scattered within and beyond the window, and bursts of equal times.
    std::mt19937 random(7);
    for (int round = 0; round < 40; ++round) {
        std::vector<int64_t> times;
        const int copies = 1 + round % 5;
        const int perCopy = 50 + round * 7;
        for (int copy = 0; copy < copies; ++copy) {
            for (int i = 0; i < perCopy; ++i) {
                int64_t time = i * 100;
                if (random() % 5 == 0) {
                    time -= random() % (round % 2 == 0 ? 3000 : 40000);  // delivered late
                }
                times.push_back(time);
                if (random() % 9 == 0) {
                    times.push_back(time);  // the same millisecond again
                }
            }
        }
        const size_t maxEntries = 8 + random() % 64;
        EXPECT_EQ(FeedKinds(times, 30000, maxEntries), ModelKinds(times, 30000, maxEntries))
            << "round " << round;
    }
}

}  // namespace
