#include "diag/SubsystemCmd.h"

#include <gtest/gtest.h>

#include "tests/DiagPackets.h"

namespace {

TEST(SubsystemCmd, DispatchFieldsAndEmptyAnswers) {
    cHeldBuffer buffer(Hex("4b 25 34 12 aa bb"), 4);
    sDiagSubsystemCmd view(buffer.get());
    eDiagSubsysID id = DIAG_SUBSYS_NONE;
    unsigned int cmd = 0;
    ASSERT_TRUE(view.GetSubsystemDispatch(id, cmd));
    EXPECT_EQ(id, DIAG_SUBSYS_DEBUG_TRACE);
    EXPECT_EQ(cmd, 0x1234u);
    EXPECT_EQ(view.GetRspHeader(), nullptr) << "a request has no response header";

    cHeldBuffer bad(Hex("4b 25"), 4);
    sDiagSubsystemCmd invalid(bad.get());
    id = static_cast<eDiagSubsysID>(7);
    cmd = 99;
    EXPECT_FALSE(invalid.GetSubsystemID(id));
    EXPECT_EQ(id, 4294967295u);
    EXPECT_FALSE(invalid.GetSubsystemCmd(cmd));
    EXPECT_EQ(cmd, 99u) << "left alone";
    id = static_cast<eDiagSubsysID>(7);
    EXPECT_FALSE(invalid.GetSubsystemDispatch(id, cmd));
    EXPECT_EQ(id, 4294967295u);
    unsigned int length = 5;
    EXPECT_EQ(invalid.GetData(length), nullptr);
}

TEST(SubsystemCmd, DataFollowsTheHeaderOfItsVersion) {
    const struct {
        const char* mPacket;
        unsigned int mProtocol;
        int mOffset;  // -1: null
        unsigned int mLength;
    } cases[] = {
        {"4b 12 03 00 01 02", 3, 4, 2},
        {"4b 12 03 00", 3, -1, 0},
        {"80 12 03 00 00 00 00 00 01 00 01 00 0a 0b 0c", 3, 12, 3},
        {"80 12 03 00 01 00 00 00 01 00 01 00 0a 0b 0c", 3, -1, 0},  // failed: no data
        {"80 12 03 00 00 00 00 00 00 00 00 00", 3, -1, 0},
        {"80 12 03 00 01 00 00 00 ff", 4, 4, 5},  // a version-2 request has the plain header
    };
    for (const auto& c : cases) {
        cHeldBuffer buffer(Hex(c.mPacket), c.mProtocol);
        sDiagSubsystemCmd view(buffer.get());
        ASSERT_TRUE(view.IsValid()) << c.mPacket;
        unsigned int length = 0;
        const unsigned char* data = view.GetData(length);
        if (c.mOffset < 0) {
            EXPECT_EQ(data, nullptr) << c.mPacket;
        } else {
            EXPECT_EQ(data, buffer->mData + c.mOffset) << c.mPacket;
            EXPECT_EQ(length, c.mLength) << c.mPacket;
        }
        EXPECT_EQ(view.GetRspHeader(), c.mProtocol == 3 ? buffer->mData + 4 : nullptr);
    }
}

TEST(SubsystemCmd, BuildCmdWritesBothHeaders) {
    const unsigned char p[10] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10};
    cHeldBuffer plain(sDiagSubsystemCmd::BuildCmd(37, 7, true, p, 1, false, false));
    EXPECT_EQ(Contents(plain.get()), Hex("4b 25 07 00 01"));
    EXPECT_EQ(plain->mProtocol, 4u);
    EXPECT_TRUE(sDiagDbgSSGetRangeReq(plain.get()).IsValid());

    sSharedBuffer* built = sDiagSubsystemCmd::BuildCmd(0x112, 0x10003, false, p, 10, true, true);
    EXPECT_EQ(built->mRefCount, 0u);
    cHeldBuffer v2(built);
    EXPECT_EQ(Contents(v2.get()), Hex("80 12 03 00 00 00 00 00 01 00 01 00 01 02 03 04 05 06 07 08 09 0a"));
    EXPECT_EQ(v2->mProtocol, 3u);
    unsigned int length = 0;
    EXPECT_EQ(sDiagSubsystemCmd(v2.get()).GetData(length), v2->mData + 12);
    EXPECT_EQ(length, 10u);

    // A version-2 request keeps the 4-byte header; no packet exceeds 8208 bytes.
    cHeldBuffer v2Request(sDiagSubsystemCmd::BuildCmd(1, 2, true, nullptr, 50, true, true));
    EXPECT_EQ(Contents(v2Request.get()), Hex("80 01 02 00"));
    const Bytes large(9000, 0x5A);
    for (bool version2 : {false, true}) {
        cHeldBuffer capped(sDiagSubsystemCmd::BuildCmd(1, 2, false, large.data(), 9000, version2, false));
        EXPECT_EQ(capped->mSize, 8208u);
        EXPECT_EQ(capped->mData[8207], 0x5A);
    }
}

TEST(DebugTrace, GetInfoTimestampsAreAppended) {
    cHeldBuffer two(Hex("4b 25 06 00 00 00 00 00 02  01 00 00 00 00 00 00 80  ff ee dd cc bb aa 99 88"), 3);
    std::vector<unsigned long long> out = {7};
    sDiagDbgSSGetInfoRsp info(two.get());
    EXPECT_TRUE(info.GetStatus());
    ASSERT_TRUE(info.GetTimestamps(out));
    EXPECT_EQ(out, (std::vector<unsigned long long>{7, 0x8000000000000001ull, 0x8899AABBCCDDEEFFull}));

    cHeldBuffer failed(Hex("4b 25 06 00 05 00 00 00 00"), 3);
    sDiagDbgSSGetInfoRsp failedInfo(failed.get());
    ASSERT_TRUE(failedInfo.IsValid());
    EXPECT_FALSE(failedInfo.GetStatus());
    EXPECT_FALSE(failedInfo.GetTimestamps(out));
    EXPECT_EQ(out.size(), 3u);
}

TEST(DebugTrace, GetItemHandsOutACopyOfTheEmbeddedPacket) {
    const struct {
        const char* mPacket;
        bool mMessage, mLog, mEvent;
        const char* mItem;  // null: no item
    } cases[] = {
        {"4b 25 08 00 ff ff ff ff 02 00 00 00 00 10 00 0c 00", false, true, false, "10 00 0c 00"},
        {"4b 25 08 00 00 00 00 00 01 00 00 00 00 79", true, false, false, "79"},
        {"4b 25 08 00 00 00 00 00 04 00 00 00 00 60 01", false, false, true, "60 01"},
        {"4b 25 08 00 00 00 00 00 02 00 00 00 00", false, true, false, nullptr},         // nothing follows
        {"4b 25 08 00 00 00 00 00 02 00 01 00 00 10 00", false, false, false, nullptr},  // status not 0
    };
    for (const auto& c : cases) {
        cHeldBuffer buffer(Hex(c.mPacket), 3);
        sDiagDbgSSGetItemRsp view(buffer.get());
        ASSERT_TRUE(view.IsValid()) << c.mPacket;
        EXPECT_EQ(view.IsMessage(), c.mMessage) << c.mPacket;
        EXPECT_EQ(view.IsLog(), c.mLog) << c.mPacket;
        EXPECT_EQ(view.IsEvent(), c.mEvent) << c.mPacket;
        sSharedBuffer* item = view.GetItem();
        if (c.mItem == nullptr) {
            EXPECT_EQ(item, nullptr) << c.mPacket;
            continue;
        }
        ASSERT_NE(item, nullptr) << c.mPacket;
        EXPECT_EQ(Contents(item), Hex(c.mItem));
        EXPECT_NE(item->mData, buffer->mData + 13) << "a copy";
        EXPECT_EQ(item->mProtocol, 3u);
        EXPECT_EQ(item->mRefCount, 0u);
        delete item;
    }
}

TEST(DebugTrace, RequestBuildersAndResponseStatus) {
    cHeldBuffer range(sDiagDbgSSGetRangeReq::BuildRequest(0x7F));
    EXPECT_EQ(Contents(range.get()), Hex("4b 25 07 00 7f"));
    cHeldBuffer item(sDiagDbgSSGetItemReq::BuildRequest(0x04030201));
    EXPECT_EQ(Contents(item.get()), Hex("4b 25 08 00 01 02 03 04"));
    EXPECT_TRUE(sDiagDbgSSGetItemReq(item.get()).IsValid());
    cHeldBuffer clear(sDiagDbgSSClearReq::BuildRequest(2));
    EXPECT_EQ(Contents(clear.get()), Hex("4b 25 09 00 02"));
    EXPECT_EQ(clear->mProtocol, 4u);
    EXPECT_TRUE(sDiagDbgSSClearReq(clear.get()).IsValid());

    cHeldBuffer rangeOk(Hex("4b 25 07 00 00 00 00 00 78 56 34 12"), 3);
    cHeldBuffer rangeFailed(Hex("4b 25 07 00 01 00 00 00 78 56 34 12"), 3);
    unsigned int value = 0;
    EXPECT_TRUE(sDiagDbgSSGetRangeRsp(rangeOk.get()).GetRange(value));
    EXPECT_EQ(value, 0x12345678u);
    EXPECT_FALSE(sDiagDbgSSGetRangeRsp(rangeFailed.get()).GetRange(value));

    cHeldBuffer clearOk(Hex("4b 25 09 00 00 00 00 00"), 3);
    cHeldBuffer clearFailed(Hex("4b 25 09 00 00 01 00 00"), 3);
    EXPECT_TRUE(sDiagDbgSSClearRsp(clearOk.get()).GetStatus());
    EXPECT_FALSE(sDiagDbgSSClearRsp(clearFailed.get()).GetStatus());
}

}  // namespace
