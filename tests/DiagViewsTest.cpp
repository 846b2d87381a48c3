// The packet views of diag/: which packets each view accepts, at and around the edges of its rule (through
// the constructor and again through Validate()), their references, fields, builders and log masks.
#include <gtest/gtest.h>

#include <string>

#include "diag/DiagLog.h"
#include "diag/LogConfig.h"
#include "diag/LogMask.h"
#include "diag/ProtocolBuffer.h"
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
    {MASK_REQ, 4, "5d 00 00", true},
    {MASK_REQ, 4, "5d 00 00 00", false},
    {MASK_REQ, 4, "5d 09 00 ff", false},
    {MASK_REQ, 4, "5d 09 00 ff 01", true},
    {MASK_REQ, 4, "5d 09 00 ff 01 00", false},
    {MASK_REQ, 4, "5d 01 10 00", false},  // 4097 bits
    {MASK_REQ, 4, "5d 00", false},
    {MASK_RSP, 3, "5d", true},
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

// The OTA code table and each technology's payload check at its edge (other sizes: the OTA type table).
TEST(DiagViews, AcceptedOTACodesAndPayloadSizes) {
    const struct {
        unsigned int mCode;
        unsigned int mPayloadSize;
        bool mValid;
    } cases[] = {
        {0x1004, 1, false},  {0x1091, 2, true},  {0x10D8, 1, false}, {0x1388, 3, false},  {0x138A, 8, false},
        {0x138D, 1, false},  {0x1003, 8, false}, {0x1009, 8, false}, {0x1076, 11, false}, {0x107C, 12, true},
        {0x107B, 12, false}, {0x1085, 1, false}, {0x1085, 2, true},  {0x512F, 1, false},  {0x512F, 2, true},
        {0x5226, 2, true},   {0x713A, 6, false}, {0x7B3A, 7, false}, {0x141B, 0, false},  {0x141B, 1, true},
        {0x141C, 1, true},   {0x149F, 0, false}, {0x149F, 1, true},  {0x1048, 0, true},   {0x1049, 3, true},
        {0x104C, 0, true},   {0x104D, 0, true},  {0x1052, 0, true},  {0x1053, 0, true},   {0xA000, 0, true},
        {0xA100, 0, true},   {0xA103, 0, true},  {0xA104, 0, false}, {0xB0C0, 30, false},
    };
    for (const auto& c : cases) {
        cHeldBuffer buffer(LogPacket(c.mCode, Bytes(c.mPayloadSize, 0x01)), 3);
        EXPECT_EQ(sDiagOTALog(buffer.get()).IsValid(), c.mValid)
            << std::hex << c.mCode << " " << c.mPayloadSize;
    }
}

// That every view gives its reference back is checked by the table above.
TEST(ProtocolBuffer, HeldBufferThatBecameUnusableIsDeliberatelyNotReleased) {
    cHeldBuffer buffer(Hex("4b 25 07 00"), 3);
    {
        sProtocolBuffer view(buffer.get());
        EXPECT_EQ(buffer.Others(), 1u);
        buffer->mSize = 0;
    }
    buffer->mSize = 4;
    EXPECT_EQ(buffer.Others(), 1u);
    buffer->Release();
}

TEST(ProtocolBuffer, UnusableBufferIsNeitherKeptNorReferenced) {
    cHeldBuffer emptyBuffer(Bytes(), 3);
    cHeldBuffer tooLarge(Hex("10"), 3);
    tooLarge->mSize = MAX_SHARED_BUFFER_SIZE + 1;
    for (sSharedBuffer* buffer : {emptyBuffer.get(), tooLarge.get(), static_cast<sSharedBuffer*>(nullptr)}) {
        sDiagBuffer view(buffer);
        EXPECT_FALSE(view.IsValid());
        EXPECT_EQ(view.mBuffer, nullptr);
    }
    EXPECT_EQ(emptyBuffer.Others(), 0u);
    EXPECT_EQ(tooLarge.Others(), 0u);
    tooLarge->mSize = 1;
}

TEST(ProtocolBuffer, CopyAndAssignmentCountReferences) {
    cHeldBuffer first(Hex("4b 25 07 00"), 3);
    cHeldBuffer second(Hex("10 00 00 00"), 3);
    sDiagBuffer a(first.get());
    sDiagBuffer b(second.get());
    {
        sDiagBuffer copy(a);
        EXPECT_EQ(first.Others(), 2u);
    }
    EXPECT_EQ(first.Others(), 1u);

    a = b;
    EXPECT_EQ(first.Others(), 0u);
    EXPECT_EQ(second.Others(), 2u);
    a = b;  // both views already hold the buffer: deliberately one reference more
    EXPECT_EQ(second.Others(), 3u);

    sDiagBuffer invalid(nullptr);
    b = invalid;  // gives back b's reference, takes none
    EXPECT_EQ(second.Others(), 2u);
    EXPECT_FALSE(b.IsValid());
    second->Release();  // the extra reference of the same-buffer assignment
}

TEST(DiagBuffer, ValidationNarrowsAndNeverWidensAgain) {
    cHeldBuffer buffer(Hex("4b 25 07 00"), 5);
    sDiagSubsystemCmd view(buffer.get());
    EXPECT_FALSE(view.IsValid());
    EXPECT_EQ(buffer.Others(), 1u) << "an invalid view on a usable buffer still holds it";
    buffer->mProtocol = 3;
    EXPECT_FALSE(view.Validate()) << "a view found invalid stays invalid";
    EXPECT_TRUE(view.sProtocolBuffer::Validate()) << "the buffer itself is usable: widened again";
    sProtocolBuffer* base = &view;
    EXPECT_TRUE(base->Validate()) << "dispatched to sDiagSubsystemCmd, which now accepts the packet";
}

TEST(DiagBuffer, ErrorResponseCodes) {
    const struct {
        unsigned char mCode;
        bool mError;
    } cases[] = {{0x12, false}, {0x13, true},  {0x18, true},  {0x19, false}, {0x41, false},
                 {0x42, true},  {0x43, false}, {0x46, false}, {0x47, true},  {0x48, false}};
    for (const auto& c : cases) {
        cHeldBuffer buffer(Bytes{c.mCode}, 3);
        EXPECT_EQ(sDiagBuffer(buffer.get()).IsErrorResponse(), c.mError) << int(c.mCode);
    }
    cHeldBuffer otherProtocol(Hex("13"), 7);
    EXPECT_FALSE(sDiagBuffer(otherProtocol.get()).IsErrorResponse());
}

TEST(DiagBuffer, BuildBufferCapsThePacketAndSetsTheProtocolType) {
    const Bytes payload(9000, 0xA5);
    cHeldBuffer request(sDiagBuffer::BuildBuffer(DIAG_CMD_SUBSYS_DISPATCH, true, payload.data(), 9000));
    EXPECT_EQ(request->mSize, 8208u);
    EXPECT_EQ(request->mProtocol, 4u);
    EXPECT_EQ(request->mData[0], 0x4B);
    EXPECT_EQ(request->mData[8207], 0xA5);
    cHeldBuffer single(sDiagBuffer::BuildBuffer(DIAG_CMD_LOG, false, nullptr, 50));
    EXPECT_EQ(Contents(single.get()), Hex("10"));
    EXPECT_EQ(single->mProtocol, 3u);
}

using Type = std::vector<unsigned int>;
const char* const kLog = "10 00 0e 00 0e 00 2f 41 08 07 06 05 04 03 02 01 aa bb";

// The code and payload of valid logs are pinned by every OTA test.
TEST(DiagLog, TimestampEmptyAnswersAndTheWrappingLengthOfThe4ByteForm) {
    cHeldBuffer log(Hex(kLog), 3);
    EXPECT_EQ(sDiagLog(log.get()).GetTimestamp(), 0x0102030405060708ull);
    cHeldBuffer request(Hex(kLog), 4);
    unsigned int length = 9;
    EXPECT_EQ(sDiagLog(request.get()).GetLogCode(), 4294967295u) << "a request is never a log";
    EXPECT_EQ(sDiagLog(request.get()).GetLogData(length), nullptr);
    EXPECT_EQ(length, 0u);
    cHeldBuffer shortForm(Hex("10 00 00 00"), 3);
    sDiagLog(shortForm.get()).GetLogData(length);
    EXPECT_EQ(length, 4294967284u) << "as documented";
}

TEST(DiagLog, BuildLogWritesTheHeaderAndCapsThePacket) {
    const Bytes payload = Hex("03 00 10 00 5c 5c 5c 5c");
    sSharedBuffer* built = sDiagLog::BuildLog(0x412F, 0x1122334455667788ull, payload.data(), 8);
    EXPECT_EQ(built->mRefCount, 0u) << "for the caller to take";
    cHeldBuffer log(built);
    EXPECT_EQ(log->mProtocol, 3u);
    EXPECT_EQ(Contents(log.get()),
              Hex("10 00 14 00 14 00 2f 41 88 77 66 55 44 33 22 11 03 00 10 00 5c 5c 5c 5c"));

    const Bytes large(9000, 0x33);
    cHeldBuffer capped(sDiagLog::BuildLog(0x10412F, 0, large.data(), 9000));
    EXPECT_EQ(capped->mSize, 8208u);
    EXPECT_EQ(sDiagLog(capped.get()).GetLogCode(), 0x412Fu);
    cHeldBuffer bare(sDiagLog::BuildLog(0x1048, 0, nullptr, 100));
    EXPECT_EQ(Contents(bare.get()), Hex("10 00 0c 00 0c 00 48 10 00 00 00 00 00 00 00 00"));
}

// One row per layout and edge (GSM, NAS and the WCDMA broadcast choices: OTARealCaptureTest). WCDMA RRC
// payloads: channel type, a byte not read, 16-bit message length, message; choices worked out bit by bit.
TEST(DiagOTALog, OTATypeOfEveryTechnology) {
    const std::string zeros16(32, '0');
    const struct {
        unsigned int mCode;
        std::string mPayload;
        Type mType;
    } cases[] = {
        {0x1007, "00 c5", {5}},  // 4103: masked
        {0x1008, "00 c5", {197}},
        {0x10D7, "80 01 c7", {7}},  // 4311: byte 2 when bit 7 of byte 0 is set, masked
        {0x10D8, "7f 05 09", {5}},
        {0x10D6, "80 05", {5}},  // too short for byte 2
        {0x138B, "11 22", {0}},  // 5003 reads byte 2 of a 2-byte payload, past the end: 0
        {0x138C, "00 00 ff", {63}},
        {0x1388, "00 00 00 ff", {63}},
        {0x1076, "00 00 00 00 00 00 00 00 00 00 00 00 8b c0", {11, 3}},
        {0x1077, "00 00 00 00 00 00 00 00 40 00 00 00 15 07", {21, 7, 2}},
        {0x1077, "00 00 00 00 00 00 00 00 1f 00 00 00 17 07", {23, 7}},
        {0x1079, "00 00 00 00 00 00 00 00 40 00 00 00 14 07", {20, 7}},
        {0x1076, "00 00 00 00 00 00 00 00 00 00 00 8b", {}},  // needs 13 bytes
        {0x713A, "01 0f 00 00 00 02 48", {2, 0x48}},
        {0x7B3A, "00 00 00 00 00 00 19 c1", {9, 1}},
        {0x141B, zeros16 + "81 02" + zeros16 + "33", {0x0281, 0x33}},
        {0x141C, zeros16 + "05 06", {5, 6}},
        {0x149F, "00 07", {7}},
        {0x1048, "01 02 03", {}},
        {0x412F, "00 00 01 00 40", {0, 2}},                  // 0 | 10: no integrity info, choice 2 of 2 bits
        {0x412F, "00 00 00 00", {0}},                        // the flag cannot be read
        {0x412F, "09 00 00 00", {9}},                        // no byte to read
        {0x412F, "01 00 01 00 2c", {1, 11}},                 // 0 | 01011
        {0x412F, "02 00 01 00 60", {2, 6}},                  // 0 | 110
        {0x412F, "03 00 06 00 80 00 00 00 05 40", {3, 21}},  // 1: bits 37 to 41 are 10101
        {0x412F, "03 00 01 00 80", {3}},                     // position clamped to the end
        {0x412F, "05 00 01 00 80", {5, 2}},                  // 10
        {0x412F, "05 00 01 00 14", {5, 0, 5}},               // 00 | 0101
        {0x412F, "06 00 01 00 80", {6, 1}},
        {0x412F, "07 00 01 00 a0", {7, 10}},
        {0x412F, "08 00 01 00 c0", {8, 3}},
        {0x412F, "09 00 01 00 ab", {9, 0xAB}},  // the whole first byte
        {0x412F, "ff 00 01 00 ff", {255, 255}},
        {0x412F, "0a 00 01 00 ff", {10}},  // no choice for other channel types
    };
    for (const auto& c : cases) {
        // In the library's own buffer, and in an array of exactly the packet's size, as a native caller
        // may hand over (no zeroed tail: under ASan a read past the packet fails).
        const Bytes packet = LogPacket(c.mCode, Hex(c.mPayload));
        const auto size = static_cast<unsigned int>(packet.size());
        unsigned char* exact = new unsigned char[size];
        std::copy(packet.begin(), packet.end(), exact);
        for (sSharedBuffer* held :
             {new sSharedBuffer(packet.data(), size, 3), new sSharedBuffer(size, exact, 3)}) {
            cHeldBuffer buffer(held);
            sDiagOTALog view(buffer.get());
            ASSERT_TRUE(view.IsValid()) << std::hex << c.mCode << " " << c.mPayload;
            EXPECT_EQ(view.GetOTAType(), c.mType) << std::hex << c.mCode << " " << c.mPayload;
        }
    }
}

TEST(DiagOTALog, ExtractionsAnswerOnlyForTheirOwnTechnologyAndValidViews) {
    cHeldBuffer buffer(LogPacket(0x512F, Hex("81 1c")), 3);
    cHeldBuffer request(LogPacket(0x512F, Hex("81 1c")), 4);
    sDiagOTALog view(buffer.get()), invalid(request.get());
    const unsigned char payload[40] = {0x81, 0x1C};
    EXPECT_EQ(view.GetOTATypeGSM(0x512F, payload, 2), (Type{0x81, 0x1C}));
    EXPECT_TRUE(view.GetOTATypeCDMA(0x512F, payload, 2).empty());
    EXPECT_TRUE(invalid.GetOTATypeGSM(0x512F, payload, 2).empty());
}

TEST(SubsystemCmd, DispatchFields) {
    cHeldBuffer buffer(Hex("4b 25 34 12 aa bb"), 4);
    eDiagSubsysID id = DIAG_SUBSYS_NONE;
    unsigned int cmd = 0;
    ASSERT_TRUE(sDiagSubsystemCmd(buffer.get()).GetSubsystemDispatch(id, cmd));
    EXPECT_EQ(id, DIAG_SUBSYS_DEBUG_TRACE);
    EXPECT_EQ(cmd, 0x1234u);
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
    ASSERT_TRUE(sDiagDbgSSGetInfoRsp(info.get()).GetTimestamps(out));
    EXPECT_EQ(out, (std::vector<unsigned long long>{7, 0x8000000000000001ull, 0x8899AABBCCDDEEFFull}));
    cHeldBuffer infoFailed(Hex("4b 25 06 00 05 00 00 00 00"), 3);
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
        const char* mKind;  // which of IsMessage, IsLog, IsEvent answer true
        const char* mItem;  // null: no item
    } cases[] = {
        {"4b 25 08 00 ff ff ff ff 02 00 00 00 00 10 00 0c 00", "log", "10 00 0c 00"},
        {"4b 25 08 00 00 00 00 00 01 00 00 00 00 79", "message", "79"},
        {"4b 25 08 00 00 00 00 00 04 00 00 00 00 60 01", "event", "60 01"},
        {"4b 25 08 00 00 00 00 00 02 00 00 00 00", "log", nullptr},     // nothing follows
        {"4b 25 08 00 00 00 00 00 02 00 01 00 00 10 00", "", nullptr},  // status not 0
    };
    for (const auto& c : cases) {
        cHeldBuffer buffer(Hex(c.mPacket), 3);
        sDiagDbgSSGetItemRsp view(buffer.get());
        const std::string kind = std::string(view.IsMessage() ? "message" : "") +
                                 (view.IsLog() ? "log" : "") + (view.IsEvent() ? "event" : "");
        EXPECT_EQ(kind, c.mKind) << c.mPacket;
        sSharedBuffer* item = view.GetItem();
        ASSERT_EQ(item != nullptr, c.mItem != nullptr) << c.mPacket;
        if (item != nullptr) {
            cHeldBuffer held(item);
            EXPECT_EQ(Contents(item), Hex(c.mItem));
            EXPECT_NE(item->mData, buffer->mData + 13) << "a copy";
        }
    }
}

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
    eLogEquipID equipment = LOG_EQUIP_FIRST;
    unsigned int bits = 0;
    Codes codes;
    EXPECT_TRUE(view.GetRequestedLogCodes(bits, equipment, codes));
    EXPECT_TRUE(bits == 10 && equipment == 2);
    EXPECT_EQ(codes, (Codes{0x2000, 0x2007, 0x2009}));

    cHeldBuffer ranges(Hex("73 00 00 00 01 00 00 00"), 4);
    sDiagLogConfigReq rangesView(ranges.get());
    EXPECT_FALSE(rangesView.GetRequestedLogCodes(bits, equipment, codes));
}

TEST(LogConfigRsp, SupportedBitsOfEveryEquipment) {
    Bytes packet = Hex("73 00 00 00 01 00 00 00 00 00 00 00");
    for (unsigned int id = 0; id < 16; ++id) {
        const Bytes value = {static_cast<unsigned char>(id), 0, 0x01, 0};  // 0x10000 + id
        packet.insert(packet.end(), value.begin(), value.end());
    }
    cHeldBuffer full(packet, 3);
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
    EXPECT_TRUE(failedView.IsValid() && failedView.GetSupportedBits().empty());
}

TEST(LogConfig, CodesOfTheMaskInAResponseAreAdded) {
    // Least significant bit first; bits 12 to 15 are beyond the count.
    cHeldBuffer config(Hex("73 00 00 00 04 00 00 00 00 00 00 00 05 00 00 00 0c 00 00 00 11 f8"), 3);
    unsigned int bits = 0;
    eLogEquipID equipment = LOG_EQUIP_FIRST;
    Codes codes = {0x1234};
    EXPECT_TRUE(sDiagLogConfigRsp(config.get()).GetValidLogCodes(bits, equipment, codes));
    EXPECT_TRUE(bits == 12 && equipment == 5);
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
    } cases[] = {{"5d", 0}, {"5d 09 00 ff 80", 9}};
    for (const auto& c : cases) {
        cHeldBuffer buffer(Hex(c.mPacket), 3);
        EXPECT_EQ(sDiagLogMaskExRsp(buffer.get()).GetSupportedBits(), c.mBits) << c.mPacket;
        EXPECT_EQ(sDiagLogMaskExRsp(buffer.get()).DoesContainLogMask(), c.mBits != 0) << c.mPacket;
    }
    cHeldBuffer request(Hex("5d 0c 00 80 10"), 4);
    unsigned int bits = 0;
    Codes codes;
    EXPECT_TRUE(sDiagLogMaskExReq(request.get()).GetRequestedLogCodes(bits, codes));
    EXPECT_TRUE(bits == 12 && sDiagLogMaskExReq(request.get()).GetRequestedBits() == 12);
    EXPECT_EQ(codes, (Codes{0x1000, 0x100B})) << "most significant bit first";
}

// The most significant bit first, a partial last byte, lower equipment skipped and codes beyond the bit
// count: the builder rows of LogConfig above.
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
        {"stops at a higher equipment", 16, 0, {0x0005, 0x1002}, false, "20 00"},
        {"equipment 15; codes above 0xFFFF are no log codes", 8, 15, {0xF000, 0xF007, 0x10000}, false, "81"},
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
