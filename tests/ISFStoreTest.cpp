// Files written through the store and read back through the reader in tools/.
#include <time.h>

#include <cstring>
#include <fstream>
#include <iterator>

#include "tests/ISFTestSupport.h"
#include "tests/LogCapture.h"

namespace {

using namespace isftest;

// Reads a file that must be consistent; `closed` is what its trailer must say.
sISFFile ReadGood(const std::string& path, bool closed = true) {
    const sISFFile file = ReadISFFile(path);
    EXPECT_TRUE(file.Consistent()) << path << "\n" << Problems(file);
    EXPECT_EQ(file.mClosed, closed) << path;
    return file;
}

std::vector<Bytes> Payloads(const sISFFile& file, size_t from) {
    std::vector<Bytes> payloads;
    for (size_t i = from; i < file.mItems.size(); ++i) {
        payloads.push_back(file.mItems[i].mPayload);
    }
    return payloads;
}

// A time `deltaMs` from the base time of the first block, which the open set from the clock.
FILETIME AtBase(const std::string& path, int64_t deltaMs) {
    const sISFFile file = ReadISFFile(path);
    return static_cast<FILETIME>(static_cast<int64_t>(file.mBlocks.at(0).mBaseMs) + deltaMs) * 10000;
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

TEST(ISFStore, The8193rdItemStartsASecondBlockAndPatchesTheFirstBlocksLink) {
    cTempDir dir;
    const std::string path = dir.File("two-blocks.isf");
    cISFStore store;
    ASSERT_EQ(store.OpenNewFileStore(path.c_str()), 0u);
    const FILETIME time = AtBase(path, 3);
    for (int i = 1; i < 8192; ++i) {  // items 2 to 8192 of the file
        ASSERT_EQ(Write(store, 3, LogPacket(0x1234, 4), time), 0u);
    }
    EXPECT_EQ(ReadGood(path, false).mBlocks.at(0).mNext, 0u);
    ASSERT_EQ(Write(store, 3, LogPacket(0x1234, 9), time + 69997 * 10000), 0u);
    store.CloseFileStore();
    const sISFFile file = ReadGood(path);
    ASSERT_EQ(file.mBlocks.size(), 2u);
    // 4 + 57360 + (1 + 165) for the tool-version record + 8191 records of 1 + 20 bytes.
    const uint64_t secondBlock = 4 + 57360 + 166 + 8191ULL * 21;
    EXPECT_EQ(file.mBlocks[1].mOffset, secondBlock);
    EXPECT_EQ(file.mBlocks[0].mNext, secondBlock);
    EXPECT_EQ(file.mBlocks[1].mBaseMs, file.mBlocks[0].mBaseMs + 70000);
    ASSERT_EQ(file.mItems.size(), 8193u);
    EXPECT_EQ(file.mItems.back().mRecordOffset, secondBlock + 57360);
    EXPECT_EQ(file.mItems.back().mSlot, 0u);
    EXPECT_EQ(file.mItems.back().mTimeField, 0u);
    EXPECT_EQ(file.mTrailerCount, 8193u);
}

// The closing table grows with the file: 17 index blocks (the tool-version record and 16 full blocks, then
// one item), each named by its descriptor, every item read back in order with its own time.
TEST(ISFStore, SeventeenIndexBlocksAreEachInTheTableAndEveryItemReadsBackInOrder) {
    cTempDir dir;
    const std::string path = dir.File("seventeen-blocks.isf");
    const uint32_t items = 16 * 8192;  // with the tool-version record, one item in the 17th block
    cISFStore store;
    ASSERT_EQ(store.OpenNewFileStore(path.c_str()), 0u);
    const FILETIME start = AtBase(path, 0);
    Bytes packet = LogPacket(0x1234, 4);
    for (uint32_t i = 0; i < items; ++i) {
        PutLE(&packet[16], i, 4);
        ASSERT_EQ(Write(store, 3, packet, start + i * 10000ULL), 0u) << i;
    }
    store.CloseFileStore();
    const sISFFile file = ReadGood(path);
    ASSERT_EQ(file.mBlocks.size(), 17u);
    ASSERT_EQ(file.mItems.size(), items + 1u);
    EXPECT_EQ(file.mTrailerCount, items + 1u);
    EXPECT_EQ(file.mItems.back().mBlock, 16u);
    for (uint32_t i = 0; i < items; ++i) {
        const sISFItem& item = file.mItems[i + 1];
        ASSERT_EQ(GetLE(&item.mPayload[16], 4), i);
        ASSERT_EQ(item.mTimeMs, file.mBlocks[0].mBaseMs + i) << i;
    }
}

Bytes Request99(unsigned char hint) {
    Bytes packet(28, 0);
    packet[0] = 99;
    packet[27] = hint;
    return packet;
}

TEST(ISFStore, ItemTypesAndAuxiliaryValuesOfATableOfPackets) {
    const uint32_t kNone = 0xFFFFFFFF;
    struct sCase {
        const char* mName;
        unsigned int mProtocol;
        Bytes mPacket;
        unsigned int mType;  // 99 for a refused item
        uint32_t mAux;
    } const cases[] = {
        {"log of 15 bytes", 3, Bytes{0x10, 0, 11, 0, 11, 0, 0x04, 0x10, 0, 0, 0, 0, 0, 0, 0}, 0, kNone},
        {"plain log", 3, LogPacket(0x1234, 3), 5, kNone},
        {"OTA log, hint A unset", 3, LogPacket(0x1004, 3), 8, kNone},
        {"request 99 sets hint A to 5", 4, Request99(5), 2, kNone},
        {"OTA log carries hint A", 3, LogPacket(0x1004, 3), 8, 5},
        {"hint A still 5", 3, LogPacket(0x138D, 0), 8, 5},
        {"0x1048 carries no hint", 3, LogPacket(0x1048, 2), 8, kNone},
        {"OTA 0x412F, hint B unset", 3, LogPacket(0x412F, 2), 8, kNone},
        {"dispatch request 9/0 sets hint B", 4, Bytes{75, 9, 0, 0, 0x01, 0x02, 0x03}, 10, kNone},
        {"OTA 0x412F carries hint B", 3, LogPacket(0x412F, 2), 8, 0x030201},
        {"event 96 0 0 of 3 bytes", 3, Bytes{96, 0, 0}, 1, kNone},
        {"event 96 0 1", 3, Bytes{96, 0, 1}, 4, kNone},
        {"event 96 of 4 bytes", 3, Bytes{96, 0, 0, 0}, 4, kNone},
        {"116 0 0 of 3 bytes", 3, Bytes{116, 0, 0}, 1, kNone},
        {"116 of 2 bytes", 3, Bytes{116, 0}, 4, kNone},
        {"message 31", 3, Bytes{31, 1}, 6, kNone},
        {"message 121", 3, Bytes{121}, 6, kNone},
        {"message 146", 3, Bytes{146, 2, 3}, 6, kNone},
        {"command 117", 3, Bytes{117, 1}, 1, kNone},
        {"dispatch response 75", 3, Bytes{75, 1, 2, 0}, 9, kNone},
        {"dispatch response 128", 3, Bytes{128, 1, 2, 0}, 9, kNone},
        {"request 96", 4, Bytes{96, 1}, 2, kNone},
        {"request 128", 4, Bytes{128, 1}, 10, kNone},
        {"protocol 514", 514, Bytes{1, 2}, 7, kNone},
        {"protocol 60 log, kept", 60, LogPacket(0x1234, 0), 5, kNone},
        {"unknown command 200", 3, Bytes{200, 1}, 1, kNone},
        {"protocol 11 refused", 11, Bytes{1, 2}, 99, kNone},
    };
    cTempDir dir;
    const std::string path = dir.File("types.isf");
    std::vector<const sCase*> stored;
    {
        cISFStore store;
        ASSERT_EQ(store.OpenNewFileStore(path.c_str()), 0u);
        for (const sCase& c : cases) {
            cLogCapture log;
            const bool refused = c.mType == 99;
            EXPECT_EQ(Write(store, c.mProtocol, c.mPacket, kT0), refused ? 22u : 0u) << c.mName;
            if (refused) {
                EXPECT_EQ(log.Texts(), std::vector<std::string>{"invalid item written"}) << c.mName;
            } else if (c.mPacket[0] >= 154) {
                EXPECT_EQ(log.Texts(), std::vector<std::string>{"Bad Diag type 200"}) << c.mName;
            }
            if (!refused) {
                stored.push_back(&c);
            }
        }
        store.CloseFileStore();  // writes the kept protocol-60 packet again
    }
    const sISFFile file = ReadGood(path);
    ASSERT_EQ(file.mItems.size(), 1 + stored.size() + 1);
    for (size_t i = 0; i < stored.size(); ++i) {
        const sISFItem& item = file.mItems[i + 1];
        EXPECT_EQ(item.mType, stored[i]->mType) << stored[i]->mName;
        EXPECT_EQ(item.mHasAux ? item.mAux : kNone, stored[i]->mAux) << stored[i]->mName;
        EXPECT_EQ(item.mPayload, stored[i]->mPacket) << stored[i]->mName;
    }
    EXPECT_EQ(file.mItems.back().mPayload, LogPacket(0x1234, 0));
}

// Opening the file being written, under any name for it, gives exactly the new file: the old one is
// finished first, so its table and trailer do not end up behind the new items. The hints of the store
// survive the change of file.
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
        EXPECT_EQ(file.mTrailerCount, 3u);
        ASSERT_EQ(Payloads(file, 1), (std::vector<Bytes>{LogPacket(0x10D7, 1), LogPacket(0x412F, 1)}));
        EXPECT_EQ(file.mItems[1].mAux, 7u);
        EXPECT_EQ(file.mItems[2].mAux, 0xCCBBAAu);
        // Items before the block base time (the clock at the open): 8-byte times, then the 4-byte hints.
        EXPECT_EQ(std::filesystem::file_size(path), 57562u + 2 * (8 + 4 + 17)) << "nothing of the first file";
    }
}

// A debug-trace response (subsystem 37) to `command` (8: GetItem) carrying `inner` with `status`.
Bytes TraceRsp(const Bytes& inner, unsigned char status = 0, unsigned char command = 8) {
    Bytes packet = {75, 37, command, 0, 0, 0, 0, 0, 2, status, 0, 0, 0};
    for (unsigned char byte : inner) {  // not insert(): g++ 12 warns wrongly for an empty `inner`
        packet.push_back(byte);
    }
    return packet;
}

TEST(ISFStore, ADebugTraceItemResponseIsStoredAndUnwrapped) {
    const Bytes log = LogPacket(0x1234, 3);
    const Bytes event = {96, 0, 0};
    struct {
        unsigned int mProtocol;
        Bytes mPacket;
        std::vector<Bytes> mPayloads;  // the items it makes, all with its timestamp
        std::vector<unsigned int> mTypes;
    } const cases[] = {
        {3, TraceRsp(log), {TraceRsp(log), log}, {9, 5}},
        {3, TraceRsp(event), {TraceRsp(event), event}, {9, 1}},
        {3, TraceRsp(TraceRsp(log)), {TraceRsp(TraceRsp(log)), TraceRsp(log), log}, {9, 9, 5}},
        {3, TraceRsp(log, 1), {TraceRsp(log, 1)}, {9}},        // status not 0
        {3, TraceRsp({}), {TraceRsp({})}, {9}},                // no inner item
        {3, TraceRsp(log, 0, 7), {TraceRsp(log, 0, 7)}, {9}},  // GetRange, not GetItem
        {4, TraceRsp(log), {TraceRsp(log)}, {10}},             // a request
    };
    cTempDir dir;
    cISFStore store;
    ASSERT_EQ(store.OpenNewFileStore(dir.File("trace.isf").c_str()), 0u);
    std::vector<Bytes> payloads;
    std::vector<unsigned int> types;
    std::vector<uint64_t> times;
    for (const auto& c : cases) {
        const uint64_t ms = kT0Ms + 1000 * (&c - cases);
        ASSERT_EQ(Write(store, c.mProtocol, c.mPacket, ms * 10000), 0u);
        payloads.insert(payloads.end(), c.mPayloads.begin(), c.mPayloads.end());
        types.insert(types.end(), c.mTypes.begin(), c.mTypes.end());
        times.insert(times.end(), c.mTypes.size(), ms);
    }
    store.CloseFileStore();
    const sISFFile file = ReadGood(dir.File("trace.isf"));
    ASSERT_EQ(Payloads(file, 1), payloads);
    for (size_t i = 0; i < types.size(); ++i) {
        EXPECT_EQ(file.mItems[i + 1].mType, types[i]) << i;
        EXPECT_EQ(file.mItems[i + 1].mTimeMs, times[i]) << i;
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
    EXPECT_EQ(cISFStoreInspector::ItemCount(store), 0u);
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

}  // namespace
