// Rebuilding WCDMA system information blocks from hand-written messages (tests/SIMessageWriter.h).
#include "wcdma/WCDMARRCAccumulator.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "jni/ISFFormat.h"
#include "tests/SIMessageWriter.h"

namespace {

using namespace wcdma_test;
using SI = cSIMessageWriter;

const BitString kSeg1 = PatternBits(222, 1);
const BitString kSeg2 = PatternBits(222, 2);
const BitString kSeg3 = PatternBits(222, 3);
const BitString kWhole = PatternBits(226, 9);
const BitString kTail = PatternBits(37, 12);
const BitString kHead = PatternBits(90, 13);

Bytes BCHRebuilt(unsigned char sibType, const BitString& bits) {
    return RebuiltLog(254, 0, sibType, bits);
}

struct sSequence {
    const char* mName;
    std::vector<Bytes> mLogs;        // fed in order, log i with timestamp 100 + i
    std::vector<Bytes> mBuilt = {};  // every rebuilt log, in order
    size_t mOpen = 0;                // SIBs still open at the end
};

// Feeds the logs to one accumulator; every rebuilt log must be a usable buffer carrying the timestamp of
// the log that completed it, and equal the expected one once that timestamp is zeroed.
void Replay(const sSequence& s) {
    cWCDMARRCAccumulator accumulator;
    std::vector<Bytes> built;
    for (size_t i = 0; i < s.mLogs.size(); ++i) {
        sSharedBuffer item(s.mLogs[i].data(), static_cast<unsigned int>(s.mLogs[i].size()), 3);
        for (sSharedBuffer* buffer : accumulator.ProcessItem(&item, 100 + i)) {
            EXPECT_TRUE(IsUsableBuffer(buffer) && buffer->mProtocol == 3 && buffer->mRefCount == 0)
                << s.mName;
            Bytes bytes(buffer->mData, buffer->mData + buffer->mSize);
            delete buffer;
            EXPECT_EQ(GetLE(&bytes.at(8), 8), 100 + i) << s.mName;
            std::fill(&bytes[8], &bytes[16], 0);
            built.push_back(bytes);
        }
    }
    EXPECT_EQ(built, s.mBuilt) << s.mName;
    EXPECT_EQ(accumulator.mSIMs.size(), s.mOpen) << s.mName;
}

TEST(WCDMARRCAccumulator, SequencesOfLogsAndTheBlocksRebuiltFromThem) {
    const std::vector<std::pair<unsigned int, BitString>> list = {
        {0, PatternBits(62, 4)}, {7, PatternBits(1, 5)}, {2, PatternBits(214, 6)}, {31, PatternBits(255, 7)}};
    std::vector<Bytes> bchList;
    for (const auto& sib : list) {
        bchList.push_back(RebuiltLog(254, 3, static_cast<unsigned char>(sib.first), sib.second));
    }
    // 16 SIBs, the most a list holds; then a list whose 10th entry announces more bits than the message
    // holds: the first nine stay in the result.
    std::vector<std::pair<unsigned int, BitString>> sixteen;
    SI shortList = SI::BCH(PAYLOAD_COMPLETE_SIB_LIST).Field(4, 15);
    std::vector<Bytes> sixteenBuilt, nineBuilt;
    for (unsigned int i = 0; i < 16; ++i) {
        sixteen.push_back({i, PatternBits(20 + i, 100 + i)});
        sixteenBuilt.push_back(BCHRebuilt(static_cast<unsigned char>(i), sixteen.back().second));
        if (i < 9) {
            shortList.Field(5, i).Field(8, 9).Data(PatternBits(10, i));
            nineBuilt.push_back(BCHRebuilt(static_cast<unsigned char>(i), PatternBits(10, i)));
        }
    }
    shortList.Field(5, 9).Field(8, 200).Data(PatternBits(100, 9));
    // 40 header bits and 226 data bits padded to 272: a 34-byte payload whose length word is 30.
    const Bytes handWorked = RebuiltLog(254, 0x5A, 13, kWhole);
    ASSERT_EQ(handWorked.size(), 16u + 34);
    EXPECT_EQ(Bytes(&handWorked[16], &handWorked[21]), Bytes({254, 0x5A, 30, 0, 13}));
    std::vector<BitString> many;
    sSequence sixteenSegments = {"sixteen, fixed last", {}, {}, 0};
    BitString sixteenBits;
    for (unsigned int i = 0; i < 16; ++i) {
        many.push_back(PatternBits(222, 200 + i));
        sixteenBits += many[i];
        sixteenSegments.mLogs.push_back(
            i == 0   ? SI::BCH(PAYLOAD_FIRST_SEGMENT).FirstSegment(19, 16, many[0]).Log()
            : i < 15 ? SI::BCH(PAYLOAD_SUBSEQUENT_SEGMENT).SubsequentSegment(19, i, many[i]).Log()
                     : SI::BCH(PAYLOAD_LAST_SEGMENT).LastSegment(19, 15, many[15]).Log());
    }
    sixteenSegments.mBuilt = {BCHRebuilt(19, sixteenBits)};
    const Bytes first2 = SI::BCH(PAYLOAD_FIRST_SEGMENT).FirstSegment(11, 2, kSeg1).Log();
    const Bytes first3 = SI::BCH(PAYLOAD_FIRST_SEGMENT).FirstSegment(11, 3, kSeg1).Log();
    const Bytes sub1 = SI::BCH(PAYLOAD_SUBSEQUENT_SEGMENT).SubsequentSegment(11, 1, kSeg2).Log();
    const Bytes last1 = SI::BCH(PAYLOAD_LAST_SEGMENT).LastSegment(11, 1, kSeg2).Log();
    const Bytes shortLast1 = SI::BCH(PAYLOAD_LAST_SEGMENT_SHORT).LastSegmentShort(11, 1, kTail).Log();
    const Bytes shortLast2 = SI::BCH(PAYLOAD_LAST_SEGMENT_SHORT).LastSegmentShort(11, 2, kTail).Log();
    const auto firstFive = [](bool bch, const BitString& bits, unsigned char header) {
        return (bch ? SI::BCH(PAYLOAD_FIRST_SEGMENT) : SI::FACH(PAYLOAD_FIRST_SEGMENT))
            .FirstSegment(5, 2, bits)
            .Log(header);
    };
    const auto lastFive = [](bool bch, const BitString& bits, unsigned char header) {
        return (bch ? SI::BCH(PAYLOAD_LAST_SEGMENT_SHORT) : SI::FACH(PAYLOAD_LAST_SEGMENT_SHORT))
            .LastSegmentShort(5, 1, bits)
            .Log(header);
    };
    const BitString rest = PatternBits(33, 53);
    const BitString one = PatternBits(120, 63);
    const BitString two = PatternBits(8, 64);
    const std::vector<std::pair<unsigned int, BitString>> pair = {{20, one}, {21, two}};
    const Bytes pairBuilt[] = {BCHRebuilt(20, one), BCHRebuilt(21, two)};
    const Bytes finishSecond = SI::BCH(PAYLOAD_LAST_SEGMENT_SHORT).LastSegmentShort(2, 1, rest).Log();
    const auto lastAndFirst = [](unsigned int lastIndex) {
        return SI::BCH(PAYLOAD_LAST_AND_FIRST)
            .LastSegmentShort(1, lastIndex, kTail)
            .FirstSegmentShort(2, 2, kHead)
            .Log();
    };
    const auto firstOne = [](unsigned int count) {
        return SI::BCH(PAYLOAD_FIRST_SEGMENT).FirstSegment(1, count, kSeg1).Log();
    };
    // 15 + 5 + 4 bits: the index is there, the 8-bit length is not.
    const Bytes cutCombined = SI::BCH(PAYLOAD_LAST_AND_FIRST).Field(5, 1).Field(4, 0).Log();
    const Bytes cutAlone = SI::BCH(PAYLOAD_LAST_SEGMENT_SHORT).Field(5, 1).Field(4, 0).Log();
    const Bytes whole = SI::BCH(PAYLOAD_COMPLETE_SIB).CompleteSIB(1, kWhole).Log();
    const auto with = [&whole](size_t offset, unsigned char value) {
        Bytes log = whole;
        log[offset] = value;
        return log;
    };
    const sSequence cases[] = {
        // Whole SIBs and SIB lists on both channels.
        {"BCH complete SIB",
         {SI::BCH(PAYLOAD_COMPLETE_SIB, 1234).CompleteSIB(13, kWhole).Log(0x5A)},
         {RebuiltLog(254, 0x5A, 13, kWhole)}},
        {"FACH complete SIB",
         {SI::FACH(PAYLOAD_COMPLETE_SIB).CompleteSIB(13, kWhole).Log(0x5A)},
         {RebuiltLog(255, 0x5A, 13, kWhole)}},
        {"BCH list", {SI::BCH(PAYLOAD_COMPLETE_SIB_LIST).CompleteSIBList(list).Log(3)}, bchList},
        {"list of 16", {SI::BCH(PAYLOAD_COMPLETE_SIB_LIST).CompleteSIBList(sixteen).Log()}, sixteenBuilt},
        {"list that runs short", {shortList.Log()}, nineBuilt},
        // The 8-bit length wraps: 255 stands for 0 bits, and the next entry follows at once.
        {"length field 255",
         {SI::BCH(PAYLOAD_COMPLETE_SIB_LIST)
              .Field(4, 1)
              .Field(5, 6)
              .Field(8, 255)
              .Field(5, 8)
              .Field(8, 29)
              .Data(kTail.substr(0, 30))
              .Log()},
         {WrapLog(254, 0, {6}), BCHRebuilt(8, kTail.substr(0, 30))}},
        // Segmented SIBs.
        {"three, short last", {first3, sub1, shortLast2}, {BCHRebuilt(11, kSeg1 + kSeg2 + kTail)}},
        sixteenSegments,
        {"first segment of count 1",
         {SI::BCH(PAYLOAD_FIRST_SEGMENT).FirstSegment(4, 1, kSeg1).Log()},
         {BCHRebuilt(4, kSeg1)}},
        {"skipped index: index 3 erases the SIB, its last segment is ignored",
         {first3, SI::BCH(PAYLOAD_SUBSEQUENT_SEGMENT).SubsequentSegment(11, 3, kSeg2).Log(), shortLast2},
         {}},
        {"last segments with no entry", {last1, sub1}, {}},
        {"last segment too early erases the SIB", {first3, last1}, {}},
        {"finished by a subsequent segment: deliberately kept open",
         {first2, sub1},
         {BCHRebuilt(11, kSeg1 + kSeg2)},
         1},
        {"then the next index ends it without output",
         {first2, sub1, SI::BCH(PAYLOAD_LAST_SEGMENT).LastSegment(11, 2, kSeg3).Log()},
         {BCHRebuilt(11, kSeg1 + kSeg2)}},
        {"a new first segment replaces the open SIB",
         {first3, sub1, SI::BCH(PAYLOAD_FIRST_SEGMENT).FirstSegment(11, 2, kSeg3).Log(), shortLast1},
         {BCHRebuilt(11, kSeg3 + kTail)}},
        {"channel and header byte keep SIBs apart",
         {firstFive(true, kSeg1, 0), firstFive(false, kSeg2, 0), firstFive(true, kSeg3, 1),
          lastFive(false, kTail, 0), lastFive(true, kHead, 1), lastFive(true, kTail, 0)},
         {RebuiltLog(255, 0, 5, kSeg2 + kTail), RebuiltLog(254, 1, 5, kSeg3 + kHead),
          BCHRebuilt(5, kSeg1 + kTail)}},
        // Combined payloads keep the message order.
        {"lastAndFirst joins both",
         {firstOne(2), lastAndFirst(1), finishSecond},
         {BCHRebuilt(1, kSeg1 + kTail), BCHRebuilt(2, kHead + rest)}},
        {"lastAndFirst with no entry: the data is skipped by its length",
         {lastAndFirst(1), finishSecond},
         {BCHRebuilt(2, kHead + rest)}},
        {"lastAndFirst with the wrong index erases the old SIB",
         {firstOne(2), lastAndFirst(2), finishSecond},
         {BCHRebuilt(2, kHead + rest)}},
        {"lastAndFirst too early erases the old SIB",
         {firstOne(3), lastAndFirst(1), finishSecond},
         {BCHRebuilt(2, kHead + rest)}},
        // lastAndComplete: ISFStoreWCDMATest.
        {"completeAndFirst, then lastAndCompleteAndFirst ending with a first segment of count 1",
         {SI::BCH(PAYLOAD_COMPLETE_AND_FIRST).CompleteSIBList(pair).FirstSegmentShort(3, 2, kHead).Log(),
          SI::BCH(PAYLOAD_LAST_AND_COMPLETE_AND_FIRST)
              .LastSegmentShort(3, 1, kTail)
              .CompleteSIBList(pair)
              .FirstSegmentShort(9, 1, one)
              .Log()},
         {pairBuilt[0], pairBuilt[1], BCHRebuilt(3, kHead + kTail), pairBuilt[0], pairBuilt[1],
          BCHRebuilt(9, one)}},
        // Deliberately asymmetric: a cut combined message keeps the SIB, a cut last segment alone erases it.
        {"cut lastAndFirst", {firstOne(2), cutCombined}, {}, 1},
        {"cut last segment", {firstOne(2), cutAlone}, {}},
        // Inputs that yield nothing.
        {"log of 20 bytes", {WrapLog(4, 0, {})}},
        {"length beyond the log", {with(18, static_cast<unsigned char>(whole[18] + 1))}},
        {"other log code", {with(7, 0x40)}},
        {"channel type 3", {with(16, 3)}},
        {"channel type 6", {with(16, 6)}},
        {"rebuilt log handed back", {BCHRebuilt(1, kWhole)}},
        {"FACH message type 1", {SI::FACH(PAYLOAD_COMPLETE_SIB, 1).CompleteSIB(1, kWhole).Log()}},
        {"no segment", {SI::BCH(PAYLOAD_NO_SEGMENT).CompleteSIB(1, kWhole).Log()}},
        {"spare choice 11", {SI::BCH(11).CompleteSIB(1, kWhole).Log()}},
        {"complete SIB short of 226 bits",
         {SI::FACH(PAYLOAD_COMPLETE_SIB).CompleteSIB(1, PatternBits(218, 9)).Log()}},
        {"first segment of count 1 short of 222 bits",
         {SI::BCH(PAYLOAD_FIRST_SEGMENT).FirstSegment(1, 1, PatternBits(210, 1)).Log()}},
    };
    for (const sSequence& c : cases) {
        Replay(c);
    }
    cWCDMARRCAccumulator accumulator;
    EXPECT_TRUE(accumulator.ProcessItem(nullptr, 0).empty());
    sSharedBuffer empty(nullptr, 0, 3);
    EXPECT_TRUE(accumulator.ProcessItem(&empty, 0).empty());
}

}  // namespace
