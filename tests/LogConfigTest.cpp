#include "diag/LogConfig.h"

#include <gtest/gtest.h>

#include "tests/DiagPackets.h"

namespace {

using Codes = std::set<unsigned int>;
const eLogEquipID kNoEquipment = static_cast<eLogEquipID>(16);

TEST(LogConfig, BuildersWriteRequestsOrRefuseArgumentsOutOfRange) {
    const struct {
        sSharedBuffer* mBuilt;
        const char* mPacket;
    } cases[] = {
        {sDiagLogConfigReq::BuildDisableLoggingReq(), "73 00 00 00 00 00 00 00"},
        {sDiagLogConfigReq::BuildGetRangesReq(), "73 00 00 00 01 00 00 00"},
        {sDiagLogConfigReq::BuildGetMaskReq(LOG_EQUIP_EXTENDED_MASK), "73 00 00 00 04 00 00 00 01 00 00 00"},
        {sDiagLogConfigReq::BuildSetMaskReq(12, LOG_EQUIP_EXTENDED_MASK, {0x1000, 0x100B}),
         "73 00 00 00 03 00 00 00 01 00 00 00 0c 00 00 00 01 08"},
        {sDiagLogMaskExReq::BuildGetBitCountReq(), "5d 00 00"},
        {sDiagLogMaskExReq::BuildSetMaskReq(12, {0x0003, 0x1000, 0x100B, 0x100C}), "5d 0c 00 80 10"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(c.mBuilt->mRefCount, 0u);
        cHeldBuffer built(c.mBuilt);
        EXPECT_EQ(Contents(built.get()), Hex(c.mPacket));
        EXPECT_EQ(built->mProtocol, 4u);
    }
    cHeldBuffer widest(sDiagLogConfigReq::BuildSetMaskReq(4096, LOG_EQUIP_LAST, {0xFFFF}));
    EXPECT_EQ(widest->mSize, 16u + 512u);
    EXPECT_EQ(widest->mData[16 + 511], 0x80);
    for (sSharedBuffer* refused :
         {sDiagLogConfigReq::BuildGetMaskReq(kNoEquipment),
          sDiagLogConfigReq::BuildSetMaskReq(0, LOG_EQUIP_FIRST, {}),
          sDiagLogConfigReq::BuildSetMaskReq(4097, LOG_EQUIP_FIRST, {}),
          sDiagLogConfigReq::BuildSetMaskReq(8, kNoEquipment, {}), sDiagLogMaskExReq::BuildSetMaskReq(0, {}),
          sDiagLogMaskExReq::BuildSetMaskReq(4097, {})}) {
        EXPECT_EQ(refused, nullptr);
    }
}

TEST(LogConfigReq, AccessorsAndTheirEmptyAnswers) {
    cHeldBuffer setMask(Hex("73 00 00 00 03 00 00 00 02 00 00 00 0a 00 00 00 81 02"), 4);
    sDiagLogConfigReq view(setMask.get());
    EXPECT_EQ(view.GetRequestedOp(), 3u);
    eLogEquipID equipment = LOG_EQUIP_FIRST;
    unsigned int bits = 0;
    EXPECT_EQ(view.GetLogMask(bits, equipment), setMask->mData + 16);
    EXPECT_EQ(bits, 10u);
    EXPECT_EQ(equipment, 2u);
    Codes codes;
    EXPECT_TRUE(view.GetRequestedLogCodes(bits, equipment, codes));
    EXPECT_EQ(codes, (Codes{0x2000, 0x2007, 0x2009}));

    cHeldBuffer ranges(Hex("73 00 00 00 01 00 00 00"), 4);
    sDiagLogConfigReq rangesView(ranges.get());
    EXPECT_FALSE(rangesView.GetEquipIDForReq(equipment));
    EXPECT_EQ(rangesView.GetLogMask(bits, equipment), nullptr);
    EXPECT_FALSE(rangesView.GetRequestedLogCodes(bits, equipment, codes));
    cHeldBuffer response(Hex("73 00 00 00 03 00 00 00 02 00 00 00 0a 00 00 00 81 02"), 3);
    EXPECT_EQ(sDiagLogConfigReq(response.get()).GetRequestedOp(), 5u) << "invalid view";
}

TEST(LogConfigRsp, SupportedBitsOfEveryEquipment) {
    Bytes packet = Hex("73 00 00 00 01 00 00 00 00 00 00 00");
    for (unsigned int id = 0; id < 16; ++id) {
        const Bytes value = {static_cast<unsigned char>(id), 0, 0x01, 0};  // 0x10000 + id
        packet.insert(packet.end(), value.begin(), value.end());
    }
    cHeldBuffer full(packet, 3);
    EXPECT_TRUE(sDiagLogConfigRsp(full.get()).DoesContainBits());
    const std::map<eLogEquipID, unsigned int> bits = sDiagLogConfigRsp(full.get()).GetSupportedBits();
    ASSERT_EQ(bits.size(), 16u);
    EXPECT_EQ(bits.at(LOG_EQUIP_FIRST), 0x10000u);
    EXPECT_EQ(bits.at(LOG_EQUIP_LAST), 0x1000Fu);

    packet.pop_back();
    cHeldBuffer oneShort(packet, 3);
    EXPECT_FALSE(sDiagLogConfigRsp(oneShort.get()).IsValid());
    packet.push_back(0);
    packet[8] = 1;  // status 1: accepted, but carries nothing
    cHeldBuffer failed(packet, 3);
    sDiagLogConfigRsp failedView(failed.get());
    EXPECT_TRUE(failedView.IsValid());
    EXPECT_FALSE(failedView.GetStatus());
    EXPECT_FALSE(failedView.DoesContainBits());
    EXPECT_TRUE(failedView.GetSupportedBits().empty());
}

TEST(LogConfig, CodesOfTheMaskInAResponseAreAdded) {
    cHeldBuffer config(Hex("73 00 00 00 04 00 00 00 00 00 00 00 05 00 00 00 0c 00 00 00 11 08"), 3);
    unsigned int bits = 0;
    eLogEquipID equipment = LOG_EQUIP_FIRST;
    Codes codes = {0x1234};
    EXPECT_TRUE(sDiagLogConfigRsp(config.get()).DoesContainLogMask());
    EXPECT_TRUE(sDiagLogConfigRsp(config.get()).GetValidLogCodes(bits, equipment, codes));
    EXPECT_EQ(bits, 12u);
    EXPECT_EQ(equipment, 5u);
    EXPECT_EQ(codes, (Codes{0x1234, 0x5000, 0x5004, 0x500B}));

    cHeldBuffer maskEx(Hex("5d 09 00 41 80"), 3);  // most significant bit first
    codes.clear();
    EXPECT_TRUE(sDiagLogMaskExRsp(maskEx.get()).GetValidLogCodes(bits, codes));
    EXPECT_EQ(bits, 9u);
    EXPECT_EQ(codes, (Codes{0x1001, 0x1007, 0x1008}));
}

TEST(LogMaskEx, BitCountsAndTheirEmptyAnswers) {
    const struct {
        const char* mPacket;
        unsigned int mBits;  // 0: no mask
    } cases[] = {{"5d", 0}, {"5d 00 00", 0}, {"5d 09 00 ff", 0}, {"5d 09 00 ff 80", 9}};
    for (const auto& c : cases) {
        cHeldBuffer buffer(Hex(c.mPacket), 3);
        EXPECT_EQ(sDiagLogMaskExRsp(buffer.get()).GetSupportedBits(), c.mBits) << c.mPacket;
        EXPECT_EQ(sDiagLogMaskExRsp(buffer.get()).DoesContainLogMask(), c.mBits != 0) << c.mPacket;
    }
    cHeldBuffer request(Hex("5d 0c 00 80 10"), 4);
    cHeldBuffer response(Hex("5d 0c 00 80 10"), 3);
    unsigned int bits = 0;
    Codes codes;
    EXPECT_EQ(sDiagLogMaskExReq(request.get()).GetRequestedBits(), 12u);
    EXPECT_TRUE(sDiagLogMaskExReq(request.get()).GetRequestedLogCodes(bits, codes));
    EXPECT_EQ(codes, (Codes{0x1000, 0x100B})) << "most significant bit first";
    EXPECT_EQ(sDiagLogMaskExReq(response.get()).GetRequestedBits(), 0u) << "invalid view";
    cHeldBuffer getBits(Hex("5d 00 00"), 4);
    EXPECT_EQ(sDiagLogMaskExReq(getBits.get()).GetLogMask(bits), nullptr);
}

}  // namespace
