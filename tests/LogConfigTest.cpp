#include "diag/LogConfig.h"

#include <gtest/gtest.h>

#include "tests/DiagPackets.h"

namespace {

using Codes = std::set<unsigned int>;

TEST(LogConfigReq, Builders) {
    cHeldBuffer disable(sDiagLogConfigReq::BuildDisableLoggingReq());
    EXPECT_EQ(Contents(disable.get()), Hex("73 00 00 00 00 00 00 00"));
    cHeldBuffer ranges(sDiagLogConfigReq::BuildGetRangesReq());
    EXPECT_EQ(Contents(ranges.get()), Hex("73 00 00 00 01 00 00 00"));
    cHeldBuffer getMask(sDiagLogConfigReq::BuildGetMaskReq(LOG_EQUIP_EXTENDED_MASK));
    EXPECT_EQ(Contents(getMask.get()), Hex("73 00 00 00 04 00 00 00 01 00 00 00"));
    EXPECT_EQ(sDiagLogConfigReq::BuildGetMaskReq(static_cast<eLogEquipID>(16)), nullptr);

    sSharedBuffer* built = sDiagLogConfigReq::BuildSetMaskReq(12, LOG_EQUIP_EXTENDED_MASK, {0x1000, 0x100B});
    EXPECT_EQ(built->mRefCount, 0u);
    cHeldBuffer setMask(built);
    EXPECT_EQ(Contents(setMask.get()), Hex("73 00 00 00 03 00 00 00 01 00 00 00 0c 00 00 00 01 08"));
    EXPECT_EQ(sDiagLogConfigReq::BuildSetMaskReq(0, LOG_EQUIP_FIRST, {}), nullptr);
    EXPECT_EQ(sDiagLogConfigReq::BuildSetMaskReq(4097, LOG_EQUIP_FIRST, {}), nullptr);
    EXPECT_EQ(sDiagLogConfigReq::BuildSetMaskReq(8, static_cast<eLogEquipID>(16), {}), nullptr);
    cHeldBuffer widest(sDiagLogConfigReq::BuildSetMaskReq(4096, LOG_EQUIP_LAST, {0xFFFF}));
    EXPECT_EQ(widest->mSize, 16u + 512u);
    EXPECT_EQ(widest->mData[16 + 511], 0x80);

    for (const cHeldBuffer* b : {&disable, &ranges, &getMask, &setMask, &widest}) {
        EXPECT_EQ((*b)->mProtocol, 4u);
        EXPECT_TRUE(sDiagLogConfigReq((*b).get()).IsValid()) << Contents((*b).get()).size();
    }
}

TEST(LogConfigReq, Accessors) {
    cHeldBuffer setMask(Hex("73 00 00 00 03 00 00 00 02 00 00 00 0a 00 00 00 81 02"), 4);
    sDiagLogConfigReq view(setMask.get());
    EXPECT_EQ(view.GetRequestedOp(), 3u);
    eLogEquipID equipment = LOG_EQUIP_FIRST;
    EXPECT_TRUE(view.GetEquipIDForReq(equipment));
    EXPECT_EQ(equipment, 2u);
    unsigned int bits = 0;
    EXPECT_EQ(view.GetLogMask(bits, equipment), setMask->mData + 16);
    EXPECT_EQ(bits, 10u);
    Codes codes;
    EXPECT_TRUE(view.GetRequestedLogCodes(bits, equipment, codes));
    EXPECT_EQ(codes, (Codes{0x2000, 0x2007, 0x2009}));

    cHeldBuffer ranges(sDiagLogConfigReq::BuildGetRangesReq());
    sDiagLogConfigReq rangesView(ranges.get());
    EXPECT_FALSE(rangesView.GetEquipIDForReq(equipment));
    EXPECT_EQ(rangesView.GetLogMask(bits, equipment), nullptr);
    EXPECT_FALSE(rangesView.GetRequestedLogCodes(bits, equipment, codes));
}

TEST(LogConfigRsp, SupportedBitsOfEveryEquipment) {
    Bytes packet = Hex("73 00 00 00 01 00 00 00 00 00 00 00");
    for (unsigned int id = 0; id < 16; ++id) {
        const Bytes value = {static_cast<unsigned char>(id), 0, 0x01, 0};  // 0x10000 + id
        packet.insert(packet.end(), value.begin(), value.end());
    }
    cHeldBuffer full(packet, 3);
    sDiagLogConfigRsp view(full.get());
    EXPECT_TRUE(view.DoesContainBits());
    EXPECT_FALSE(view.DoesContainLogMask());
    const std::map<eLogEquipID, unsigned int> bits = view.GetSupportedBits();
    ASSERT_EQ(bits.size(), 16u);
    EXPECT_EQ(bits.at(LOG_EQUIP_FIRST), 0x10000u);
    EXPECT_EQ(bits.at(LOG_EQUIP_LAST), 0x1000Fu);

    packet.pop_back();
    cHeldBuffer short75(packet, 3);
    EXPECT_FALSE(sDiagLogConfigRsp(short75.get()).IsValid());
    EXPECT_TRUE(sDiagLogConfigRsp(short75.get()).GetSupportedBits().empty());

    packet.push_back(0);
    packet[8] = 1;  // status 1: accepted, but carries nothing
    cHeldBuffer failed(packet, 3);
    sDiagLogConfigRsp failedView(failed.get());
    EXPECT_TRUE(failedView.IsValid());
    EXPECT_FALSE(failedView.GetStatus());
    EXPECT_TRUE(failedView.GetSupportedBits().empty());
}

TEST(LogConfigRsp, LogMaskOfAnEquipment) {
    cHeldBuffer buffer(Hex("73 00 00 00 04 00 00 00 00 00 00 00 05 00 00 00 0c 00 00 00 11 08"), 3);
    sDiagLogConfigRsp view(buffer.get());
    ASSERT_TRUE(view.DoesContainLogMask());
    unsigned int bits = 0;
    eLogEquipID equipment = LOG_EQUIP_FIRST;
    Codes codes = {0x1234};
    EXPECT_TRUE(view.GetValidLogCodes(bits, equipment, codes));
    EXPECT_EQ(bits, 12u);
    EXPECT_EQ(equipment, 5u);
    EXPECT_EQ(codes, (Codes{0x1234, 0x5000, 0x5004, 0x500B}));
}

TEST(LogMaskEx, RequestBuildersAndAccessors) {
    cHeldBuffer getBits(sDiagLogMaskExReq::BuildGetBitCountReq());
    EXPECT_EQ(Contents(getBits.get()), Hex("5d 00 00"));
    EXPECT_EQ(getBits->mProtocol, 4u);
    unsigned int bits = 0;
    EXPECT_EQ(sDiagLogMaskExReq(getBits.get()).GetLogMask(bits), nullptr);

    cHeldBuffer setMask(sDiagLogMaskExReq::BuildSetMaskReq(12, {0x0003, 0x1000, 0x100B, 0x100C}));
    EXPECT_EQ(Contents(setMask.get()), Hex("5d 0c 00 80 10"));
    sDiagLogMaskExReq view(setMask.get());
    EXPECT_TRUE(view.DoesContainLogMask());
    EXPECT_EQ(view.GetRequestedBits(), 12u);
    Codes codes;
    EXPECT_TRUE(view.GetRequestedLogCodes(bits, codes));
    EXPECT_EQ(codes, (Codes{0x1000, 0x100B}));
    EXPECT_EQ(sDiagLogMaskExReq::BuildSetMaskReq(0, {}), nullptr);
    EXPECT_EQ(sDiagLogMaskExReq::BuildSetMaskReq(4097, {}), nullptr);

    cHeldBuffer wrongProtocol(Hex("5d 0c 00 80 10"), 3);
    EXPECT_EQ(sDiagLogMaskExReq(wrongProtocol.get()).GetRequestedBits(), 0u);
}

TEST(LogMaskEx, Response) {
    const struct {
        const char* mPacket;
        unsigned int mBits;  // 0: no mask
    } cases[] = {{"5d", 0}, {"5d 00 00", 0}, {"5d 09 00 ff", 0}, {"5d 09 00 ff 80", 9}};
    for (const auto& c : cases) {
        cHeldBuffer buffer(Hex(c.mPacket), 3);
        sDiagLogMaskExRsp view(buffer.get());
        EXPECT_EQ(view.GetSupportedBits(), c.mBits) << c.mPacket;
        EXPECT_EQ(view.DoesContainLogMask(), c.mBits != 0) << c.mPacket;
    }
    cHeldBuffer buffer(Hex("5d 09 00 41 80"), 3);
    unsigned int bits = 0;
    Codes codes;
    EXPECT_TRUE(sDiagLogMaskExRsp(buffer.get()).GetValidLogCodes(bits, codes));
    EXPECT_EQ(bits, 9u);
    EXPECT_EQ(codes, (Codes{0x1001, 0x1007, 0x1008}));
}

}  // namespace
