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

// Decodes frame after frame, moving forward by `consumed` as a reader of the serial link does. A frame
// that fails its check is recorded as an empty packet. `offset` receives where the walk stopped.
std::vector<Bytes> Walk(const Bytes& stream, size_t& offset) {
    std::vector<Bytes> packets;
    for (offset = 0; offset < stream.size();) {
        BufferPtr rest = Make(Bytes(stream.begin() + static_cast<long>(offset), stream.end()));
        unsigned int consumed = 0;
        BufferPtr packet(HDLCDecode(rest.get(), &consumed));
        if (consumed == 0) {
            break;
        }
        packets.push_back(packet ? Contents(packet.get()) : Bytes());
        offset += consumed;
    }
    return packets;
}

// Frames stuffed by hand; the check sequences were worked out bit by bit from the polynomial.
const struct {
    const char* mName;
    Bytes mPayload;
    Bytes mFrame;  // without a leading flag
} kFrames[] = {
    {"flag byte", {0x7E}, {0x7D, 0x5E, 0x81, 0x6A, 0x7E}},
    {"escape byte", {0x7D}, {0x7D, 0x5D, 0x1A, 0x58, 0x7E}},
    {"nothing to stuff", {0x01, 0x02, 0x03}, {0x01, 0x02, 0x03, 0x3B, 0x9D, 0x7E}},
    {"low check byte stuffed", {0x10, 0x65}, {0x10, 0x65, 0x7D, 0x5D, 0xAE, 0x7E}},
    {"high check byte stuffed", {0x10, 0xD3}, {0x10, 0xD3, 0xC0, 0x7D, 0x5E, 0x7E}},
    {"control bytes and stuffed results pass as they are",
     {0x7E, 0x7D, 0x20, 0x5E, 0x00, 0x11, 0x13},
     {0x7D, 0x5E, 0x7D, 0x5D, 0x20, 0x5E, 0x00, 0x11, 0x13, 0x55, 0x5E, 0x7E}},
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
            EXPECT_EQ(encoded->mProtocol, 7u);
            EXPECT_EQ(Contents(packet.get()), c.mPayload) << "the input is left alone";

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
        bool mLeadingFlag;
        unsigned int mFrameSize;  // 0: empty, non-null buffer
    } cases[] = {{16637, false, 16640}, {16638, false, 0}, {16636, true, 16640}, {16637, true, 0}};
    for (const auto& c : cases) {
        // Runs of 0x11 whose check sequences (0x8E12, 0x85BC) need no stuffing.
        BufferPtr frame(HDLCEncode(Make(Bytes(c.mPayloadSize, 0x11)).get(), c.mLeadingFlag));
        ASSERT_NE(frame, nullptr);
        EXPECT_EQ(frame->mSize, c.mFrameSize) << c.mPayloadSize;
        EXPECT_EQ(frame->mData == nullptr, c.mFrameSize == 0);
    }
    BufferPtr stuffed(HDLCEncode(Make(Bytes(8400, 0x7E)).get(), false));
    ASSERT_NE(stuffed, nullptr);
    EXPECT_EQ(stuffed->mData, nullptr) << "stuffing alone can push a frame over the limit";
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
        {"no closing flag after an opening one", {0x7E, 0x01, 0x02, 0x03, 0x3B, 0x9D}, 0, {}},
        {"corrupted byte", {0x01, 0x02, 0x04, 0x3B, 0x9D, 0x7E}, 6, {"CheckCRC failure"}},
        {"corrupted byte after an opening flag",
         {0x7E, 0x01, 0x02, 0x04, 0x3B, 0x9D, 0x7E},
         6,
         {"CheckCRC failure"}},
        {"two flags", {0x7E, 0x7E}, 1, {"Check CRC no data", "CheckCRC failure"}},
        {"a lone flag", {0x7E}, 0, {"bad sz"}},
        // A flag among the first three bytes (here the last of them) is not a closing flag: the frame runs
        // on to the next one, and 01 02 7E does not match the check bytes of 01 02 03.
        {"flag at index 2", {0x01, 0x02, 0x7E, 0x3B, 0x9D, 0x7E}, 6, {"CheckCRC failure"}},
        // A flag right after an escape is not a closing flag either.
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

TEST(HDLCDecode, WalksAStreamOfFramesByConsumed) {
    // Flag, frame, shared flag, frame, closing flag; frames stuffed by hand.
    const Bytes stream = {0x7E, 0x4B, 0x12, 0x00, 0x00, 0x51, 0x1A, 0x7E, 0x7D,
                          0x5D, 0x01, 0x7D, 0x5E, 0x02, 0x03, 0xA3, 0x2B, 0x7E};
    size_t offset = 0;
    EXPECT_EQ(Walk(stream, offset),
              (std::vector<Bytes>{{0x4B, 0x12, 0x00, 0x00}, {0x7D, 0x01, 0x7E, 0x02, 0x03}}));
    EXPECT_EQ(offset, stream.size() - 1) << "stops on the last closing flag";
}

// A real stream of 19 frames without opening flags, both escapes among them: every frame decodes, and
// framing the packets again gives back the stream byte for byte.
TEST(HDLCDecode, RealStreamYieldsEveryFrameAndReencodesToItself) {
    const Bytes stream = ReadTestData("raw_diag_stream_b.bin");
    ASSERT_EQ(stream.size(), 2994u);
    const Bytes wrapper = {0x98, 0x01, 0x00, 0x00, 0x01, 0x00, 0x00, 0x00, 0x10};
    size_t offset = 0;
    const std::vector<Bytes> packets = Walk(stream, offset);
    ASSERT_EQ(packets.size(), 19u);
    EXPECT_EQ(offset, stream.size());
    int wrappedLogs = 0;
    Bytes reencoded;
    for (const Bytes& packet : packets) {
        ASSERT_FALSE(packet.empty()) << "every check sequence is good";
        wrappedLogs += packet.size() > 9 && std::equal(wrapper.begin(), wrapper.end(), packet.begin());
        const Bytes frame = Contents(BufferPtr(HDLCEncode(Make(packet).get(), false)).get());
        reencoded.insert(reencoded.end(), frame.begin(), frame.end());
    }
    EXPECT_EQ(wrappedLogs, 18);
    EXPECT_EQ(reencoded, stream);
}

}  // namespace
