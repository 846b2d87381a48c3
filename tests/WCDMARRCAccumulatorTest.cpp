#include "wcdma/WCDMARRCAccumulator.h"

#include <gtest/gtest.h>

#include <list>
#include <string>
#include <utility>
#include <vector>

#include "tests/SIMessageWriter.h"

namespace {

using namespace wcdma_test;
using SI = cSIMessageWriter;

struct sBuilt {
    Bytes mPayload;                 // bytes 16 onward of the rebuilt log
    unsigned long long mTimestamp;  // bytes 8..15
};

// Hands `log` to the accumulator, checks the log header of every rebuilt log and frees it.
std::vector<sBuilt> Feed(cWCDMARRCAccumulator& accumulator, const Bytes& log,
                         unsigned long long timestamp = 0) {
    sSharedBuffer item(log.data(), static_cast<unsigned int>(log.size()), 3);
    std::list<sSharedBuffer*> out = accumulator.ProcessItem(&item, timestamp);
    std::vector<sBuilt> built;
    for (sSharedBuffer* buffer : out) {
        EXPECT_TRUE(IsUsableBuffer(buffer));
        const Bytes bytes(buffer->mData, buffer->mData + buffer->mSize);
        EXPECT_EQ(buffer->mProtocol, 3u);
        EXPECT_EQ(buffer->mRefCount, 0u);
        EXPECT_GE(bytes.size(), 16u);
        const unsigned int length = bytes[2] | bytes[3] << 8;
        EXPECT_EQ(Bytes(bytes.begin(), bytes.begin() + 8),
                  Bytes({0x10, 0x00, bytes[2], bytes[3], bytes[2], bytes[3], 0x2F, 0x41}));
        EXPECT_EQ(length + 4, bytes.size());
        unsigned long long stamp = 0;
        for (int i = 15; i >= 8; --i) {
            stamp = stamp << 8 | bytes[i];
        }
        built.push_back({Bytes(bytes.begin() + 16, bytes.end()), stamp});
        delete buffer;
    }
    return built;
}

std::vector<Bytes> Payloads(const std::vector<sBuilt>& built) {
    std::vector<Bytes> payloads;
    for (const sBuilt& b : built) {
        payloads.push_back(b.mPayload);
    }
    return payloads;
}

std::vector<Bytes> FeedPayloads(cWCDMARRCAccumulator& accumulator, const Bytes& log) {
    return Payloads(Feed(accumulator, log));
}

const BitString kSeg1 = PatternBits(222, 1);
const BitString kSeg2 = PatternBits(222, 2);
const BitString kSeg3 = PatternBits(222, 3);
const BitString kWhole = PatternBits(226, 9);

// ---- Whole SIBs

TEST(WCDMARRCAccumulator, CompleteSIBIsRebuiltWithTheChannelItCameFrom) {
    const struct {
        SI mMessage;
        unsigned char mChannel;
    } cases[] = {{SI::BCH(kCompleteSIB, 1234).CompleteSIB(13, kWhole), 254},
                 {SI::FACH(kCompleteSIB).CompleteSIB(13, kWhole), 255}};
    for (const auto& c : cases) {
        cWCDMARRCAccumulator accumulator;
        const std::vector<sBuilt> built = Feed(accumulator, c.mMessage.Log(0x5A), 0x0123456789ABCDEFull);
        ASSERT_EQ(built.size(), 1u);
        // 40 header bits + 226 data bits padded to 272: a 34-byte payload whose length word is 30.
        ASSERT_EQ(built[0].mPayload.size(), 34u);
        EXPECT_EQ(Bytes(built[0].mPayload.begin(), built[0].mPayload.begin() + 5),
                  Bytes({c.mChannel, 0x5A, 30, 0, 13}));
        EXPECT_EQ(built[0].mPayload, RebuiltPayload(c.mChannel, 0x5A, 13, kWhole));
        EXPECT_EQ(built[0].mTimestamp, 0x0123456789ABCDEFull);
        EXPECT_TRUE(accumulator.mSIMs.empty());
    }
}

TEST(WCDMARRCAccumulator, CompleteSIBListYieldsEveryMemberInOrder) {
    const std::vector<std::pair<unsigned int, BitString>> sibs = {
        {0, PatternBits(62, 4)}, {7, PatternBits(1, 5)}, {2, PatternBits(214, 6)}, {31, PatternBits(255, 7)}};
    for (bool bch : {true, false}) {
        cWCDMARRCAccumulator accumulator;
        const SI message =
            (bch ? SI::BCH(kCompleteSIBList) : SI::FACH(kCompleteSIBList)).CompleteSIBList(sibs);
        std::vector<Bytes> expected;
        for (const auto& sib : sibs) {
            expected.push_back(
                RebuiltPayload(bch ? 254 : 255, 3, static_cast<unsigned char>(sib.first), sib.second));
        }
        EXPECT_EQ(FeedPayloads(accumulator, message.Log(3)), expected);
        EXPECT_TRUE(accumulator.mSIMs.empty());
    }
}

TEST(WCDMARRCAccumulator, ListOfSixteenAndAListThatRunsShort) {
    std::vector<std::pair<unsigned int, BitString>> sibs;
    for (unsigned int i = 0; i < 16; ++i) {
        sibs.push_back({i, PatternBits(20 + i, 100 + i)});
    }
    cWCDMARRCAccumulator accumulator;
    EXPECT_EQ(FeedPayloads(accumulator, SI::BCH(kCompleteSIBList).CompleteSIBList(sibs).Log()).size(), 16u);

    // The 10th entry announces more bits than the message holds: the first nine stay in the result.
    SI shortList = SI::BCH(kCompleteSIBList).Field(4, 15);
    for (unsigned int i = 0; i < 9; ++i) {
        shortList.Field(5, i).Field(8, 9).Data(PatternBits(10, i));
    }
    shortList.Field(5, 9).Field(8, 200).Data(PatternBits(100, 9));
    const std::vector<Bytes> payloads = FeedPayloads(accumulator, shortList.Log());
    ASSERT_EQ(payloads.size(), 9u);
    EXPECT_EQ(payloads[8], RebuiltPayload(254, 0, 8, PatternBits(10, 8)));
}

TEST(WCDMARRCAccumulator, LengthFieldOf255CarriesNoBits) {
    const BitString after = PatternBits(30, 11);
    // The 8-bit length wraps: field 255 stands for 0 bits, and the next entry follows at once.
    const SI message =
        SI::BCH(kCompleteSIBList).Field(4, 1).Field(5, 6).Field(8, 255).Field(5, 8).Field(8, 29).Data(after);
    cWCDMARRCAccumulator accumulator;
    EXPECT_EQ(FeedPayloads(accumulator, message.Log()),
              std::vector<Bytes>({{254, 0, 1, 0, 6}, RebuiltPayload(254, 0, 8, after)}));
}

// ---- Segmented SIBs

TEST(WCDMARRCAccumulator, SegmentsAreJoinedWhenTheLastArrives) {
    const BitString tail = PatternBits(37, 12);
    std::vector<BitString> many;
    for (unsigned int i = 0; i < 16; ++i) {
        many.push_back(PatternBits(222, 200 + i));
    }
    struct sCase {
        const char* mName;
        std::vector<Bytes> mLogs;
        BitString mBits;
    };
    std::vector<sCase> cases = {
        {"two, fixed last",
         {SI::BCH(kFirstSegment).FirstSegment(19, 2, kSeg1).Log(),
          SI::BCH(kLastSegment).LastSegment(19, 1, kSeg2).Log()},
         kSeg1 + kSeg2},
        {"two, short last",
         {SI::BCH(kFirstSegment).FirstSegment(19, 2, kSeg1).Log(),
          SI::BCH(kLastSegmentShort).LastSegmentShort(19, 1, tail).Log()},
         kSeg1 + tail},
        {"three, short last",
         {SI::BCH(kFirstSegment).FirstSegment(19, 3, kSeg1).Log(),
          SI::BCH(kSubsequentSegment).SubsequentSegment(19, 1, kSeg2).Log(),
          SI::BCH(kLastSegmentShort).LastSegmentShort(19, 2, tail).Log()},
         kSeg1 + kSeg2 + tail},
    };
    sCase sixteen = {
        "sixteen, fixed last", {SI::BCH(kFirstSegment).FirstSegment(19, 16, many[0]).Log()}, many[0]};
    for (unsigned int i = 1; i < 15; ++i) {
        sixteen.mLogs.push_back(SI::BCH(kSubsequentSegment).SubsequentSegment(19, i, many[i]).Log());
        sixteen.mBits += many[i];
    }
    sixteen.mLogs.push_back(SI::BCH(kLastSegment).LastSegment(19, 15, many[15]).Log());
    sixteen.mBits += many[15];
    cases.push_back(sixteen);

    for (const sCase& c : cases) {
        cWCDMARRCAccumulator accumulator;
        for (size_t i = 0; i + 1 < c.mLogs.size(); ++i) {
            EXPECT_TRUE(Feed(accumulator, c.mLogs[i], 100 + i).empty()) << c.mName;
        }
        const std::vector<sBuilt> built = Feed(accumulator, c.mLogs.back(), 777);
        ASSERT_EQ(built.size(), 1u) << c.mName;
        EXPECT_EQ(built[0].mPayload, RebuiltPayload(254, 0, 19, c.mBits)) << c.mName;
        EXPECT_EQ(built[0].mTimestamp, 777u) << "the time of the message that completed it";
        EXPECT_TRUE(accumulator.mSIMs.empty()) << c.mName;
    }
}

TEST(WCDMARRCAccumulator, FirstSegmentOfCountOneIsEmittedAtOnce) {
    cWCDMARRCAccumulator accumulator;
    const std::vector<Bytes> payloads =
        FeedPayloads(accumulator, SI::BCH(kFirstSegment).FirstSegment(4, 1, kSeg1).Log());
    ASSERT_EQ(payloads.size(), 1u);
    // 40 + 222 bits padded to 264: 33 bytes, length word 29.
    EXPECT_EQ(payloads[0].size(), 33u);
    EXPECT_EQ(payloads[0][2], 29);
    EXPECT_EQ(payloads[0], RebuiltPayload(254, 0, 4, kSeg1));
    EXPECT_TRUE(accumulator.mSIMs.empty());
}

TEST(WCDMARRCAccumulator, ChannelAndHeaderByteKeepSIBsApart) {
    const BitString a = PatternBits(50, 21);
    const BitString b = PatternBits(60, 22);
    const BitString c = PatternBits(70, 23);
    cWCDMARRCAccumulator accumulator;
    EXPECT_TRUE(FeedPayloads(accumulator, SI::BCH(kFirstSegment).FirstSegment(5, 2, kSeg1).Log(0)).empty());
    EXPECT_TRUE(FeedPayloads(accumulator, SI::FACH(kFirstSegment).FirstSegment(5, 2, kSeg2).Log(0)).empty());
    EXPECT_TRUE(FeedPayloads(accumulator, SI::BCH(kFirstSegment).FirstSegment(5, 2, kSeg3).Log(1)).empty());
    EXPECT_EQ(accumulator.mSIMs.size(), 3u);
    EXPECT_EQ(FeedPayloads(accumulator, SI::FACH(kLastSegmentShort).LastSegmentShort(5, 1, b).Log(0)),
              std::vector<Bytes>({RebuiltPayload(255, 0, 5, kSeg2 + b)}));
    EXPECT_EQ(FeedPayloads(accumulator, SI::BCH(kLastSegmentShort).LastSegmentShort(5, 1, c).Log(1)),
              std::vector<Bytes>({RebuiltPayload(254, 1, 5, kSeg3 + c)}));
    EXPECT_EQ(FeedPayloads(accumulator, SI::BCH(kLastSegmentShort).LastSegmentShort(5, 1, a).Log(0)),
              std::vector<Bytes>({RebuiltPayload(254, 0, 5, kSeg1 + a)}));
}

TEST(WCDMARRCAccumulator, SkippedIndexOrMissingEntryYieldsNothing) {
    const BitString tail = PatternBits(40, 31);
    cWCDMARRCAccumulator accumulator;
    Feed(accumulator, SI::BCH(kFirstSegment).FirstSegment(11, 3, kSeg1).Log());
    // Index 2 expected; index 3 erases the SIB, and its last segment is then ignored.
    EXPECT_TRUE(Feed(accumulator, SI::BCH(kSubsequentSegment).SubsequentSegment(11, 3, kSeg2).Log()).empty());
    EXPECT_TRUE(accumulator.mSIMs.empty());
    EXPECT_TRUE(Feed(accumulator, SI::BCH(kLastSegmentShort).LastSegmentShort(11, 2, tail).Log()).empty());

    // Last segments of a SIB never started, of either kind.
    EXPECT_TRUE(Feed(accumulator, SI::BCH(kLastSegment).LastSegment(11, 1, kSeg2).Log()).empty());
    EXPECT_TRUE(Feed(accumulator, SI::BCH(kSubsequentSegment).SubsequentSegment(11, 1, kSeg2).Log()).empty());
    EXPECT_TRUE(accumulator.mSIMs.empty());

    // A last segment that comes too early erases the SIB without output.
    Feed(accumulator, SI::BCH(kFirstSegment).FirstSegment(11, 3, kSeg1).Log());
    EXPECT_TRUE(Feed(accumulator, SI::BCH(kLastSegment).LastSegment(11, 1, kSeg2).Log()).empty());
    EXPECT_TRUE(accumulator.mSIMs.empty());
}

TEST(WCDMARRCAccumulator, SIBFinishedByASubsequentSegmentStaysInTheMap) {
    cWCDMARRCAccumulator accumulator;
    Feed(accumulator, SI::BCH(kFirstSegment).FirstSegment(11, 2, kSeg1).Log());
    EXPECT_EQ(FeedPayloads(accumulator, SI::BCH(kSubsequentSegment).SubsequentSegment(11, 1, kSeg2).Log()),
              std::vector<Bytes>({RebuiltPayload(254, 0, 11, kSeg1 + kSeg2)}));
    ASSERT_EQ(accumulator.mSIMs.size(), 1u) << "deliberately kept";
    // The next index is appended, does not complete it again, and ends it.
    EXPECT_TRUE(Feed(accumulator, SI::BCH(kLastSegment).LastSegment(11, 2, kSeg3).Log()).empty());
    EXPECT_TRUE(accumulator.mSIMs.empty());
}

TEST(WCDMARRCAccumulator, NewFirstSegmentReplacesAnOpenSIB) {
    const BitString tail = PatternBits(9, 41);
    cWCDMARRCAccumulator accumulator;
    Feed(accumulator, SI::BCH(kFirstSegment).FirstSegment(11, 3, kSeg1).Log());
    Feed(accumulator, SI::BCH(kSubsequentSegment).SubsequentSegment(11, 1, kSeg2).Log());
    Feed(accumulator, SI::BCH(kFirstSegment).FirstSegment(11, 2, kSeg3).Log());
    EXPECT_EQ(FeedPayloads(accumulator, SI::BCH(kLastSegmentShort).LastSegmentShort(11, 1, tail).Log()),
              std::vector<Bytes>({RebuiltPayload(254, 0, 11, kSeg3 + tail)}));
}

// ---- Combined payloads

TEST(WCDMARRCAccumulator, LastAndFirstEndsOneSIBAndStartsTheNext) {
    const BitString tail = PatternBits(100, 51);
    const BitString head = PatternBits(180, 52);
    const BitString rest = PatternBits(33, 53);
    const Bytes finishSecond = SI::BCH(kLastSegmentShort).LastSegmentShort(2, 1, rest).Log();
    const struct {
        const char* mName;
        unsigned int mOpenCount;  // segment count of the open SIB 1, 0 for none
        unsigned int mLastIndex;  // index of its last segment in the lastAndFirst message
        bool mExpectFirst;
    } cases[] = {
        {"joins both", 2, 1, true},
        {"no entry: the data is skipped by its length", 0, 1, false},
        {"wrong index: the old SIB is erased", 2, 2, false},
        {"last segment too early: the old SIB is erased", 3, 1, false},
    };
    for (const auto& c : cases) {
        cWCDMARRCAccumulator accumulator;
        if (c.mOpenCount != 0) {
            Feed(accumulator, SI::BCH(kFirstSegment).FirstSegment(1, c.mOpenCount, kSeg1).Log());
        }
        std::vector<Bytes> expected;
        if (c.mExpectFirst) {
            expected.push_back(RebuiltPayload(254, 0, 1, kSeg1 + tail));
        }
        const Bytes lastAndFirst = SI::BCH(kLastAndFirst)
                                       .LastSegmentShort(1, c.mLastIndex, tail)
                                       .FirstSegmentShort(2, 2, head)
                                       .Log();
        EXPECT_EQ(FeedPayloads(accumulator, lastAndFirst), expected) << c.mName;
        ASSERT_EQ(accumulator.mSIMs.size(), 1u) << c.mName << ": only the new SIB is open";
        EXPECT_EQ(FeedPayloads(accumulator, finishSecond),
                  std::vector<Bytes>({RebuiltPayload(254, 0, 2, head + rest)}))
            << c.mName;
    }
}

TEST(WCDMARRCAccumulator, LastAndCompleteAndCompleteAndFirstKeepMessageOrder) {
    const BitString tail = PatternBits(70, 61);
    const BitString head = PatternBits(90, 62);
    const BitString one = PatternBits(120, 63);
    const BitString two = PatternBits(8, 64);
    const std::vector<std::pair<unsigned int, BitString>> list = {{20, one}, {21, two}};
    const Bytes listPayloads[] = {RebuiltPayload(254, 0, 20, one), RebuiltPayload(254, 0, 21, two)};

    cWCDMARRCAccumulator accumulator;
    Feed(accumulator, SI::BCH(kFirstSegment).FirstSegment(3, 2, kSeg1).Log());
    EXPECT_EQ(
        FeedPayloads(accumulator,
                     SI::BCH(kLastAndComplete).LastSegmentShort(3, 1, tail).CompleteSIBList(list).Log()),
        std::vector<Bytes>({RebuiltPayload(254, 0, 3, kSeg1 + tail), listPayloads[0], listPayloads[1]}));
    EXPECT_TRUE(accumulator.mSIMs.empty());

    // completeAndFirst: the list, then a first segment that stays open.
    EXPECT_EQ(
        FeedPayloads(accumulator,
                     SI::BCH(kCompleteAndFirst).CompleteSIBList(list).FirstSegmentShort(3, 2, head).Log()),
        std::vector<Bytes>({listPayloads[0], listPayloads[1]}));
    EXPECT_EQ(accumulator.mSIMs.size(), 1u);

    // lastAndCompleteAndFirst: the SIB just started, the list, then a first segment of count 1.
    EXPECT_EQ(FeedPayloads(accumulator, SI::BCH(kLastAndCompleteAndFirst)
                                            .LastSegmentShort(3, 1, tail)
                                            .CompleteSIBList(list)
                                            .FirstSegmentShort(9, 1, one)
                                            .Log()),
              std::vector<Bytes>({RebuiltPayload(254, 0, 3, head + tail), listPayloads[0], listPayloads[1],
                                  RebuiltPayload(254, 0, 9, one)}));
    EXPECT_TRUE(accumulator.mSIMs.empty());
}

TEST(WCDMARRCAccumulator, UnreadableLeadingLastSegmentLeavesTheMapAlone) {
    const BitString tail = PatternBits(12, 71);
    // 15 + 5 + 4 bits: the index is there, the 8-bit length is not.
    const Bytes cutCombined = SI::BCH(kLastAndFirst).Field(5, 17).Field(4, 0).Log();
    const Bytes cutAlone = SI::BCH(kLastSegmentShort).Field(5, 17).Field(4, 0).Log();
    for (const Bytes* cut : {&cutCombined, &cutAlone}) {
        cWCDMARRCAccumulator accumulator;
        Feed(accumulator, SI::BCH(kFirstSegment).FirstSegment(17, 2, kSeg1).Log());
        EXPECT_TRUE(Feed(accumulator, *cut).empty());
        // Deliberately asymmetric: a combined message keeps the SIB, a last segment alone erases it.
        EXPECT_EQ(accumulator.mSIMs.size(), cut == &cutCombined ? 1u : 0u);
    }
}

// ---- Inputs that yield nothing

TEST(WCDMARRCAccumulator, InputsThatYieldNothing) {
    const Bytes whole = SI::BCH(kCompleteSIB).CompleteSIB(1, kWhole).Log();
    auto with = [&whole](size_t offset, unsigned char value) {
        Bytes log = whole;
        log[offset] = value;
        return log;
    };
    Bytes tooLong = whole;
    tooLong[18] += 1;  // one byte more than the log holds
    Bytes rebuilt;     // a rebuilt log handed back
    {
        cWCDMARRCAccumulator accumulator;
        sSharedBuffer item(whole.data(), static_cast<unsigned int>(whole.size()), 3);
        std::list<sSharedBuffer*> out = accumulator.ProcessItem(&item, 0);
        ASSERT_EQ(out.size(), 1u);
        rebuilt.assign(out.front()->mData, out.front()->mData + out.front()->mSize);
        delete out.front();
    }
    const struct {
        const char* mName;
        Bytes mLog;
    } cases[] = {
        {"log of 20 bytes", WrapLog(4, 0, {})},
        {"length beyond the log", tooLong},
        {"other log code", with(7, 0x40)},
        {"channel type 3", with(16, 3)},
        {"channel type 6", with(16, 6)},
        {"rebuilt log", rebuilt},
        {"FACH message type 1", SI::FACH(kCompleteSIB, 1).CompleteSIB(1, kWhole).Log()},
        {"no segment", SI::BCH(kNoSegment).CompleteSIB(1, kWhole).Log()},
        {"spare choice 11", SI::BCH(11).CompleteSIB(1, kWhole).Log()},
        {"spare choice 15", SI::BCH(15).CompleteSIB(1, kWhole).Log()},
        {"complete SIB short of 226 bits", SI::FACH(kCompleteSIB).CompleteSIB(1, PatternBits(218, 9)).Log()},
        {"first segment of count 1 short of 222 bits",
         SI::BCH(kFirstSegment).FirstSegment(1, 1, PatternBits(210, 1)).Log()},
    };
    for (const auto& c : cases) {
        cWCDMARRCAccumulator accumulator;
        EXPECT_TRUE(Feed(accumulator, c.mLog).empty()) << c.mName;
    }
    cWCDMARRCAccumulator accumulator;
    EXPECT_TRUE(accumulator.ProcessItem(nullptr, 0).empty());
    sSharedBuffer empty(nullptr, 0, 3);
    EXPECT_TRUE(accumulator.ProcessItem(&empty, 0).empty());
}

TEST(WCDMARRCAccumulator, TagOrderIsChannelThenHeaderByteThenSIBType) {
    const sSIMTag ordered[] = {{-1, 9, 9}, {254, 0, 31}, {254, 1, 0}, {254, 1, 5}, {255, 0, 0}};
    for (size_t i = 0; i < 5; ++i) {
        for (size_t j = 0; j < 5; ++j) {
            EXPECT_EQ(ordered[i] < ordered[j], i < j) << i << " " << j;
        }
    }
    const sSIMTag defaults;
    EXPECT_EQ(defaults.mChannelType, -1);
    const sSIM blank;
    EXPECT_EQ(blank.mBitCount, 0u);
    const sSIM started(ordered[2], 3);
    EXPECT_EQ(started.mBitCount, 40u);
    EXPECT_EQ(started.mSegmentCount, 3u);
    EXPECT_EQ(sSIM::mBits, 65664u);
}

}  // namespace
