#include "Shared/HDLC.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "tests/LogCapture.h"

namespace {

using Bytes = std::vector<unsigned char>;

struct sBufferDeleter {
    void operator()(sSharedBuffer* buffer) const { delete buffer; }
};
using BufferPtr = std::unique_ptr<sSharedBuffer, sBufferDeleter>;

BufferPtr Make(const Bytes& bytes, unsigned int protocol = 3) {
    return BufferPtr(new sSharedBuffer(bytes.data(), static_cast<unsigned int>(bytes.size()), protocol));
}

Bytes Contents(const sSharedBuffer& buffer) {
    return Bytes(buffer.mData, buffer.mData + buffer.mSize);
}

Bytes ReadTestData(const std::string& name) {
    std::ifstream in(std::string(PALVORIN_TEST_DATA) + "/" + name, std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// Frames stuffed by hand; the check sequences were worked out bit by bit from the polynomial.
struct sFrameCase {
    const char* mName;
    Bytes mPayload;
    Bytes mFrame;  // without a leading flag
};

const sFrameCase kFrames[] = {
    {"flag byte", {0x7E}, {0x7D, 0x5E, 0x81, 0x6A, 0x7E}},
    {"escape byte", {0x7D}, {0x7D, 0x5D, 0x1A, 0x58, 0x7E}},
    {"nothing to stuff", {0x01, 0x02, 0x03}, {0x01, 0x02, 0x03, 0x3B, 0x9D, 0x7E}},
    {"low check byte stuffed", {0x10, 0x65}, {0x10, 0x65, 0x7D, 0x5D, 0xAE, 0x7E}},
    {"high check byte stuffed", {0x10, 0xD3}, {0x10, 0xD3, 0xC0, 0x7D, 0x5E, 0x7E}},
    {"control bytes and stuffed results pass as they are",
     {0x7E, 0x7D, 0x20, 0x5E, 0x00, 0x11, 0x13},
     {0x7D, 0x5E, 0x7D, 0x5D, 0x20, 0x5E, 0x00, 0x11, 0x13, 0x55, 0x5E, 0x7E}},
};

TEST(HDLCEncode, StuffsPayloadAndCheckBytes) {
    for (const sFrameCase& c : kFrames) {
        BufferPtr packet = Make(c.mPayload, 7);
        BufferPtr frame(HDLCEncode(packet.get(), false));
        ASSERT_NE(frame, nullptr) << c.mName;
        EXPECT_EQ(Contents(*frame), c.mFrame) << c.mName;
        EXPECT_EQ(frame->mProtocol, 7u);
        EXPECT_EQ(frame->mRefCount, 0u);

        BufferPtr flagged(HDLCEncode(packet.get(), true));
        Bytes expected = c.mFrame;
        expected.insert(expected.begin(), 0x7E);
        EXPECT_EQ(Contents(*flagged), expected) << c.mName;
        EXPECT_EQ(Contents(*packet), c.mPayload) << "the input is left alone";
    }
}

TEST(HDLCDecode, UnstuffsHandMadeFrames) {
    for (const sFrameCase& c : kFrames) {
        for (bool leadingFlag : {false, true}) {
            Bytes input = c.mFrame;
            if (leadingFlag) {
                input.insert(input.begin(), 0x7E);
            }
            BufferPtr frame = Make(input, 9);
            unsigned int consumed = 12345;
            BufferPtr packet(HDLCDecode(frame.get(), &consumed));
            ASSERT_NE(packet, nullptr) << c.mName;
            EXPECT_EQ(Contents(*packet), c.mPayload) << c.mName;
            EXPECT_EQ(packet->mProtocol, 9u);
            EXPECT_EQ(consumed, c.mFrame.size()) << "an opening flag is not counted";
        }
    }
}

TEST(HDLC, RoundTripsEveryByteValueAndEveryLengthUpTo300) {
    for (unsigned int length = 1; length <= 300; ++length) {
        Bytes payload(length);
        for (unsigned int i = 0; i < length; ++i) {
            payload[i] = static_cast<unsigned char>(i * 37 + length);  // every value, reserved ones included
        }
        BufferPtr packet = Make(payload);
        for (bool leadingFlag : {false, true}) {
            BufferPtr frame(HDLCEncode(packet.get(), leadingFlag));
            ASSERT_NE(frame, nullptr);
            unsigned int consumed = 0;
            BufferPtr decoded(HDLCDecode(frame.get(), &consumed));
            ASSERT_NE(decoded, nullptr) << "length " << length;
            EXPECT_EQ(Contents(*decoded), payload);
            EXPECT_EQ(consumed, frame->mSize - (leadingFlag ? 1u : 0u));
        }
    }
}

TEST(HDLCEncode, FrameLargerThanABufferComesBackEmpty) {
    struct {
        unsigned int mPayloadSize;
        bool mLeadingFlag;
        unsigned int mFrameSize;  // 0: empty, non-null buffer
    } const cases[] = {
        {16637, false, 16640},
        {16638, false, 0},
        {16636, true, 16640},
        {16637, true, 0},
    };
    for (const auto& c : cases) {
        // Runs of 0x11 whose check sequences (0x8E12, 0x85BC) need no stuffing.
        BufferPtr packet = Make(Bytes(c.mPayloadSize, 0x11));
        BufferPtr frame(HDLCEncode(packet.get(), c.mLeadingFlag));
        ASSERT_NE(frame, nullptr);
        EXPECT_EQ(frame->mSize, c.mFrameSize) << c.mPayloadSize;
        EXPECT_EQ(frame->mData == nullptr, c.mFrameSize == 0);
    }
    // Stuffing alone can push a frame over the limit.
    BufferPtr stuffed = Make(Bytes(8400, 0x7E));
    BufferPtr frame(HDLCEncode(stuffed.get(), false));
    ASSERT_NE(frame, nullptr);
    EXPECT_EQ(frame->mData, nullptr);
}

TEST(HDLC, UnusableInputGivesNullAndLeavesConsumedAlone) {
    sSharedBuffer empty(nullptr, 0, 3);
    const unsigned char frameBytes[] = {0x01, 0x02, 0x03, 0x3B, 0x9D, 0x7E};
    sSharedBuffer good(frameBytes, sizeof frameBytes, 3);
    sSharedBuffer oversized(16641, new unsigned char[16641], 3);  // freed by the constructor: empty

    unsigned int consumed = 77;
    EXPECT_EQ(HDLCDecode(nullptr, &consumed), nullptr);
    EXPECT_EQ(HDLCDecode(&empty, &consumed), nullptr);
    EXPECT_EQ(HDLCDecode(&oversized, &consumed), nullptr);
    EXPECT_EQ(consumed, 77u);
    EXPECT_EQ(HDLCDecode(&good, nullptr), nullptr);
    EXPECT_EQ(HDLCEncode(nullptr, true), nullptr);
    EXPECT_EQ(HDLCEncode(&empty, false), nullptr);
}

struct sDecodeFailure {
    const char* mName;
    Bytes mInput;
    unsigned int mConsumed;
    std::vector<std::string> mMessages;
};

TEST(HDLCDecode, FailuresSetConsumedAndLogAsDocumented) {
    const sDecodeFailure cases[] = {
        {"no closing flag", {0x01, 0x02, 0x03, 0x3B, 0x9D}, 0, {}},
        {"no closing flag after an opening one", {0x7E, 0x01, 0x02, 0x03, 0x3B, 0x9D}, 0, {}},
        {"corrupted byte", {0x01, 0x02, 0x04, 0x3B, 0x9D, 0x7E}, 6, {"CheckCRC failure"}},
        {"corrupted byte after an opening flag",
         {0x7E, 0x01, 0x02, 0x04, 0x3B, 0x9D, 0x7E},
         6,
         {"CheckCRC failure"}},
        {"two flags", {0x7E, 0x7E}, 1, {"Check CRC no data", "CheckCRC failure"}},
        {"a lone flag", {0x7E}, 0, {"bad sz"}},
        // A flag among the first three bytes is not a closing flag: the frame runs on to the next one.
        {"flag too early", {0x01, 0x7E, 0x03, 0x3B, 0x9D, 0x7E}, 6, {"CheckCRC failure"}},
        // A flag right after an escape is not a closing flag either.
        {"escaped flag", {0x01, 0x02, 0x03, 0x7D, 0x7E, 0x02, 0x7E}, 7, {"CheckCRC failure"}},
    };
    for (const sDecodeFailure& c : cases) {
        BufferPtr frame = Make(c.mInput);
        unsigned int consumed = 99;
        cLogCapture log;
        EXPECT_EQ(HDLCDecode(frame.get(), &consumed), nullptr) << c.mName;
        EXPECT_EQ(consumed, c.mConsumed) << c.mName;
        const std::vector<sLogLine> lines = log.Lines();
        std::vector<std::string> texts;
        for (const sLogLine& line : lines) {
            texts.push_back(line.mText);
            EXPECT_EQ(line.mTag, "tarnik-utils");
            EXPECT_EQ(line.mPriority, 'I');
            EXPECT_EQ(line.mPath, line.mText == "Check CRC no data" ? "Shared/CRC.cpp" : "Shared/HDLC.cpp");
        }
        EXPECT_EQ(texts, c.mMessages) << c.mName;
    }
}

TEST(HDLCDecode, FrameOfOnlyCheckBytesIsEmptyNotNull) {
    // The check bytes of an empty payload are 0x00 0x00 (CRC of nothing: 0xFFFF ^ 0xFFFF).
    BufferPtr frame = Make({0x00, 0x00, 0x7E});
    unsigned int consumed = 0;
    BufferPtr packet(HDLCDecode(frame.get(), &consumed));
    ASSERT_NE(packet, nullptr);
    EXPECT_EQ(packet->mData, nullptr);
    EXPECT_EQ(packet->mSize, 0u);
    EXPECT_EQ(consumed, 3u);
}

TEST(HDLCDecode, WalksAStreamOfFramesByConsumed) {
    // Flag, frame, shared flag, frame, closing flag; frames stuffed by hand.
    const Bytes stream = {0x7E, 0x4B, 0x12, 0x00, 0x00, 0x51, 0x1A, 0x7E, 0x7D,
                          0x5D, 0x01, 0x7D, 0x5E, 0x02, 0x03, 0xA3, 0x2B, 0x7E};
    const std::vector<Bytes> expected = {{0x4B, 0x12, 0x00, 0x00}, {0x7D, 0x01, 0x7E, 0x02, 0x03}};
    std::vector<Bytes> packets;
    size_t offset = 0;
    while (offset < stream.size()) {
        BufferPtr rest = Make(Bytes(stream.begin() + static_cast<long>(offset), stream.end()));
        unsigned int consumed = 0;
        BufferPtr packet(HDLCDecode(rest.get(), &consumed));
        if (packet) {
            packets.push_back(Contents(*packet));
        }
        if (consumed == 0) {
            break;
        }
        offset += consumed;
    }
    EXPECT_EQ(packets, expected);
    EXPECT_EQ(offset, stream.size() - 1) << "stops on the last closing flag";
}

TEST(HDLCDecode, RealFrameWithBothEscapesDecodesAndReencodes) {
    const Bytes frameBytes = ReadTestData("raw_diag_frame_c.bin");
    ASSERT_EQ(frameBytes.size(), 221u);
    BufferPtr frame = Make(frameBytes);
    unsigned int consumed = 0;
    BufferPtr packet(HDLCDecode(frame.get(), &consumed));
    ASSERT_NE(packet, nullptr);
    EXPECT_EQ(packet->mSize, 214u);
    EXPECT_EQ(consumed, 221u);
    BufferPtr again(HDLCEncode(packet.get(), false));
    EXPECT_EQ(Contents(*again), frameBytes);
}

TEST(HDLCDecode, RealStreamYieldsEveryFrame) {
    const Bytes stream = ReadTestData("raw_diag_stream_b.bin");
    ASSERT_EQ(stream.size(), 2994u);
    const Bytes wrapper = {0x98, 0x01, 0x00, 0x00, 0x01, 0x00, 0x00, 0x00};
    int frames = 0;
    int wrappedLogs = 0;
    size_t offset = 0;
    cLogCapture log;
    while (offset < stream.size()) {
        BufferPtr rest = Make(Bytes(stream.begin() + static_cast<long>(offset), stream.end()));
        unsigned int consumed = 0;
        BufferPtr packet(HDLCDecode(rest.get(), &consumed));
        if (consumed == 0) {
            break;
        }
        ASSERT_NE(packet, nullptr) << "at offset " << offset;
        ++frames;
        const Bytes bytes = Contents(*packet);
        if (bytes.size() > 8 && Bytes(bytes.begin(), bytes.begin() + 8) == wrapper && bytes[8] == 0x10) {
            ++wrappedLogs;
        }
        offset += consumed;
    }
    EXPECT_EQ(frames, 19);
    EXPECT_EQ(wrappedLogs, 18);
    EXPECT_TRUE(log.Lines().empty());
}

}  // namespace
