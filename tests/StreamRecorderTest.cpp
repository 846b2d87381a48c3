// The core of recording a raw stream (decode, stamp, store) as a front end without signals or terminals
// calls it: real capture A fed in chunks of any size gives the same file, requests go in their place, and
// a frame cut by the end counts as bad.
#include <gtest/gtest.h>

#include <algorithm>

#include "Shared/HDLC.h"
#include "tests/DiagPackets.h"
#include "tests/ISFTestSupport.h"
#include "tools/palvorin/StreamRecorder.h"

namespace {

using isftest::cTempDir;

// Records `stream` into `path`, handed over in chunks of `chunk` bytes (0: through Space, 1 MB at most).
sISFFile Record(const Bytes& stream, size_t chunk, const std::string& path, uint64_t* bad = nullptr) {
    cISFStore store;
    EXPECT_EQ(store.OpenNewFileStore(path.c_str()), 0u);
    cStreamRecorder recorder(store, cItemClock(ITEM_CLOCK_PACKET));
    EXPECT_TRUE(recorder.Ready());
    size_t at = 0;
    while (at < stream.size()) {
        if (chunk == 0) {
            size_t room = 0;
            unsigned char* space = recorder.Space(room);
            const size_t n = std::min(room, stream.size() - at);
            std::copy(stream.begin() + at, stream.begin() + at + n, space);
            EXPECT_TRUE(recorder.Decode(n, isftest::kT0));
            at += n;
        } else {
            const size_t n = std::min(chunk, stream.size() - at);
            EXPECT_TRUE(recorder.Feed(stream.data() + at, n, isftest::kT0));
            at += n;
        }
    }
    EXPECT_TRUE(recorder.End(isftest::kT0));
    EXPECT_EQ(recorder.Status(), 0u);
    if (bad != nullptr) {
        *bad = recorder.Decoder().mBadFrames;
    }
    store.CloseFileStore();
    return ReadISFFile(path);
}

TEST(StreamRecorder, CaptureAInChunksOfAnySizeGivesTheSameItems) {
    const Bytes stream = ReadTestData("raw_diag_stream_a.bin");
    ASSERT_EQ(stream.size(), 317107u);
    cTempDir dir;
    const sISFFile whole = Record(stream, 0, dir.File("whole.isf"));
    ASSERT_TRUE(whole.Consistent() && whole.mClosed) << isftest::Problems(whole);
    // 5,501 frames (the formats page's description of capture A) and the tool-version record.
    ASSERT_EQ(whole.mItems.size(), 5502u);
    // The first log packet carries its own time: 2015-08-01 02:11:40.984 UTC (the formats page's example).
    EXPECT_EQ(whole.mItems[1].mTimeMs / 1000, 13082868700ULL);
    for (size_t chunk : {1, 7, 4096, 100000}) {
        const sISFFile pieces = Record(stream, chunk, dir.File("pieces.isf"));
        ASSERT_EQ(pieces.mItems.size(), whole.mItems.size()) << chunk;
        for (size_t i = 1; i < whole.mItems.size(); ++i) {
            ASSERT_EQ(Bytes(pieces.mItems[i].mPayload), Bytes(whole.mItems[i].mPayload))
                << chunk << ", item " << i;
            ASSERT_EQ(pieces.mItems[i].mTimeMs, whole.mItems[i].mTimeMs) << chunk << ", item " << i;
        }
    }
}

TEST(StreamRecorder, RequestsInTheirPlaceAndACutFrameCountedAtTheEnd) {
    const Bytes log = LogPacket(0xB0C1, Hex("02 6700 7909 0000 d002 0419"));
    sSharedBuffer packet(log.data(), static_cast<unsigned int>(log.size()), PROTOCOL_DIAG_FROM_DEVICE);
    sSharedBuffer* frame = HDLCEncode(&packet, false);
    const Bytes framed(frame->mData, frame->mData + frame->mSize);
    delete frame;

    cTempDir dir;
    const std::string path = dir.File("requests.isf");
    cISFStore store;
    ASSERT_EQ(store.OpenNewFileStore(path.c_str()), 0u);
    cStreamRecorder recorder(store, cItemClock(ITEM_CLOCK_HOST));
    const Bytes request = Hex("73000000 00000000");
    sSharedBuffer sent(request.data(), static_cast<unsigned int>(request.size()), PROTOCOL_DIAG_TO_DEVICE);
    ASSERT_TRUE(recorder.Feed(framed.data(), framed.size(), isftest::AtMs(1)));
    ASSERT_EQ(recorder.Sent(&sent, isftest::AtMs(2)), 0u);
    ASSERT_TRUE(recorder.Feed(framed.data(), framed.size() - 3, isftest::AtMs(3)));  // its end never comes
    ASSERT_TRUE(recorder.End(isftest::AtMs(4)));
    EXPECT_EQ(recorder.Decoder().mFrames, 1u);
    EXPECT_EQ(recorder.Decoder().mBadFrames, 1u);
    store.CloseFileStore();
    const sISFFile file = ReadISFFile(path);
    ASSERT_EQ(file.mItems.size(), 3u);
    EXPECT_EQ(Bytes(file.mItems[1].mPayload), log);
    EXPECT_EQ(file.mItems[1].mTimeMs, isftest::kT0Ms + 1);
    EXPECT_EQ(Bytes(file.mItems[2].mPayload), request);
    EXPECT_EQ(file.mItems[2].mTimeMs, isftest::kT0Ms + 2);
}

// Stops after `mLimit` packets, as a front end's own check may.
class cStopAfter : public cPacketSink {
public:
    explicit cStopAfter(size_t limit) : mLimit(limit) {}
    bool Packet(sSharedBuffer*) override { return ++mSeen < mLimit; }
    size_t mSeen = 0;
    size_t mLimit;
};

TEST(StreamRecorder, TheAfterSinkSeesEachStoredPacketAndMayStop) {
    const Bytes stream = ReadTestData("raw_diag_stream_a.bin");
    cTempDir dir;
    const std::string path = dir.File("stopped.isf");
    cISFStore store;
    ASSERT_EQ(store.OpenNewFileStore(path.c_str()), 0u);
    cStopAfter after(10);
    cStreamRecorder recorder(store, cItemClock(ITEM_CLOCK_PACKET), &after);
    EXPECT_FALSE(recorder.Feed(stream.data(), stream.size(), isftest::kT0));
    EXPECT_EQ(recorder.Status(), 0u) << "not a failed write";
    EXPECT_EQ(after.mSeen, 10u);
    store.CloseFileStore();
    EXPECT_EQ(ReadISFFile(path).mItems.size(), 11u) << "the tenth was stored before the sink said stop";
}

}  // namespace
