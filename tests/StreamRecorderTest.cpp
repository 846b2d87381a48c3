// The core of recording a raw stream (decode, stamp, store): requests go in their place, a frame cut by the
// end counts as bad, and the sink after it may stop it. Capture A through it: tests/tool (record, rotation).
#include <gtest/gtest.h>

#include "Shared/HDLC.h"
#include "tests/DiagPackets.h"
#include "tests/ISFTestSupport.h"
#include "tools/palvorin/StreamRecorder.h"

namespace {

using isftest::cTempDir;

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
