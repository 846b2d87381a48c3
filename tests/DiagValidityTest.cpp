// Which packets each view accepts, at and around the edges of its rule. Each row is checked through the
// constructor and again through Validate().
#include <gtest/gtest.h>

#include "diag/DiagLog.h"
#include "diag/LogConfig.h"
#include "diag/SubsystemCmd.h"
#include "tests/DiagPackets.h"

namespace {

template <typename View>
bool IsValid(sSharedBuffer* buffer) {
    View view(buffer);
    const bool constructed = view.IsValid();
    EXPECT_EQ(view.Validate(), constructed);
    return constructed;
}

using ValidityOf = bool (*)(sSharedBuffer*);
const ValidityOf DIAG = IsValid<sDiagBuffer>, SUBSYS = IsValid<sDiagSubsystemCmd>;
const ValidityOf INFO_RSP = IsValid<sDiagDbgSSGetInfoRsp>, RANGE_REQ = IsValid<sDiagDbgSSGetRangeReq>;
const ValidityOf RANGE_RSP = IsValid<sDiagDbgSSGetRangeRsp>, ITEM_REQ = IsValid<sDiagDbgSSGetItemReq>;
const ValidityOf ITEM_RSP = IsValid<sDiagDbgSSGetItemRsp>, CLEAR_REQ = IsValid<sDiagDbgSSClearReq>;
const ValidityOf CLEAR_RSP = IsValid<sDiagDbgSSClearRsp>;
const ValidityOf CONFIG_REQ = IsValid<sDiagLogConfigReq>, CONFIG_RSP = IsValid<sDiagLogConfigRsp>;
const ValidityOf MASK_REQ = IsValid<sDiagLogMaskExReq>, MASK_RSP = IsValid<sDiagLogMaskExRsp>;
const ValidityOf LOG = IsValid<sDiagLog>, OTA = IsValid<sDiagOTALog>;

const struct {
    ValidityOf mIsValid;
    unsigned int mProtocol;
    const char* mPacket;
    bool mValid;
} kCases[] = {
    {DIAG, 2, "4b", false},
    {DIAG, 3, "4b", true},  // responses and requests only
    {DIAG, 4, "4b", true},
    {DIAG, 5, "4b", false},
    // Subsystem dispatch: a version-2 response needs its 12-byte header, a request only 4 bytes.
    {SUBSYS, 3, "4b 12 03 00", true},
    {SUBSYS, 3, "4b 12 03", false},
    {SUBSYS, 4, "4c 12 03 00", false},
    {SUBSYS, 3, "80 12 03 00 00 00 00 00 00 00 00", false},
    {SUBSYS, 4, "80 12 03 00 00 00 00 00 00 00 00", true},
    {SUBSYS, 3, "80 12 03 00 00 00 00 00 00 00 00 00", true},
    // Debug trace: subsystem 37, the view's command, its size rule.
    {INFO_RSP, 3, "4b 25 06 00 00 00 00 00", false},
    {INFO_RSP, 3, "4b 25 06 00 00 00 00 00 00", true},  // status 0, count 0
    {INFO_RSP, 3, "4b 25 06 00 00 00 00 00 01 11 22 33 44 55 66 77", false},
    {INFO_RSP, 3, "4b 25 06 00 00 00 00 00 01 11 22 33 44 55 66 77 88", true},
    {INFO_RSP, 3, "4b 25 06 00 00 00 00 00 01 11 22 33 44 55 66 77 88 99", false},
    {INFO_RSP, 3, "4b 25 06 00 05 00 00 00 03", true},  // failed: the count is not checked
    {INFO_RSP, 3, "4b 24 06 00 00 00 00 00 00", false},
    {INFO_RSP, 3, "4b 25 07 00 00 00 00 00 00", false},
    {RANGE_REQ, 4, "4b 25 07 00 01", true},
    {RANGE_REQ, 4, "4b 25 07 00 01 02", false},
    {RANGE_RSP, 3, "4b 25 07 00 00 00 00 00 10 00 00 00", true},
    {RANGE_RSP, 3, "4b 25 07 00 00 00 00 00 10 00 00", false},
    {RANGE_RSP, 3, "4b 25 07 00 00 00 00 00 10 00 00 00 00", false},
    {ITEM_REQ, 4, "4b 25 08 00 01 00 00 00", true},
    {ITEM_REQ, 4, "4b 25 08 00 01 00 00 00 00", false},
    {ITEM_RSP, 3, "4b 25 08 00 00 00 00 00 02 00 00 00 00", true},
    {ITEM_RSP, 3, "4b 25 08 00 00 00 00 00 02 00 00 00", false},
    {ITEM_RSP, 3, "80 25 08 00 00 00 00 00 02 00 00 00 00", true},  // code 128 read at the same offsets
    {CLEAR_REQ, 4, "4b 25 09 00 00", true},
    {CLEAR_REQ, 4, "4b 25 09 00 00 00", false},
    {CLEAR_RSP, 3, "4b 25 09 00 00 00 00 00", true},
    {CLEAR_RSP, 3, "4b 25 09 00 00 00 00", false},
    {CLEAR_RSP, 3, "4b 25 09 00 00 00 00 00 00", false},
    // Log configuration request: operations 0 and 1 exactly 8 bytes, 4 exactly 12, 3 with its mask.
    {CONFIG_REQ, 4, "73 00 00 00 00 00 00 00", true},
    {CONFIG_REQ, 3, "73 00 00 00 00 00 00 00", false},
    {CONFIG_REQ, 4, "74 00 00 00 00 00 00 00", false},
    {CONFIG_REQ, 4, "73 00 00 00 01 00 00 00 00", false},
    {CONFIG_REQ, 4, "73 00 00 00 02 00 00 00", false},  // operation 2 is not used
    {CONFIG_REQ, 4, "73 00 00 00 05 00 00 00", false},
    {CONFIG_REQ, 4, "73 00 00 00 04 00 00 00 0f 00 00 00", true},
    {CONFIG_REQ, 4, "73 00 00 00 04 00 00 00 10 00 00 00", false},
    {CONFIG_REQ, 4, "73 00 00 00 04 00 00 00 0f 00 00", false},
    {CONFIG_REQ, 4, "73 00 00 00 03 00 00 00 01 00 00 00 09 00 00 00 ff 01", true},
    {CONFIG_REQ, 4, "73 00 00 00 03 00 00 00 01 00 00 00 09 00 00 00 ff", false},
    {CONFIG_REQ, 4, "73 00 00 00 03 00 00 00 01 00 00 00 00 00 00 00", false},  // needs 17 bytes
    {CONFIG_REQ, 4, "73 00 00 00 03 00 00 00 10 00 00 00 08 00 00 00 ff", false},
    {CONFIG_REQ, 4, "73 00 00 00 03 00 00 00 01 00 00 00 01 10 00 00 ff", false},  // 4097 bits
    // Log configuration response: statuses 0 to 2; a get-mask response holds its whole mask.
    {CONFIG_RSP, 3, "73 00 00 00 00 00 00 00 02 00 00 00", true},
    {CONFIG_RSP, 3, "73 00 00 00 00 00 00 00 03 00 00 00", false},
    {CONFIG_RSP, 3, "73 00 00 00 00 00 00 00 00 00 00", false},
    {CONFIG_RSP, 3, "73 00 00 00 02 00 00 00 00 00 00 00", false},
    {CONFIG_RSP, 3, "73 00 00 00 03 00 00 00 01 00 00 00", true},
    {CONFIG_RSP, 3, "73 00 00 00 04 00 00 00 00 00 00 00 01 00 00 00 00 00 00 00", true},
    {CONFIG_RSP, 3, "73 00 00 00 04 00 00 00 00 00 00 00 01 00 00 00 09 00 00 00 ff", false},
    {CONFIG_RSP, 3, "73 00 00 00 04 00 00 00 00 00 00 00 01 00 00 00 09 00 00 00 ff 01", true},
    {CONFIG_RSP, 3, "73 00 00 00 04 00 00 00 00 00 00 00 01 00 00 00 ff ff ff ff ff 01", false},
    // Extended log mask.
    {MASK_REQ, 4, "5d 00 00", true},
    {MASK_REQ, 4, "5d 00 00 00", false},
    {MASK_REQ, 4, "5d 09 00 ff", false},
    {MASK_REQ, 4, "5d 09 00 ff 01", true},
    {MASK_REQ, 4, "5d 09 00 ff 01 00", false},
    {MASK_REQ, 4, "5d 01 10 00", false},  // 4097 bits
    {MASK_REQ, 4, "5d 00", false},
    {MASK_RSP, 3, "5d", true},
    {MASK_RSP, 3, "5d 00", false},
    {MASK_RSP, 3, "5d 00 00", false},
    {MASK_RSP, 3, "5d 09 00 ff", false},
    {MASK_RSP, 3, "5d 09 00 ff 80 00", true},
    {MASK_RSP, 3, "5d 01 10 ff", false},
    // Log packets: consistent length fields, or the 4-byte form with a length of 0.
    {LOG, 3, "10 00 0c 00 0c 00 48 10 00 00 00 00 00 00 00 00", true},
    {LOG, 4, "10 00 0c 00 0c 00 48 10 00 00 00 00 00 00 00 00", false},  // a request is never a log
    {LOG, 3, "10 00 0d 00 0c 00 48 10 00 00 00 00 00 00 00 00", false},  // length fields differ
    {LOG, 3, "10 00 0d 00 0d 00 48 10 00 00 00 00 00 00 00 00", false},  // one byte short
    {LOG, 3, "10 00 0d 00 0d 00 48 10 00 00 00 00 00 00 00 00 aa", true},
    {LOG, 3, "11 00 0c 00 0c 00 48 10 00 00 00 00 00 00 00 00", false},
    {LOG, 3, "10 01 0c 00 0c 00 48 10 00 00 00 00 00 00 00 00", true},  // more-data flag not checked
    {LOG, 3, "10 00 00 00", true},
    {LOG, 3, "10 00 01 00", false},
    {LOG, 3, "10 00 00 00 00", false},
    {LOG, 3, "10 00 0b 00 0b 00 48 10 00 00 00 00 00 00 00", false},
    {OTA, 3, "10 00 00 00", false},  // neither a code nor a payload of its own
    {OTA, 3, "10 00 12 00 12 00 2f 41 00 00 00 00 00 00 00 00 04 00 02 00 aa bb", true},
    {OTA, 3, "10 00 12 00 12 00 2f 41 00 00 00 00 00 00 00 00 04 00 01 00 aa bb", false},
    {OTA, 3, "10 00 0f 00 0f 00 2f 41 00 00 00 00 00 00 00 00 04 00 00", false},
};

TEST(DiagViews, AcceptedPackets) {
    for (const auto& c : kCases) {
        cHeldBuffer buffer(Hex(c.mPacket), c.mProtocol);
        EXPECT_EQ(c.mIsValid(buffer.get()), c.mValid) << c.mPacket << " / " << c.mProtocol;
        EXPECT_EQ(buffer.Others(), 0u) << "every view gave its reference back";
    }
}

// The OTA code table and each technology's payload check, at the check's edge (the sizes accepted at the
// edge that are not here are rows of the OTA type table).
TEST(DiagViews, AcceptedOTACodesAndPayloadSizes) {
    const struct {
        unsigned int mCode;
        unsigned int mPayloadSize;
        bool mValid;
    } cases[] = {
        {0x1004, 1, false},  {0x1004, 0, false}, {0x1091, 2, true},   {0x10D8, 1, false}, {0x1388, 3, false},
        {0x1389, 3, false},  {0x138A, 8, false}, {0x138D, 1, false},  {0x1003, 8, false}, {0x1009, 8, false},
        {0x1076, 11, false}, {0x107C, 12, true}, {0x107B, 12, false}, {0x1085, 1, false}, {0x1085, 2, true},
        {0x1086, 2, true},   {0x512F, 1, false}, {0x512F, 2, true},   {0x5226, 2, true},  {0x5230, 2, true},
        {0x713A, 6, false},  {0x7B3A, 7, false}, {0x141B, 0, false},  {0x141B, 1, true},  {0x141C, 1, true},
        {0x149F, 0, false},  {0x149F, 1, true},  {0x1048, 0, true},   {0x1049, 3, true},  {0x104C, 0, true},
        {0x104D, 0, true},   {0x1052, 0, true},  {0x1053, 0, true},   {0xA000, 0, true},  {0xA100, 0, true},
        {0xA103, 0, true},   {0xA104, 0, false}, {0xB0C0, 30, false},
    };
    for (const auto& c : cases) {
        cHeldBuffer buffer(LogPacket(c.mCode, Bytes(c.mPayloadSize, 0x01)), 3);
        EXPECT_EQ(sDiagOTALog(buffer.get()).IsValid(), c.mValid)
            << std::hex << c.mCode << " " << c.mPayloadSize;
    }
}

}  // namespace
