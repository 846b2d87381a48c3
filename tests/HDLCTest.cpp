// Asynchronous HDLC framing and its check sequence (CRC-16/X-25).
#include "Shared/CRC.h"
#include "Shared/HDLC.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "tests/DiagPackets.h"
#include "tests/LogCapture.h"

namespace {

using BufferPtr = std::unique_ptr<sSharedBuffer>;

BufferPtr Make(const Bytes& bytes, unsigned int protocol = 3) {
    return BufferPtr(new sSharedBuffer(bytes.data(), static_cast<unsigned int>(bytes.size()), protocol));
}

// Stuffed check bytes, worked out bit by bit from the polynomial (payload stuffing: the real stream below).
const struct {
    const char* mName;
    Bytes mPayload;
    Bytes mFrame;  // without a leading flag
} kFrames[] = {
    {"low check byte stuffed", {0x10, 0x65}, {0x10, 0x65, 0x7D, 0x5D, 0xAE, 0x7E}},
    {"high check byte stuffed", {0x10, 0xD3}, {0x10, 0xD3, 0xC0, 0x7D, 0x5E, 0x7E}},
};

TEST(HDLC, EncodesAndDecodesHandStuffedFramesWithAndWithoutTheLeadingFlag) {
    for (const auto& c : kFrames) {
        for (bool leadingFlag : {false, true}) {
            Bytes frame = c.mFrame;
            if (leadingFlag) {
                frame.insert(frame.begin(), 0x7E);
            }
            BufferPtr packet = Make(c.mPayload, 7);
            BufferPtr encoded(HDLCEncode(packet.get(), leadingFlag));
            ASSERT_NE(encoded, nullptr) << c.mName;
            EXPECT_EQ(Contents(encoded.get()), frame) << c.mName;

            unsigned int consumed = 12345;
            BufferPtr decoded(HDLCDecode(encoded.get(), &consumed));
            ASSERT_NE(decoded, nullptr) << c.mName;
            EXPECT_EQ(Contents(decoded.get()), c.mPayload) << c.mName;
            EXPECT_EQ(decoded->mProtocol, 7u);
            EXPECT_EQ(consumed, c.mFrame.size()) << "an opening flag is not counted";
        }
    }
}

TEST(HDLCEncode, FrameLargerThanABufferComesBackEmpty) {
    const struct {
        unsigned int mPayloadSize;
        unsigned int mFrameSize;  // 0: empty, non-null buffer
    } cases[] = {{16637, 16640}, {16638, 0}};
    for (const auto& c : cases) {
        // Runs of 0x11 whose check sequences (0x8E12, 0x85BC) need no stuffing.
        BufferPtr frame(HDLCEncode(Make(Bytes(c.mPayloadSize, 0x11)).get(), false));
        ASSERT_NE(frame, nullptr);
        EXPECT_EQ(frame->mSize, c.mFrameSize) << c.mPayloadSize;
        EXPECT_EQ(frame->mData == nullptr, c.mFrameSize == 0);
    }
}

TEST(HDLC, UnusableInputGivesNullAndLeavesConsumedAlone) {
    sSharedBuffer empty(nullptr, 0, 3);
    unsigned int consumed = 77;
    EXPECT_TRUE(HDLCDecode(nullptr, &consumed) == nullptr && HDLCDecode(&empty, &consumed) == nullptr);
    EXPECT_EQ(consumed, 77u);
    EXPECT_EQ(HDLCDecode(Make(kFrames[0].mFrame).get(), nullptr), nullptr);
    EXPECT_TRUE(HDLCEncode(nullptr, true) == nullptr && HDLCEncode(&empty, false) == nullptr);
}

TEST(HDLCDecode, FailuresSetConsumedAndLogTheirMessages) {
    const struct {
        const char* mName;
        Bytes mInput;
        unsigned int mConsumed;
        std::vector<std::string> mMessages;
    } cases[] = {
        {"no closing flag", {0x01, 0x02, 0x03, 0x3B, 0x9D}, 0, {}},
        {"corrupted byte", {0x01, 0x02, 0x04, 0x3B, 0x9D, 0x7E}, 6, {"CheckCRC failure"}},
        {"two flags", {0x7E, 0x7E}, 1, {"Check CRC no data", "CheckCRC failure"}},
        {"a lone flag", {0x7E}, 0, {"bad sz"}},
        // Neither a flag among the first three bytes nor one right after an escape closes the frame.
        {"flag at index 2", {0x01, 0x02, 0x7E, 0x3B, 0x9D, 0x7E}, 6, {"CheckCRC failure"}},
        {"escaped flag", {0x01, 0x02, 0x03, 0x7D, 0x7E, 0x02, 0x7E}, 7, {"CheckCRC failure"}},
    };
    for (const auto& c : cases) {
        unsigned int consumed = 99;
        cLogCapture log;
        EXPECT_EQ(HDLCDecode(Make(c.mInput).get(), &consumed), nullptr) << c.mName;
        EXPECT_EQ(consumed, c.mConsumed) << c.mName;
        EXPECT_EQ(log.Texts(), c.mMessages) << c.mName;
    }
}

TEST(HDLCDecode, FrameOfOnlyCheckBytesIsEmptyNotNull) {
    // The check bytes of an empty payload are 0x00 0x00 (CRC of nothing: 0xFFFF ^ 0xFFFF).
    unsigned int consumed = 0;
    BufferPtr packet(HDLCDecode(Make({0x00, 0x00, 0x7E}).get(), &consumed));
    ASSERT_NE(packet, nullptr);
    EXPECT_TRUE(packet->mData == nullptr && packet->mSize == 0);
    EXPECT_EQ(consumed, 3u);
}

// A real stream of 19 frames without opening flags, both escapes among them: every frame decodes, and
// framing the packets again gives back the stream byte for byte.
TEST(HDLCDecode, RealStreamYieldsEveryFrameAndReencodesToItself) {
    const Bytes stream = ReadTestData("raw_diag_stream_b.bin");
    ASSERT_EQ(stream.size(), 2994u);
    const Bytes wrapper = {0x98, 0x01, 0x00, 0x00, 0x01, 0x00, 0x00, 0x00, 0x10};
    int frames = 0, wrappedLogs = 0;
    Bytes reencoded;
    for (size_t offset = 0; offset < stream.size(); ++frames) {
        // Frame after frame, moving forward by `consumed` as a reader of the serial link does.
        unsigned int consumed = 0;
        BufferPtr decoded(HDLCDecode(
            Make(Bytes(stream.begin() + static_cast<long>(offset), stream.end())).get(), &consumed));
        ASSERT_TRUE(decoded != nullptr && consumed > 0) << "every check sequence is good";
        offset += consumed;
        const Bytes packet = Contents(decoded.get());
        wrappedLogs += packet.size() > 9 && std::equal(wrapper.begin(), wrapper.end(), packet.begin());
        const Bytes frame = Contents(BufferPtr(HDLCEncode(Make(packet).get(), false)).get());
        reencoded.insert(reencoded.end(), frame.begin(), frame.end());
    }
    EXPECT_EQ(frames, 19);
    EXPECT_EQ(wrappedLogs, 18);
    EXPECT_EQ(reencoded, stream);
}

const unsigned char kCheckString[] = {'1', '2', '3', '4', '5', '6', '7', '8', '9'};

TEST(CalculateCRC, ChecksOnlyWholeBytesOfTheCheckString) {
    EXPECT_EQ(CalculateCRC(kCheckString, 72), 0x906E);  // the published check value of CRC-16/X-25
    EXPECT_EQ(CalculateCRC(kCheckString, 75), 0x906E);  // leftover bits are ignored
    EXPECT_EQ(CalculateCRC(kCheckString, 7), 0x0000);   // below one byte
}

// The table and the several-bytes-a-step folding are pinned by the real stream above.
TEST(CheckCRC, PassesTheCheckStringWithItsValueLowByteFirstAndFailsAFlippedBit) {
    unsigned char frame[11] = {};
    std::copy(kCheckString, kCheckString + 9, frame);
    SetCRC(frame, 9);
    EXPECT_EQ(frame[9], 0x6E);
    EXPECT_EQ(frame[10], 0x90);
    EXPECT_TRUE(CheckCRC(frame, 11));
    frame[10] ^= 0x80;
    EXPECT_FALSE(CheckCRC(frame, 11));
}

TEST(CheckCRC, NoDataIsLoggedAndFails) {
    // A length of 0 is a row of the HDLC decoding failures.
    cLogCapture log;
    EXPECT_FALSE(CheckCRC(nullptr, 5));
    EXPECT_EQ(log.Texts(), std::vector<std::string>{"Check CRC no data"});
}

}  // namespace
