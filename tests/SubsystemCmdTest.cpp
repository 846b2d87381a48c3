#include "diag/SubsystemCmd.h"

#include <gtest/gtest.h>

#include "tests/DiagPackets.h"

namespace {

TEST(SubsystemCmd, DispatchFieldsAndEmptyAnswers) {
    cHeldBuffer buffer(Hex("4b 25 34 12 aa bb"), 4);
    eDiagSubsysID id = DIAG_SUBSYS_NONE;
    unsigned int cmd = 0;
    ASSERT_TRUE(sDiagSubsystemCmd(buffer.get()).GetSubsystemDispatch(id, cmd));
    EXPECT_EQ(id, DIAG_SUBSYS_DEBUG_TRACE);
    EXPECT_EQ(cmd, 0x1234u);

    cHeldBuffer bad(Hex("4b 25"), 4);
    sDiagSubsystemCmd invalid(bad.get());
    id = static_cast<eDiagSubsysID>(7);
    cmd = 99;
    EXPECT_FALSE(invalid.GetSubsystemID(id));
    EXPECT_EQ(id, 4294967295u);
    EXPECT_FALSE(invalid.GetSubsystemCmd(cmd));
    EXPECT_EQ(cmd, 99u) << "left alone";
    unsigned int length = 5;
    EXPECT_EQ(invalid.GetData(length), nullptr);
}

TEST(SubsystemCmd, DataAndResponseHeaderFollowTheVersion) {
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
        unsigned int length = 0;
        const unsigned char* data = view.GetData(length);
        EXPECT_EQ(data, c.mOffset < 0 ? nullptr : buffer->mData + c.mOffset) << c.mPacket;
        EXPECT_EQ(length, c.mLength) << c.mPacket;
        EXPECT_EQ(view.GetRspHeader(), c.mProtocol == 3 ? buffer->mData + 4 : nullptr) << c.mPacket;
    }
}

TEST(SubsystemCmd, BuildersWriteTheHeaderTheProtocolTypeAndCapThePacket) {
    const unsigned char p[10] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10};
    const Bytes large(9000, 0x5A);
    const struct {
        sSharedBuffer* mBuilt;
        unsigned int mProtocol;
        const char* mPacket;  // null: 8208 bytes
    } cases[] = {
        {sDiagSubsystemCmd::BuildCmd(37, 7, true, p, 1, false, false), 4, "4b 25 07 00 01"},
        {sDiagSubsystemCmd::BuildCmd(0x112, 0x10003, false, p, 10, true, true), 3,
         "80 12 03 00 00 00 00 00 01 00 01 00 01 02 03 04 05 06 07 08 09 0a"},
        {sDiagSubsystemCmd::BuildCmd(1, 2, true, nullptr, 50, true, true), 4, "80 01 02 00"},
        {sDiagSubsystemCmd::BuildCmd(1, 2, false, large.data(), 9000, false, false), 3, nullptr},
        {sDiagSubsystemCmd::BuildCmd(1, 2, false, large.data(), 9000, true, false), 3, nullptr},
        {sDiagDbgSSGetRangeReq::BuildRequest(0x7F), 4, "4b 25 07 00 7f"},
        {sDiagDbgSSGetItemReq::BuildRequest(0x04030201), 4, "4b 25 08 00 01 02 03 04"},
        {sDiagDbgSSClearReq::BuildRequest(2), 4, "4b 25 09 00 02"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(c.mBuilt->mRefCount, 0u);
        cHeldBuffer built(c.mBuilt);
        EXPECT_EQ(built->mProtocol, c.mProtocol);
        if (c.mPacket != nullptr) {
            EXPECT_EQ(Contents(built.get()), Hex(c.mPacket));
        } else {
            EXPECT_EQ(built->mSize, 8208u);
            EXPECT_EQ(built->mData[8207], 0x5A);
        }
    }
}

TEST(DebugTrace, ResponseStatusRangeAndTimestamps) {
    cHeldBuffer info(Hex("4b 25 06 00 00 00 00 00 02  01 00 00 00 00 00 00 80  ff ee dd cc bb aa 99 88"), 3);
    std::vector<unsigned long long> out = {7};
    EXPECT_TRUE(sDiagDbgSSGetInfoRsp(info.get()).GetStatus());
    ASSERT_TRUE(sDiagDbgSSGetInfoRsp(info.get()).GetTimestamps(out));
    EXPECT_EQ(out, (std::vector<unsigned long long>{7, 0x8000000000000001ull, 0x8899AABBCCDDEEFFull}));
    cHeldBuffer infoFailed(Hex("4b 25 06 00 05 00 00 00 00"), 3);
    EXPECT_FALSE(sDiagDbgSSGetInfoRsp(infoFailed.get()).GetStatus());
    EXPECT_FALSE(sDiagDbgSSGetInfoRsp(infoFailed.get()).GetTimestamps(out));
    EXPECT_EQ(out.size(), 3u);

    cHeldBuffer range(Hex("4b 25 07 00 00 00 00 00 78 56 34 12"), 3);
    cHeldBuffer rangeFailed(Hex("4b 25 07 00 01 00 00 00 78 56 34 12"), 3);
    unsigned int value = 0;
    EXPECT_TRUE(sDiagDbgSSGetRangeRsp(range.get()).GetRange(value));
    EXPECT_EQ(value, 0x12345678u);
    EXPECT_FALSE(sDiagDbgSSGetRangeRsp(rangeFailed.get()).GetRange(value));
    cHeldBuffer clear(Hex("4b 25 09 00 00 00 00 00"), 3);
    cHeldBuffer clearFailed(Hex("4b 25 09 00 00 01 00 00"), 3);
    EXPECT_TRUE(sDiagDbgSSClearRsp(clear.get()).GetStatus());
    EXPECT_FALSE(sDiagDbgSSClearRsp(clearFailed.get()).GetStatus());
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
        EXPECT_EQ(view.IsMessage(), c.mMessage) << c.mPacket;
        EXPECT_EQ(view.IsLog(), c.mLog) << c.mPacket;
        EXPECT_EQ(view.IsEvent(), c.mEvent) << c.mPacket;
        sSharedBuffer* item = view.GetItem();
        ASSERT_EQ(item != nullptr, c.mItem != nullptr) << c.mPacket;
        if (item != nullptr) {
            EXPECT_EQ(Contents(item), Hex(c.mItem));
            EXPECT_NE(item->mData, buffer->mData + 13) << "a copy";
            EXPECT_EQ(item->mProtocol, 3u);
            EXPECT_EQ(item->mRefCount, 0u);
            delete item;
        }
    }
}

}  // namespace
