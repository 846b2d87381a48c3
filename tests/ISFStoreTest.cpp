// Files written through the store and read back through the reader in tools/.
#include <sys/stat.h>

#include <fstream>
#include <iterator>

#include "tests/ISFTestSupport.h"
#include "tests/LogCapture.h"

namespace {

using namespace isftest;

Bytes ReadBytes(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// Base time of the first block, which the tool-version record written at open set from the clock.
uint64_t FirstBaseMs(const std::string& path) {
    const sISFFile file = ReadISFFile(path);
    return file.mBlocks.empty() ? 0 : file.mBlocks[0].mBaseMs;
}

FILETIME AtBase(uint64_t baseMs, int64_t deltaMs) {
    return static_cast<FILETIME>(static_cast<int64_t>(baseMs) + deltaMs) * 10000;
}

TEST(ISFStore, OpenThenCloseWritesHeaderToolVersionTableAndTrailer) {
    cTempDir dir;
    const std::string path = dir.File("empty.isf");
    {
        cISFStore store;
        ASSERT_EQ(store.OpenNewFileStore(path.c_str()), 0u);
        store.CloseFileStore();
    }
    const Bytes bytes = ReadBytes(path);
    ASSERT_EQ(bytes.size(), 57562u) << "4 + 57360 + 1 + 165 + 16 + 16";
    EXPECT_EQ(Bytes(bytes.begin(), bytes.begin() + 4), (Bytes{0x08, 0x31, 0x60, 0xAB}));
    EXPECT_EQ(Bytes(bytes.begin() + 4, bytes.begin() + 4 + 7), (Bytes{0x05, 0, 0, 0, 0, 0xA5, 0x00}))
        << "entry 0: type 5, 1-byte time, record offset 0, length 165";
    EXPECT_EQ(bytes[57364], 0) << "the first record's time field is its block's own base time";
    EXPECT_EQ(Bytes(bytes.begin() + 57365, bytes.begin() + 57365 + 8),
              (Bytes{0x10, 0x00, 0xA1, 0x00, 0xA1, 0x00, 0xFD, 0x1F}));
    EXPECT_EQ(Bytes(bytes.end() - 32, bytes.end() - 24), (Bytes{4, 0, 0, 0, 0, 0, 0, 0}))
        << "descriptor offset";
    EXPECT_EQ(Bytes(bytes.end() - 16, bytes.end()),
              (Bytes{0, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0x07, 0x31, 0x60, 0xAB}));

    const sISFFile file = ReadISF(bytes);
    EXPECT_TRUE(file.Consistent()) << Problems(file);
    EXPECT_TRUE(file.mClosed);
    ASSERT_EQ(file.mItems.size(), 1u);
    EXPECT_EQ(file.mItems[0].mType, 5u);
    EXPECT_EQ(file.mItems[0].mPayload.size(), 165u);
}

TEST(ISFStore, The8193rdItemStartsASecondBlockAndPatchesTheFirstBlocksLink) {
    cTempDir dir;
    const std::string path = dir.File("two-blocks.isf");
    cISFStore store;
    ASSERT_EQ(store.OpenNewFileStore(path.c_str()), 0u);
    const uint64_t base = FirstBaseMs(path);
    const Bytes packet = LogPacket(0x1234, 4);
    for (int i = 1; i < 8192; ++i) {  // items 2 to 8192 of the file
        ASSERT_EQ(Write(store, 3, packet, AtBase(base, 3)), 0u);
    }
    sISFFile file = ReadISFFile(path);
    ASSERT_EQ(file.mBlocks.size(), 1u);
    EXPECT_EQ(file.mBlocks[0].mNext, 0u);

    ASSERT_EQ(Write(store, 3, LogPacket(0x1234, 9), AtBase(base, 70000)), 0u);
    store.CloseFileStore();
    file = ReadISFFile(path);
    EXPECT_TRUE(file.Consistent()) << Problems(file);
    ASSERT_EQ(file.mBlocks.size(), 2u);
    // 4 + 57360 + (1 + 165) for the tool-version record + 8191 records of 1 + 20 bytes.
    const uint64_t secondBlock = 4 + 57360 + 166 + 8191ULL * 21;
    EXPECT_EQ(file.mBlocks[1].mOffset, secondBlock);
    EXPECT_EQ(file.mBlocks[0].mNext, secondBlock);
    EXPECT_EQ(file.mBlocks[1].mBaseMs, base + 70000);
    ASSERT_EQ(file.mItems.size(), 8193u);
    const sISFItem& last = file.mItems.back();
    EXPECT_EQ(last.mBlock, 1u);
    EXPECT_EQ(last.mSlot, 0u);
    EXPECT_EQ(last.mRecordOffset, secondBlock + 57360);
    EXPECT_EQ(last.mWidthCode, 0u);
    EXPECT_EQ(last.mTimeField, 0u);
    EXPECT_EQ(file.mTrailerCount, 8193u);
}

TEST(ISFStore, TimeFieldTakesTheNarrowestWidthThatIsNotAllOnes) {
    struct {
        int64_t mDeltaMs;
        unsigned int mExtraUnits;  // sub-millisecond FILETIME units, truncated away
        unsigned int mWidthCode;
        uint64_t mFieldFromBase;  // expected field: the delta, or for code 3 base + delta
        unsigned int mRecordHeader;
    } const cases[] = {
        {0, 9999, 0, 0, 1},
        {254, 0, 0, 254, 1},
        {255, 0, 1, 255, 2},
        {65534, 0, 1, 65534, 2},
        {65535, 0, 2, 65535, 4},
        {4294967294LL, 0, 2, 4294967294ULL, 4},
        {4294967295LL, 0, 3, 4294967295ULL, 8},
        {-1, 9999, 3, ~0ULL, 8},  // the clock went backwards: absolute milliseconds
    };
    cTempDir dir;
    const std::string path = dir.File("widths.isf");
    cISFStore store;
    ASSERT_EQ(store.OpenNewFileStore(path.c_str()), 0u);
    const uint64_t base = FirstBaseMs(path);
    for (const auto& c : cases) {
        ASSERT_EQ(Write(store, 3, LogPacket(0x1234, 1), AtBase(base, c.mDeltaMs) + c.mExtraUnits), 0u);
    }
    store.CloseFileStore();
    const sISFFile file = ReadISFFile(path);
    EXPECT_TRUE(file.Consistent()) << Problems(file);
    ASSERT_EQ(file.mItems.size(), 1 + std::size(cases));
    for (size_t i = 0; i < std::size(cases); ++i) {
        const sISFItem& item = file.mItems[i + 1];
        EXPECT_EQ(item.mWidthCode, cases[i].mWidthCode) << "delta " << cases[i].mDeltaMs;
        const uint64_t field =
            cases[i].mWidthCode == 3 ? base + cases[i].mFieldFromBase : cases[i].mFieldFromBase;
        EXPECT_EQ(item.mTimeField, field) << "delta " << cases[i].mDeltaMs;
        EXPECT_EQ(item.mPayloadOffset - item.mRecordOffset, cases[i].mRecordHeader);
        EXPECT_EQ(item.mTimeMs, base + static_cast<uint64_t>(cases[i].mDeltaMs));
    }
}

Bytes Request99(unsigned char hint) {
    Bytes packet(28, 0);
    packet[0] = 99;
    packet[27] = hint;
    return packet;
}

TEST(ISFStore, ItemTypesAndAuxiliaryValuesOfATableOfPackets) {
    struct sCase {
        const char* mName;
        unsigned int mProtocol;
        Bytes mPacket;
        bool mStored;  // requests that only set hints are stored too: all are
        unsigned int mType;
        uint32_t mAux;
    };
    const uint32_t kNone = 0xFFFFFFFF;
    const sCase cases[] = {
        {"log of 15 bytes", 3, Bytes{0x10, 0, 11, 0, 11, 0, 0x04, 0x10, 0, 0, 0, 0, 0, 0, 0}, true, 0, kNone},
        {"plain log", 3, LogPacket(0x1234, 3), true, 5, kNone},
        {"OTA log, hint A unset", 3, LogPacket(0x1004, 3), true, 8, kNone},
        {"request 99 sets hint A to 5", 4, Request99(5), true, 2, kNone},
        {"OTA log carries hint A", 3, LogPacket(0x1004, 3), true, 8, 5},
        {"request 99 with 13 leaves hint A", 4, Request99(13), true, 2, kNone},
        {"hint A still 5", 3, LogPacket(0x138D, 0), true, 8, 5},
        {"0x138A is not over-the-air", 3, LogPacket(0x138A, 2), true, 5, kNone},
        {"0x1048 carries no hint", 3, LogPacket(0x1048, 2), true, 8, kNone},
        {"OTA 0x412F, hint B unset", 3, LogPacket(0x412F, 2), true, 8, kNone},
        {"dispatch request 9/0 sets hint B", 4, Bytes{75, 9, 0, 0, 0x01, 0x02, 0x03}, true, 10, kNone},
        {"OTA 0x412F carries hint B", 3, LogPacket(0x412F, 2), true, 8, 0x030201},
        {"event 96 0 0 of 3 bytes", 3, Bytes{96, 0, 0}, true, 1, kNone},
        {"event 96 0 1", 3, Bytes{96, 0, 1}, true, 4, kNone},
        {"event 96 of 4 bytes", 3, Bytes{96, 0, 0, 0}, true, 4, kNone},
        {"116 0 0 of 3 bytes", 3, Bytes{116, 0, 0}, true, 1, kNone},
        {"116 of 2 bytes", 3, Bytes{116, 0}, true, 4, kNone},
        {"message 31", 3, Bytes{31, 1}, true, 6, kNone},
        {"message 121", 3, Bytes{121}, true, 6, kNone},
        {"message 146", 3, Bytes{146, 2, 3}, true, 6, kNone},
        {"command 117", 3, Bytes{117, 1}, true, 1, kNone},
        {"dispatch response 75", 3, Bytes{75, 1, 2, 0}, true, 9, kNone},
        {"dispatch response 128", 3, Bytes{128, 1, 2, 0}, true, 9, kNone},
        {"request 96", 4, Bytes{96, 1}, true, 2, kNone},
        {"request 128", 4, Bytes{128, 1}, true, 10, kNone},
        {"protocol 514", 514, Bytes{1, 2}, true, 7, kNone},
        {"protocol 60 log", 60, LogPacket(0x1234, 0), true, 5, kNone},
        {"unknown command 200", 3, Bytes{200, 1}, true, 1, kNone},
        {"protocol 11 refused", 11, Bytes{1, 2}, false, 0, kNone},
        {"protocol 515 refused", 515, Bytes{1, 2}, false, 0, kNone},
    };
    cTempDir dir;
    const std::string path = dir.File("types.isf");
    std::vector<const sCase*> stored;
    {
        cISFStore store;
        ASSERT_EQ(store.OpenNewFileStore(path.c_str()), 0u);
        for (const sCase& c : cases) {
            cLogCapture log;
            EXPECT_EQ(Write(store, c.mProtocol, c.mPacket, kT0), c.mStored ? 0u : 22u) << c.mName;
            const std::vector<std::string> texts = log.Texts();
            if (!c.mStored) {
                EXPECT_EQ(texts, std::vector<std::string>{"invalid item written"}) << c.mName;
            } else if (c.mPacket[0] >= 154) {
                EXPECT_EQ(texts, std::vector<std::string>{"Bad Diag type 200"}) << c.mName;
            }
            if (c.mStored) {
                stored.push_back(&c);
            }
        }
        // The kept protocol-60 packet is written again at close; nothing else here qualifies.
        store.CloseFileStore();
    }
    const sISFFile file = ReadISFFile(path);
    EXPECT_TRUE(file.Consistent()) << Problems(file);
    ASSERT_EQ(file.mItems.size(), 1 + stored.size() + 1);
    for (size_t i = 0; i < stored.size(); ++i) {
        const sISFItem& item = file.mItems[i + 1];
        EXPECT_EQ(item.mType, stored[i]->mType) << stored[i]->mName;
        EXPECT_EQ(item.mHasAux, stored[i]->mAux != kNone) << stored[i]->mName;
        EXPECT_EQ(item.mAux, stored[i]->mAux) << stored[i]->mName;
        EXPECT_EQ(item.mPayload, stored[i]->mPacket) << stored[i]->mName;
    }
    EXPECT_EQ(file.mItems.back().mPayload, LogPacket(0x1234, 0));
}

TEST(ISFStore, HintsSurviveClosingAndOpeningFiles) {
    cTempDir dir;
    cISFStore store;
    ASSERT_EQ(store.OpenNewFileStore(dir.File("a.isf").c_str()), 0u);
    ASSERT_EQ(Write(store, 4, Bytes{96, 0, 0, 0x03, 0x31, 0, 0, 0, 0, 0, 0, 0, 0, 7}, kT0),
              0u);                                                                // 0x3103 & 0xFFF
    ASSERT_EQ(Write(store, 514, Bytes{75, 9, 0, 0, 0xAA, 0xBB, 0xCC}, kT0), 0u);  // 514 is a request too
    ASSERT_EQ(store.OpenNewFileStore(dir.File("b.isf").c_str()), 0u);
    ASSERT_EQ(Write(store, 3, LogPacket(0x10D7, 1), kT0), 0u);
    ASSERT_EQ(Write(store, 3, LogPacket(0x412F, 1), kT0), 0u);
    store.CloseFileStore();
    const sISFFile file = ReadISFFile(dir.File("b.isf"));
    ASSERT_EQ(file.mItems.size(), 3u);
    EXPECT_EQ(file.mItems[1].mAux, 7u);
    EXPECT_EQ(file.mItems[2].mAux, 0xCCBBAAu);
}

// A debug-trace GetItem response (subsystem 37, command 8) carrying `inner` with `status`.
Bytes GetItemRsp(const Bytes& inner, unsigned char status = 0, unsigned int command = 8) {
    Bytes packet = {75, 37, static_cast<unsigned char>(command), 0, 0, 0, 0, 0, 2, status, 0, 0, 0};
    for (unsigned char byte : inner) {
        packet.push_back(byte);
    }
    return packet;
}

TEST(ISFStore, ADebugTraceItemResponseIsStoredAndUnwrapped) {
    const Bytes log = LogPacket(0x1234, 3);
    struct {
        const char* mName;
        unsigned int mProtocol;
        Bytes mPacket;
        std::vector<Bytes> mPayloads;  // what the file holds after the tool-version record
        std::vector<unsigned int> mTypes;
    } const cases[] = {
        {"inner log", 3, GetItemRsp(log), {GetItemRsp(log), log}, {9, 5}},
        {"inner response", 3, GetItemRsp({96, 0, 0}), {GetItemRsp({96, 0, 0}), {96, 0, 0}}, {9, 1}},
        {"nested",
         3,
         GetItemRsp(GetItemRsp(log)),
         {GetItemRsp(GetItemRsp(log)), GetItemRsp(log), log},
         {9, 9, 5}},
        {"status not 0", 3, GetItemRsp(log, 1), {GetItemRsp(log, 1)}, {9}},
        {"no inner item", 3, GetItemRsp({}), {GetItemRsp({})}, {9}},
        {"GetRange, not GetItem", 3, GetItemRsp(log, 0, 7), {GetItemRsp(log, 0, 7)}, {9}},
        {"a request", 4, GetItemRsp(log), {GetItemRsp(log)}, {10}},
    };
    for (const auto& c : cases) {
        cTempDir dir;
        const std::string path = dir.File("trace.isf");
        {
            cISFStore store;
            ASSERT_EQ(store.OpenNewFileStore(path.c_str()), 0u);
            ASSERT_EQ(Write(store, c.mProtocol, c.mPacket, CurrentFiletime() + 1234567), 0u) << c.mName;
            store.CloseFileStore();
        }
        const sISFFile file = ReadISFFile(path);
        EXPECT_TRUE(file.Consistent()) << c.mName << "\n" << Problems(file);
        ASSERT_EQ(file.mItems.size(), 1 + c.mPayloads.size()) << c.mName;
        for (size_t i = 0; i < c.mPayloads.size(); ++i) {
            const sISFItem& item = file.mItems[i + 1];
            EXPECT_EQ(item.mPayload, c.mPayloads[i]) << c.mName << " " << i;
            EXPECT_EQ(item.mType, c.mTypes[i]) << c.mName << " " << i;
            EXPECT_EQ(item.mTimeMs, file.mItems[1].mTimeMs) << c.mName << ": the same timestamp";
        }
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
    ASSERT_EQ(Write(store, 3, HealthRsp(54, 1), kT0), 0u);  // not a health command
    ASSERT_EQ(Write(store, 4, HealthRsp(55, 1), kT0), 0u);  // a request: neither kind
    ASSERT_EQ(Write(store, 3, fileList, kT0), 0u);
    ASSERT_EQ(Write(store, 0, other, kT0), 0u);
    const std::vector<Bytes> replayed = {other, HealthRsp(53, 2), HealthRsp(57, 1), fileList};

    const FILETIME beforeClose = CurrentFiletime();
    store.CloseFileStore();
    sISFFile file = ReadISFFile(dir.File("a.isf"));
    EXPECT_TRUE(file.Consistent()) << Problems(file);
    ASSERT_EQ(file.mItems.size(), 1u + 7 + 4);
    std::vector<Bytes> payloads = Payloads(file);
    EXPECT_EQ(std::vector<Bytes>(payloads.end() - 4, payloads.end()), replayed);
    EXPECT_EQ(file.mItems.back().mType, 9u) << "types are derived again";
    EXPECT_GE(file.mItems.back().mTimeMs, beforeClose / 10000) << "stamped with the time of the close";

    ASSERT_EQ(store.OpenNewFileStore(dir.File("b.isf").c_str()), 0u);
    store.CloseFileStore();
    file = ReadISFFile(dir.File("b.isf"));
    EXPECT_TRUE(file.Consistent()) << Problems(file);
    ASSERT_EQ(file.mItems.size(), 1u + 4);
    payloads = Payloads(file);
    EXPECT_EQ(std::vector<Bytes>(payloads.begin() + 1, payloads.end()), replayed);
}

TEST(ISFStore, OpeningASecondFileFinishesTheFirst) {
    cTempDir dir;
    cISFStore store;
    ASSERT_EQ(store.OpenNewFileStore(dir.File("a.isf").c_str()), 0u);
    ASSERT_EQ(Write(store, 3, LogPacket(0x1234, 2), kT0), 0u);
    ASSERT_EQ(store.OpenNewFileStore(dir.File("b.isf").c_str()), 0u);
    EXPECT_EQ(store.mItemCount, 1u);
    const sISFFile first = ReadISFFile(dir.File("a.isf"));
    EXPECT_TRUE(first.Consistent()) << Problems(first);
    EXPECT_TRUE(first.mClosed);
    EXPECT_EQ(first.mTrailerCount, 2u);
}

TEST(ISFStore, AFailedOpenLeavesThePreviousFileOpenAndWritable) {
    cTempDir dir;
    const std::string path = dir.File("kept.isf");
    cISFStore store;
    ASSERT_EQ(store.OpenNewFileStore(path.c_str()), 0u);
    ASSERT_EQ(Write(store, 3, LogPacket(0x1234, 1), kT0), 0u);
    EXPECT_EQ(store.OpenNewFileStore(dir.File("missing/dir/x.isf").c_str()), 9u);
    EXPECT_EQ(store.OpenNewFileStore(nullptr), 9u);
    ASSERT_EQ(Write(store, 3, LogPacket(0x1234, 2), kT0), 0u);
    store.CloseFileStore();
    const sISFFile file = ReadISFFile(path);
    EXPECT_TRUE(file.Consistent()) << Problems(file);
    EXPECT_TRUE(file.mClosed);
    EXPECT_EQ(file.mItems.size(), 3u);
}

TEST(ISFStore, ItemSizeLimitsAndWritingWithoutAFile) {
    cTempDir dir;
    const std::string path = dir.File("sizes.isf");
    cISFStore store;
    const Bytes largest(16640, 0x42);
    const Bytes tooLarge(16641, 0x42);
    EXPECT_EQ(Write(store, 3, largest, kT0), 0u) << "no file: nothing written, success";
    EXPECT_EQ(store.mItemCount, 0u);
    uint64_t length = 0;
    EXPECT_EQ(store.GetFileLength(length), 9u);
    EXPECT_EQ(store.SetFilePointer(0), 160u);
    EXPECT_EQ(store.WriteFile(0, largest.data(), 1), 160u);

    ASSERT_EQ(store.OpenNewFileStore(path.c_str()), 0u);
    EXPECT_EQ(store.WriteFile(0, nullptr, 1), 160u);
    EXPECT_EQ(store.WriteFile(0, largest.data(), 0), 160u);
    EXPECT_EQ(Write(store, 3, largest, kT0), 0u);
    EXPECT_EQ(Write(store, 3, tooLarge, kT0), 22u);
    EXPECT_EQ(store.WriteItem(3, 0, largest.data(), kT0), 22u);
    EXPECT_EQ(store.WriteItem(3, 5, nullptr, kT0), 22u);
    EXPECT_EQ(store.WriteItem(nullptr, kT0, ITEM_TYPE_DERIVE), 22u);
    sSharedBuffer empty(nullptr, 0, 3);
    EXPECT_EQ(store.InternalWriteItem(&empty, kT0, ITEM_TYPE_DERIVE), 160u);
    store.CloseFileStore();
    const sISFFile file = ReadISFFile(path);
    EXPECT_TRUE(file.Consistent()) << Problems(file);
    ASSERT_EQ(file.mItems.size(), 2u);
    EXPECT_EQ(file.mItems[1].mPayload, largest);
}

}  // namespace
