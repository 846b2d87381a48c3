// Files written through the store and read back through the reader in tools/, and the store's answers to
// the byte arrays of the Java methods.
#include <time.h>

#include <cstring>
#include <fstream>
#include <iterator>
#include <tuple>

#include "jni/ISFItemArray.h"
#include "tests/ISFTestSupport.h"
#include "tests/LogCapture.h"
#include "tests/SIMessageWriter.h"

namespace {

using namespace isftest;

// Reads a file that must be consistent; `closed` is what its trailer must say.
sISFFile ReadGood(const std::string& path, bool closed = true) {
    const sISFFile file = ReadISFFile(path);
    EXPECT_TRUE(file.Consistent()) << path << "\n" << Problems(file);
    EXPECT_EQ(file.mClosed, closed) << path;
    return file;
}

// The tool-version record is item 0 of every file, stamped with the time of the open.
TEST(ISFStore, OpenThenCloseWritesHeaderToolVersionRecordTableAndTrailer) {
    const uint64_t before = static_cast<uint64_t>(time(nullptr));
    cTempDir dir;
    const std::string path = dir.File("empty.isf");
    {
        cISFStore store;
        ASSERT_EQ(store.OpenNewFileStore(path.c_str()), 0u);
    }  // the destructor closes the file
    std::ifstream in(path, std::ios::binary);
    const Bytes bytes{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    ASSERT_EQ(bytes.size(), 57562u) << "4 + 57360 + 1 + 165 + 16 + 16";
    const auto at = [&](size_t offset, size_t size) { return Bytes(&bytes[offset], &bytes[offset] + size); };
    EXPECT_EQ(at(0, 4), (Bytes{0x08, 0x31, 0x60, 0xAB}));
    EXPECT_EQ(at(4, 7), (Bytes{0x05, 0, 0, 0, 0, 0xA5, 0x00})) << "type 5, 1-byte time, offset 0, length 165";
    EXPECT_EQ(bytes[57364], 0u) << "time field 0";
    EXPECT_EQ(at(57530, 8), (Bytes{4, 0, 0, 0, 0, 0, 0, 0})) << "descriptor offset";
    EXPECT_EQ(at(57546, 16), (Bytes{0, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0x07, 0x31, 0x60, 0xAB}));
    Bytes record = at(57365, 165);
    // Bytes 8-15: the diagnostic timestamp, 1.25 ms periods since 1980-01-06 (11644473600000 + 315964800000
    // ms after 1601); it names the item's millisecond to within one period.
    const uint64_t recordMs = 11644473600000ULL + 315964800000ULL + (GetLE(&record[8], 8) >> 16) * 5 / 4;
    const uint64_t itemMs = ReadGood(path).mItems.at(0).mTimeMs;
    EXPECT_TRUE(recordMs <= itemMs && itemMs <= recordMs + 2) << recordMs << " " << itemMs;
    // Bytes 85-94: the seconds of the clock (32 bits of them) and the milliseconds.
    const uint64_t seconds = GetLE(&record[85], 4);
    EXPECT_TRUE(seconds >= (before & 0xFFFFFFFF) && seconds <= ((before + 5) & 0xFFFFFFFF)) << seconds;
    EXPECT_LT(GetLE(&record[93], 2), 1000u) << "milliseconds of the second";
    std::fill(&record[8], &record[16], 0);
    std::fill(&record[85], &record[95], 0);
    // Log header of length 161 and code 0x1FFD, version 3.0, build, tool name, date, zeros.
    Bytes expected = {0x10, 0x00, 0xA1, 0x00, 0xA1, 0x00, 0xFD, 0x1F, 0,   0,   0,  0,
                      0,    0,    0,    0,    3,    0,    0,    0,    '0', '1', '1'};
    expected.resize(165, 0);
    memcpy(&expected[27], "ZOV-Tarnik", 10);
    memcpy(&expected[67], "Jan 29 2018", 11);
    EXPECT_EQ(record, expected);
}

// 9 index blocks (the tool-version record, 8 full blocks, then one item): all linked and in the table, and
// every item read back in order with its own time.
TEST(ISFStore, NineIndexBlocksAreEachInTheTableAndEveryItemReadsBackInOrder) {
    cTempDir dir;
    const std::string path = dir.File("nine-blocks.isf");
    const uint32_t items = 8 * 8192;
    cISFStore store;
    ASSERT_EQ(store.OpenNewFileStore(path.c_str()), 0u);
    const FILETIME start = ReadISFFile(path).mBlocks.at(0).mBaseMs * 10000;  // the clock at the open
    Bytes packet = LogPacket(0x1234, 4);
    for (uint32_t i = 0; i < items; ++i) {
        PutLE(&packet[16], i, 4);
        ASSERT_EQ(Write(store, 3, packet, start + i * 10000ULL), 0u) << i;
    }
    store.CloseFileStore();
    const sISFFile file = ReadGood(path);
    ASSERT_EQ(file.mBlocks.size(), 9u);
    ASSERT_EQ(file.mItems.size(), items + 1u);
    for (uint32_t i = 0; i < items; ++i) {
        const sISFItem& item = file.mItems[i + 1];
        ASSERT_EQ(GetLE(&item.mPayload[16], 4), i);
        ASSERT_EQ(item.mTimeMs, file.mBlocks[0].mBaseMs + i) << i;
    }
}

// A debug-trace response (subsystem 37) to `command` (8: GetItem) carrying `inner`.
Bytes TraceRsp(const Bytes& inner, unsigned char command = 8) {
    Bytes packet = {75, 37, command, 0, 0, 0, 0, 0, 2, 0, 0, 0, 0};
    for (unsigned char byte : inner) {  // not insert(): g++ 12 warns wrongly for an empty `inner`
        packet.push_back(byte);
    }
    return packet;
}

// Types derived from the packets (hints: ISFClassifyTest) and the items unwrapped from a valid debug-trace
// GetItem response (validity: SubsystemCmdTest), each at its packet's time; hint B goes with 0x412F only.
TEST(ISFStore, ItemTypesAuxiliaryValuesAndUnwrappedItemsOfATableOfPackets) {
    const uint32_t kNone = 0xFFFFFFFF;
    const Bytes log = LogPacket(0x1234, 3);
    using tItem = std::tuple<Bytes, unsigned int, uint32_t, uint64_t>;  // payload, type, aux, ms after kT0
    struct sCase {
        const char* mName;
        unsigned int mProtocol;
        Bytes mPacket;
        unsigned int mType;  // 99 for a refused item
        uint32_t mAux;
        std::vector<std::pair<Bytes, unsigned int>> mUnwrapped = {};  // payloads, types of the items after it
    } const cases[] = {
        {"log of 15 bytes", 3, Bytes{0x10, 0, 11, 0, 11, 0, 0x04, 0x10, 0, 0, 0, 0, 0, 0, 0}, 0, kNone},
        {"plain log", 3, log, 5, kNone},
        {"OTA log, hint A unset", 3, LogPacket(0x1004, 3), 8, kNone},
        {"request 96", 4, Bytes{96, 1}, 2, kNone},
        {"dispatch request 9/0 sets hint B", 4, Bytes{75, 9, 0, 0, 0x01, 0x02, 0x03}, 10, kNone},
        {"OTA 0x412F carries hint B", 3, LogPacket(0x412F, 2), 8, 0x030201},
        {"event 96 0 0 of 3 bytes", 3, Bytes{96, 0, 0}, 1, kNone},
        {"event 96 0 1", 3, Bytes{96, 0, 1}, 4, kNone},
        {"event 96 of 4 bytes", 3, Bytes{96, 0, 0, 0}, 4, kNone},
        {"116 0 0 of 3 bytes", 3, Bytes{116, 0, 0}, 1, kNone},
        {"message 31", 3, Bytes{31, 1}, 6, kNone},
        {"dispatch response 75", 3, Bytes{75, 1, 2, 0}, 9, kNone},
        {"trace GetItem", 3, TraceRsp(log), 9, kNone, {{log, 5}}},
        {"trace of a trace", 3, TraceRsp(TraceRsp(log)), 9, kNone, {{TraceRsp(log), 9}, {log, 5}}},
        {"trace GetRange", 3, TraceRsp(log, 7), 9, kNone},
        {"trace request", 4, TraceRsp(log), 10, kNone},
        {"protocol 514", 514, Bytes{1, 2}, 7, kNone},
        {"protocol 60 log, kept", 60, LogPacket(0x1234, 0), 5, kNone},
        {"unknown command 200", 3, Bytes{200, 1}, 1, kNone},
        {"protocol 11 refused", 11, Bytes{1, 2}, 99, kNone},
    };
    cTempDir dir;
    const std::string path = dir.File("types.isf");
    std::vector<tItem> expected;
    {
        cISFStore store;
        ASSERT_EQ(store.OpenNewFileStore(path.c_str()), 0u);
        for (uint64_t i = 0; i < std::size(cases); ++i) {
            const sCase& c = cases[i];
            cLogCapture logged;
            const bool refused = c.mType == 99;
            EXPECT_EQ(Write(store, c.mProtocol, c.mPacket, AtMs(i)), refused ? 22u : 0u) << c.mName;
            if (!refused) {
                expected.emplace_back(c.mPacket, c.mType, c.mAux, i);
                EXPECT_EQ(logged.Texts().size(), c.mPacket[0] >= 154 ? 1u : 0u)
                    << c.mName << ": Bad Diag type";
            }
            for (const auto& [payload, type] : c.mUnwrapped) {
                expected.emplace_back(payload, type, kNone, i);
            }
        }
        store.CloseFileStore();  // writes the kept protocol-60 packet again
    }
    const sISFFile file = ReadGood(path);
    std::vector<tItem> items;
    for (size_t i = 1; i + 1 < file.mItems.size(); ++i) {
        const sISFItem& item = file.mItems[i];
        items.emplace_back(item.mPayload, item.mType, item.mHasAux ? item.mAux : kNone, item.mTimeMs - kT0Ms);
    }
    EXPECT_EQ(items, expected);
    EXPECT_EQ(file.mItems.back().mPayload, LogPacket(0x1234, 0));
}

// Opening the file being written, under any name for it, finishes the old one first and gives exactly the
// new file; the store's hints survive the change of file.
TEST(ISFStore, ReopeningTheOpenFileUnderAnyNameGivesExactlyTheNewFileAndKeepsTheHints) {
    cTempDir dir;
    const std::string path = dir.File("same.isf");
    for (const std::string& again : {path, dir.File("./same.isf"), dir.File("link.isf")}) {
        SCOPED_TRACE(again);
        cISFStore store;
        ASSERT_EQ(store.OpenNewFileStore(path.c_str()), 0u);
        ASSERT_EQ(Write(store, 4, Bytes{96, 0, 0, 0x03, 0x31, 0, 0, 0, 0, 0, 0, 0, 0, 7}, kT0),
                  0u);                                                                // 0x3103
        ASSERT_EQ(Write(store, 514, Bytes{75, 9, 0, 0, 0xAA, 0xBB, 0xCC}, kT0), 0u);  // 514 is a request too
        for (int i = 0; i < 50; ++i) {
            ASSERT_EQ(Write(store, 3, LogPacket(0x1234, 100), kT0), 0u);
        }
        std::filesystem::remove(dir.File("link.isf"));
        std::filesystem::create_hard_link(path, dir.File("link.isf"));
        ASSERT_EQ(store.OpenNewFileStore(again.c_str()), 0u);
        ASSERT_EQ(Write(store, 3, LogPacket(0x10D7, 1), kT0), 0u);
        ASSERT_EQ(Write(store, 3, LogPacket(0x412F, 1), kT0), 0u);
        store.CloseFileStore();
        const sISFFile file = ReadGood(path);
        ASSERT_EQ(Payloads(file, 1), (std::vector<Bytes>{LogPacket(0x10D7, 1), LogPacket(0x412F, 1)}));
        EXPECT_EQ(file.mItems[1].mAux, 7u);
        EXPECT_EQ(file.mItems[2].mAux, 0xCCBBAAu);
        // Items before the block base time (the clock at the open): 8-byte times, then the 4-byte hints.
        EXPECT_EQ(std::filesystem::file_size(path), 57562u + 2 * (8 + 4 + 17)) << "nothing of the first file";
    }
}

Bytes HealthRsp(uint16_t key, unsigned char tag) {
    return Bytes{75, 18, static_cast<unsigned char>(key), static_cast<unsigned char>(key >> 8), tag};
}

TEST(ISFStore, KeptResponsesAreReplayedInKeyOrderAtEveryClose) {
    cTempDir dir;
    cISFStore store;
    ASSERT_EQ(store.OpenNewFileStore(dir.File("a.isf").c_str()), 0u);
    const Bytes fileList = {128, 18, 0x00, 0x02, 1};  // key 0x0200
    const Bytes other = {9, 9, 0x01, 0x00};           // protocol 0: kept under key 1
    ASSERT_EQ(Write(store, 3, HealthRsp(57, 1), kT0), 0u);
    ASSERT_EQ(Write(store, 3, HealthRsp(53, 1), kT0), 0u);
    ASSERT_EQ(Write(store, 3, HealthRsp(53, 2), kT0), 0u);  // replaces the first 53
    ASSERT_EQ(Write(store, 3, fileList, kT0), 0u);
    ASSERT_EQ(Write(store, 0, other, kT0), 0u);
    const std::vector<Bytes> replayed = {other, HealthRsp(53, 2), HealthRsp(57, 1), fileList};

    const FILETIME beforeClose = CurrentFiletime();
    store.CloseFileStore();
    sISFFile file = ReadGood(dir.File("a.isf"));
    EXPECT_EQ(Payloads(file, 6), replayed);
    EXPECT_EQ(file.mItems.back().mType, 9u) << "types are derived again";
    EXPECT_GE(file.mItems.back().mTimeMs, beforeClose / 10000) << "stamped with the time of the close";

    ASSERT_EQ(store.OpenNewFileStore(dir.File("b.isf").c_str()), 0u);
    store.CloseFileStore();
    EXPECT_EQ(Payloads(ReadGood(dir.File("b.isf")), 1), replayed);
}

TEST(ISFStore, SizeLimitsAndCallsWithoutAFileOrAfterAFailedOpen) {
    cTempDir dir;
    const std::string path = dir.File("sizes.isf");
    cISFStore store;
    const Bytes largest(16640, 0x42);
    EXPECT_EQ(Write(store, 3, largest, kT0), 0u) << "no file: nothing written, success";
    ASSERT_EQ(store.OpenNewFileStore(path.c_str()), 0u);
    EXPECT_EQ(store.OpenNewFileStore(dir.File("missing/dir/x.isf").c_str()), 9u) << "the file stays open";
    EXPECT_EQ(store.OpenNewFileStore(nullptr), 9u);
    EXPECT_EQ(Write(store, 3, largest, kT0), 0u);
    EXPECT_EQ(Write(store, 3, Bytes(16641, 0x42), kT0), 22u);
    EXPECT_EQ(store.WriteItem(3, 0, largest.data(), kT0), 22u);
    EXPECT_EQ(store.WriteItem(3, 5, nullptr, kT0), 22u);
    EXPECT_EQ(store.WriteItem(nullptr, kT0, ITEM_TYPE_DERIVE), 22u);
    store.CloseFileStore();
    EXPECT_EQ(Payloads(ReadGood(path), 1), std::vector<Bytes>{largest});
}

// The arrays of WriteItem and WriteItemWithTS, split without a JVM; the store with no file open answers.
TEST(ISFItemArray, PrefixesAreReadOnlyWhenTheArrayHoldsThem) {
    const unsigned int kAbsent = 0xFFFFFFFF;
    const FILETIME kUnixEpoch = 116444736000000000ULL;  // 0x019DB1DED53E8000, little-endian below
    struct {
        bool mStamped;
        Bytes mArray;
        unsigned int mProtocol;
        FILETIME mTime;
        Bytes mPacket;
        unsigned int mStatus;
    } const cases[] = {
        {false, {0x02, 0x02, 0, 0, 0x4B, 0x12}, 514, 0, {0x4B, 0x12}, 0},
        {false, {3, 0, 0, 0}, 3, 0, {}, 22},  // protocol only
        {false, {3, 0, 0}, kAbsent, 0, {}, 22},
        {true, {0x00, 0x80, 0x3E, 0xD5, 0xDE, 0xB1, 0x9D, 0x01, 4, 0, 0, 0, 0x10}, 4, kUnixEpoch, {0x10}, 0},
        {true, {0x00, 0x80, 0x3E, 0xD5, 0xDE, 0xB1, 0x9D, 0x01, 3, 0, 0, 0}, 3, kUnixEpoch, {}, 22},
        {true, {0x00, 0x80, 0x3E, 0xD5, 0xDE, 0xB1, 0x9D, 0x01, 3, 0, 0}, kAbsent, 0, {}, 22},
    };
    cISFStore store;
    for (const auto& c : cases) {
        SCOPED_TRACE(&c - cases);
        const sItemArray item = ParseItemArray(c.mArray.data(), c.mArray.size(), c.mStamped);
        EXPECT_EQ(item.mProtocol, c.mProtocol);
        EXPECT_EQ(item.mTime, c.mTime);
        EXPECT_EQ(Bytes(item.mPacket, item.mPacket + item.mLength), c.mPacket);
        EXPECT_EQ(store.WriteItem(item.mProtocol, item.mLength, item.mPacket, item.mTime), c.mStatus);
    }
}

// WCDMA system-information blocks the store rebuilds (that it rebuilds them: the tool test of the real
// capture) follow the completing item with its time, also when the segments span two files of one store.
TEST(ISFStoreWCDMA, ABlockSplitAcrossTwoFilesOfOneStoreFollowsTheCompletingItemInTheSecond) {
    // kT0 + 7 ms in the diagnostic time format. 2020-01-01 is 14605 days after 1980-01-06 (40 years of
    // which 10 leap years, less 5 days): 1,261,872,000 s = 1,009,497,600,000 periods of 1.25 ms. 7 ms are 5
    // periods and 0.6 of one, 0.6 x 49152 = 29491.2.
    const unsigned long long kCDMATime = ((1009497600000ULL + 5) << 16) + 29491;
    using namespace wcdma_test;
    const BitString seg = PatternBits(222, 1);
    const BitString tail = PatternBits(30, 3);
    const Bytes first = cSIMessageWriter::BCH(PAYLOAD_FIRST_SEGMENT).FirstSegment(12, 2, seg).Log();
    const Bytes last = cSIMessageWriter::BCH(PAYLOAD_LAST_SEGMENT_SHORT).LastSegmentShort(12, 1, tail).Log();
    Bytes rebuilt = RebuiltLog(254, 0, 12, seg + tail);
    PutLE(&rebuilt[8], kCDMATime, 8);
    cTempDir dir;
    cISFStore store;
    ASSERT_EQ(store.OpenNewFileStore(dir.File("one.isf").c_str()), 0u);
    ASSERT_EQ(Write(store, 3, first, AtMs(1)), 0u);
    ASSERT_EQ(store.OpenNewFileStore(dir.File("two.isf").c_str()), 0u);  // closes the first file
    ASSERT_EQ(Write(store, 3, last, AtMs(7)), 0u);
    store.CloseFileStore();
    EXPECT_EQ(Payloads(ReadGood(dir.File("one.isf")), 1), std::vector<Bytes>{first});
    const sISFFile two = ReadGood(dir.File("two.isf"));
    ASSERT_EQ(Payloads(two, 1), (std::vector<Bytes>{last, rebuilt}));
    EXPECT_EQ(two.mItems[2].mType, 8u) << "an over-the-air log";
    EXPECT_EQ(two.mItems[2].mTimeMs, kT0Ms + 7);
}

}  // namespace
