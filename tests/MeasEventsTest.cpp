// RRC state changes from event reports (command 0x60): event 1606, LTE RRC state. Expected values from the
// facts page's real example and its event layout.
#include <gtest/gtest.h>

#include "tests/MeasTestSupport.h"

namespace {

// An event report around `events`: 60, u16 length of the events, the events.
Bytes Report(const Bytes& events) {
    Bytes report = {0x60};
    Put(report, 1, 2, events.size());
    report.insert(report.end(), events.begin(), events.end());
    return report;
}

// The page's example: 46 a6 | a0 5a | 01 is id 1606, length code 1, a short timestamp (the time left to
// the item), state 1. The same capture continues with 2 (twice), 3 and 4.
TEST(MeasEvents, LTEStateSequenceOfThePage) {
    EXPECT_EQ(
        Text(Extracted(Report(Hex("46 a6 a0 5a 01  46 a6 a4 5a 02  46 a6 b0 5a 02  46 a6 c0 5b 03  46 a6 "
                                  "c9 5b 04")))),
        (Lines{"used rrc state lte v0", "lte IDLE_NOT_CAMPED raw 1 idle", "lte IDLE_CAMPED raw 2 idle",
               "lte IDLE_CAMPED raw 2 idle", "lte CONNECTING raw 3 connecting",
               "lte CONNECTED raw 4 connected"}));
}

// Other events around a state change: an 8-byte timestamp, and every payload-length code (none, 1 byte,
// 2 bytes, a counted payload). The state event's own full timestamp is kept; inside the multi-SIM wrapper
// the subscription is kept.
TEST(MeasEvents, StateAmongOtherEvents) {
    const Bytes events =
        Hex("01 00 11 22 33 44 55 66 77 00"     // id 1, no payload, 8-byte timestamp
            "ca a7 10 00 07"                    // id 1994, 1 byte, short timestamp
            "02 c0 10 00 aa bb"                 // id 2, 2 bytes, short
            "03 e0 10 00 03 01 02 03"           // id 3, a counted payload of 3 bytes
            "46 26 47 92 89 7d 14 1d ed 00 07"  // id 1606, 1 byte, 8-byte timestamp: CLOSING
            "46 e6 10 00 01 09");  // id 1606, a counted payload of 1 byte: 9, a value with no name
    EXPECT_EQ(Text(Extracted(Wrapped(2, Report(events)))),
              (Lines{"used rrc state lte v0 sim 2", "lte CLOSING raw 7 closing at 0xed1d147d899247",
                     "lte UNKNOWN raw 9 unknown"}));
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
        {"count cut", Report(Hex("03 e0 10 00")), MEAS_BAD_LENGTH},
        {"state of 2 bytes", Report(Hex("46 c6 a0 5a 01 02")), MEAS_BAD_LENGTH},
        {"state without payload", Report(Hex("46 86 a0 5a")), MEAS_BAD_LENGTH},
    };
    for (const auto& c : cases) {
        const sExtracted log = Extracted(c.mReport);
        EXPECT_EQ(log.mStatus, c.mStatus) << c.mName;
        EXPECT_EQ(log->mStateCount, 0u) << c.mName;
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
    EXPECT_EQ(Text(log)[0], "used rrc state lte v0 dropped 3");
    EXPECT_EQ(log->mStateCount, kMeasMaxStates);
}

}  // namespace
