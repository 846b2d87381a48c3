#include "diag/LogMask.h"

#include <gtest/gtest.h>

#include "tests/DiagPackets.h"

namespace {

using Codes = std::set<unsigned int>;

TEST(LogMask, BuildFromCodes) {
    const struct {
        const char* mName;
        unsigned int mBits;
        unsigned int mEquipment;
        Codes mCodes;
        bool mReverse;
        const char* mMask;
    } cases[] = {
        {"low bit first", 16, 1, {0x1000, 0x1003, 0x100F, 0x2001}, false, "09 80"},
        {"high bit first", 16, 1, {0x1000, 0x1003, 0x100F, 0x2001}, true, "90 01"},
        {"item not below the bit count", 16, 1, {0x1010}, false, "00 00"},
        {"lower equipment skipped", 16, 1, {0x0005, 0x1002}, false, "04 00"},
        {"stops at a higher equipment", 16, 0, {0x0005, 0x1002}, false, "20 00"},
        {"partial last byte", 12, 1, {0x1000, 0x100B}, false, "01 08"},
        {"codes above 0xFFFF are no log codes", 8, 1, {0x1001, 0x11002}, false, "02"},
        {"equipment 15", 8, 15, {0xF000, 0xF007, 0x10000}, false, "81"},
    };
    for (const auto& c : cases) {
        Bytes mask(4, 0xEE);
        BuildLogMaskFromCodes(mask.data(), c.mBits, static_cast<eLogEquipID>(c.mEquipment), c.mCodes,
                              c.mReverse);
        Bytes expected = Hex(c.mMask);
        expected.resize(4, 0xEE);  // bytes past the mask are not touched
        EXPECT_EQ(mask, expected) << c.mName;
    }
}

TEST(LogMask, CodesFromMaskAreAddedBelowTheBitCount) {
    const Bytes mask = Hex("90 01");
    Codes codes = {0x0001};
    BuildLogCodesFromMask(mask.data(), 16, LOG_EQUIP_EXTENDED_MASK, codes, true);
    EXPECT_EQ(codes, (Codes{0x0001, 0x1000, 0x1003, 0x100F}));
    EXPECT_EQ(mask, Hex("90 01")) << "the mask is kept";
    codes.clear();
    const Bytes wide = Hex("90 f1");
    BuildLogCodesFromMask(wide.data(), 12, static_cast<eLogEquipID>(7), codes, false);
    EXPECT_EQ(codes, (Codes{0x7004, 0x7007, 0x7008})) << "bits 12 to 15 are beyond the count";
}

TEST(LogMask, BadArgumentsTouchNothing) {
    const struct {
        unsigned int mBits;
        unsigned int mEquipment;
    } cases[] = {{0, 1}, {4097, 1}, {16, 16}};
    for (const auto& c : cases) {
        Bytes mask(600, 0xEE);
        BuildLogMaskFromCodes(mask.data(), c.mBits, static_cast<eLogEquipID>(c.mEquipment), {0x1000}, false);
        EXPECT_EQ(mask, Bytes(600, 0xEE));
        Codes codes = {42};
        BuildLogCodesFromMask(mask.data(), c.mBits, static_cast<eLogEquipID>(c.mEquipment), codes, false);
        EXPECT_EQ(codes, Codes{42});
    }
    Codes codes;
    BuildLogMaskFromCodes(nullptr, 16, LOG_EQUIP_EXTENDED_MASK, {0x1000}, false);
    BuildLogCodesFromMask(nullptr, 16, LOG_EQUIP_EXTENDED_MASK, codes, false);
    EXPECT_TRUE(codes.empty());
}

TEST(LogMask, ReverseBitsOfAWordAndTheBytesAfterIt) {
    Bytes data = Hex("01 c4 80 ff 00 0f 5a 12 34 56 78 9a");
    ReverseBits(data.data(), 11);
    EXPECT_EQ(data, Hex("80 23 01 ff 00 f0 5a 48 2c 6a 1e 9a"));
    ReverseBits(data.data(), 0);
    EXPECT_EQ(data, Hex("80 23 01 ff 00 f0 5a 48 2c 6a 1e 9a"));
}

}  // namespace
