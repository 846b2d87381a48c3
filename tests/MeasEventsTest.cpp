// RRC state changes from event reports (command 0x60): event 1606, LTE RRC state. Expected values from the
// facts page's real example and its event layout.
#include <gtest/gtest.h>

#include <string>

#include "tests/MeasTestSupport.h"

namespace {

// An event report around `events`: 60, u16 length of the events, the events.
Bytes Report(const Bytes& events) {
    Bytes report = {0x60};
    Put(report, 1, 2, events.size());
    report.insert(report.end(), events.begin(), events.end());
    return report;
}

// The page's example: 46 a6 | a0 5a | 01 is id 1606, length code 1, a short timestamp, state 1. The same
// capture continues with 2 (twice), 3 and 4.
TEST(MeasEvents, LTEStateSequenceOfThePage) {
    const sExtracted log = Extracted(
        Report(Hex("46 a6 a0 5a 01  46 a6 a4 5a 02  46 a6 b0 5a 02  46 a6 c0 5b 03  46 a6 c9 5b 04")));
    ASSERT_EQ(log.mStatus, MEAS_OK);
    EXPECT_EQ(log->mKind, MEAS_KIND_RRC_STATE);
    EXPECT_EQ(log->mTechnology, RADIO_LTE);
    EXPECT_EQ(log->mLogCode, 0);
    const struct {
        uint8_t mRaw;
        eRRCState mState;
        const char* mName;
    } expected[] = {
        {1, RRC_STATE_IDLE, "IDLE_NOT_CAMPED"}, {2, RRC_STATE_IDLE, "IDLE_CAMPED"},
        {2, RRC_STATE_IDLE, "IDLE_CAMPED"},     {3, RRC_STATE_CONNECTING, "CONNECTING"},
        {4, RRC_STATE_CONNECTED, "CONNECTED"},
    };
    ASSERT_EQ(log->mStateCount, 5u);
    for (size_t i = 0; i < 5; ++i) {
        const sRRCStateChange& change = log->mStates[i];
        EXPECT_EQ(change.mTechnology, RADIO_LTE);
        EXPECT_EQ(change.mRaw, expected[i].mRaw);
        EXPECT_EQ(change.mState, expected[i].mState);
        EXPECT_EQ(std::string(change.mName), expected[i].mName);
        EXPECT_EQ(change.mTimestamp, 0u) << "a short timestamp leaves the time to the item";
    }
}

// Other events around a state change: an 8-byte timestamp, and every payload-length code (none, 1 byte,
// 2 bytes, a counted payload). The state event's own full timestamp is kept. Inside the multi-SIM wrapper
// the subscription is kept.
TEST(MeasEvents, StateAmongOtherEvents) {
    const Bytes events =
        Hex("01 00 11 22 33 44 55 66 77 00"     // id 1, no payload, 8-byte timestamp
            "ca a7 10 00 07"                    // id 1994, 1 byte, short timestamp
            "02 c0 10 00 aa bb"                 // id 2, 2 bytes, short
            "03 e0 10 00 03 01 02 03"           // id 3, a counted payload of 3 bytes
            "46 26 47 92 89 7d 14 1d ed 00 07"  // id 1606, 1 byte, 8-byte timestamp: CLOSING
            "46 e6 10 00 01 09");  // id 1606, a counted payload of 1 byte: 9, a value with no name
    const sExtracted log = Extracted(Wrapped(2, Report(events)));
    ASSERT_EQ(log.mStatus, MEAS_OK);
    EXPECT_EQ(log->mSubscription, 2u);
    ASSERT_EQ(log->mStateCount, 2u);
    EXPECT_EQ(log->mStates[0].mState, RRC_STATE_CLOSING);
    EXPECT_EQ(std::string(log->mStates[0].mName), "CLOSING");
    EXPECT_EQ(log->mStates[0].mTimestamp, 0x00ED1D147D899247u);
    EXPECT_EQ(log->mStates[1].mState, RRC_STATE_UNKNOWN);
    EXPECT_EQ(log->mStates[1].mRaw, 9);
    EXPECT_EQ(std::string(log->mStates[1].mName), "UNKNOWN");
}

TEST(MeasEvents, ReportsWithoutStatesAndBadLengths) {
    const struct {
        const char* mName;
        Bytes mReport;
        eMeasStatus mStatus;
    } cases[] = {
        // The one event report of real capture A (tests/data/raw_diag_stream_a.bin): no events at all.
        {"empty real report", Hex("60 00 00"), MEAS_NOT_MEASUREMENT},
        {"other events only", Report(Hex("ca a7 10 00 07 01 00 11 22 33 44 55 66 77 00")),
         MEAS_NOT_MEASUREMENT},
        {"length beyond the report", Hex("60 06 00 46 a6 a0 5a 01"), MEAS_BAD_LENGTH},
        {"length short of the report", Hex("60 04 00 46 a6 a0 5a 01"), MEAS_BAD_LENGTH},
        {"no length", Hex("60 05"), MEAS_BAD_LENGTH},
        {"word cut", Report(Hex("46 a6 a0 5a 01 46")), MEAS_BAD_LENGTH},
        {"timestamp cut", Report(Hex("46 26 47 92 89 7d 14 1d ed")), MEAS_BAD_LENGTH},
        {"payload cut", Report(Hex("46 a6 a0 5a")), MEAS_BAD_LENGTH},
        {"counted payload cut", Report(Hex("03 e0 10 00 03 01 02")), MEAS_BAD_LENGTH},
        {"count cut", Report(Hex("03 e0 10 00")), MEAS_BAD_LENGTH},
        {"state of 2 bytes", Report(Hex("46 c6 a0 5a 01 02")), MEAS_BAD_LENGTH},
        {"state without payload", Report(Hex("46 86 a0 5a")), MEAS_BAD_LENGTH},
        {"state", Report(Hex("46 a6 a0 5a 04")), MEAS_OK},
    };
    for (const auto& c : cases) {
        const sExtracted log = Extracted(c.mReport);
        EXPECT_EQ(log.mStatus, c.mStatus) << c.mName;
        EXPECT_EQ(log->mStateCount, c.mStatus == MEAS_OK ? 1u : 0u) << c.mName;
    }
}

// A report holds at most kMeasMaxStates state changes in the record; the rest are counted.
TEST(MeasEvents, StatesBeyondTheRecordAreCounted) {
    Bytes events;
    for (size_t i = 0; i < kMeasMaxStates + 3; ++i) {
        const Bytes event = Hex("46 a6 00 00 04");
        events.insert(events.end(), event.begin(), event.end());
    }
    const sExtracted log = Extracted(Report(events));
    ASSERT_EQ(log.mStatus, MEAS_OK);
    EXPECT_EQ(log->mStateCount, kMeasMaxStates);
    EXPECT_EQ(log->mStatesDropped, 3u);
}

}  // namespace
