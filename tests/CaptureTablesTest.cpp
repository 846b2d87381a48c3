// The tables of the real captures A and B read from item store files through the library's reader (counts
// from tshark's decode of the exported messages and from the captures' descriptions), and a sink that stops.
#include "tables/CaptureTables.h"

#include <gtest/gtest.h>

#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "jni/ISFStore.h"
#include "tests/ISFTestSupport.h"
#include "tests/StreamPackets.h"

namespace {

std::string TextOf(const sValue& value) {
    return value.mNull ? std::string("-") : std::string(value.mText, value.mSize);
}

std::string IntOf(const sValue& value) {
    return value.mNull ? std::string("-") : std::to_string(value.mInt);
}

// Rows per table, messages by technology and subscription, and the first two items' index, kind,
// subscription, log code and (but for the tool-version record's) time.
class cCountingSink : public cTableSink {
public:
    bool Row(eTable table, const sValue* values) override {
        ++mRows[table];
        if (table == TABLE_MESSAGES) {
            mMessages[TextOf(values[2]) + " sub " + IntOf(values[1])] += 1;
        }
        if (table == TABLE_ITEMS && mRows[table] <= 2) {
            mItems << IntOf(values[0]) << ' ' << TextOf(values[3]) << ' ' << IntOf(values[6]) << std::hex
                   << std::uppercase << " 0x" << values[7].mInt << std::dec;
            mItems << (values[0].mInt == 0 ? "\n" : " " + IntOf(values[1]) + "\n");
        }
        return mStopAfter == 0 || mRows[table] < mStopAfter;
    }
    std::map<eTable, uint64_t> mRows;
    std::map<std::string, uint64_t> mMessages;
    std::ostringstream mItems;
    uint64_t mStopAfter = 0;
};

TEST(CaptureTables, ItemsAndMessagesOfRealCapturesReadThroughTheReader) {
    const struct {
        const char* mCapture;
        const char* mMessages;
        const char* mItems;
    } cases[] = {
        // tshark on the export of capture A: LTE RRC 4,343 and NAS-EPS 95, GSM RR 378 and GPRS GMM/SM 9, UMTS
        // NAS 27, no subscription named; item 0 the tool-version record, item 1 a log 0xB0EE as written.
        {"raw_diag_stream_a.bin", "gsm sub - 387,lte sub - 4438,wcdma sub - 27,",
         "0 log - 0x1FFD\n1 log - 0xB0EE 1577836800000\n"},
        // Capture B: 18 NR RRC messages inside the multi-SIM wrapper of subscription 1.
        {"raw_diag_stream_b.bin", "nr sub 1 18,", nullptr},
    };
    for (const auto& c : cases) {
        isftest::cTempDir dir;
        const std::string path = dir.File("a.isf");
        {
            cISFStore store;
            ASSERT_EQ(store.OpenNewFileStore(path.c_str()), 0u);
            for (const Bytes& packet : StreamPackets(c.mCapture)) {
                ASSERT_EQ(
                    store.WriteItem(3, static_cast<unsigned int>(packet.size()), packet.data(), isftest::kT0),
                    0u);
            }
            store.CloseFileStore();
        }
        cCountingSink sink;
        sTableSummary summary;
        std::string error;
        ASSERT_TRUE(
            ReadCaptureTables(path, TableBit(TABLE_ITEMS) | TableBit(TABLE_MESSAGES), sink, summary, error))
            << error;
        EXPECT_EQ(sink.mRows[TABLE_ITEMS], ReadISFFile(path).mItems.size());
        EXPECT_EQ(sink.mRows.count(TABLE_EVENTS), 0u) << "only the wanted tables";
        std::string messages;
        for (const auto& count : sink.mMessages) {
            messages += count.first + " " + std::to_string(count.second) + ",";
        }
        EXPECT_EQ(messages, c.mMessages);
        if (c.mItems != nullptr) {
            EXPECT_EQ(sink.mItems.str(), c.mItems);
        }
    }
    eTable found = TABLE_COUNT;
    EXPECT_TRUE(TableByName("cells", found));
    EXPECT_EQ(found, TABLE_CELLS);
    EXPECT_FALSE(TableByName("message", found));
}

TEST(CaptureTables, ASinkThatStopsEndsTheReading) {
    cCountingSink sink;
    sink.mStopAfter = 10;
    cCaptureTables capture(TableBit(TABLE_MESSAGES));
    bool going = true;
    uint64_t index = 0;
    for (const Bytes& packet : StreamPackets("raw_diag_stream_a.bin")) {
        going = capture.Item(index++, packet.data(), packet.size(), 5, 0, sink);
        if (!going) {
            break;
        }
    }
    EXPECT_FALSE(going);
    EXPECT_EQ(sink.mRows[TABLE_MESSAGES], 10u);
}

}  // namespace
