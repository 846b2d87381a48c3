#include "diag/ProtocolBuffer.h"

#include <gtest/gtest.h>

#include "diag/SubsystemCmd.h"
#include "tests/DiagPackets.h"

namespace {

TEST(ProtocolBuffer, UsableBufferIsReferencedAndReleased) {
    cHeldBuffer buffer(Hex("4b 25 07 00"), 3);
    {
        sProtocolBuffer view(buffer.get());
        EXPECT_TRUE(view.IsValid());
        EXPECT_EQ(view.mBuffer, buffer.get());
        EXPECT_EQ(buffer.Others(), 1u);
        EXPECT_GE(view.mCreated.tm_year, 126) << "constructed in 2026 or later";
    }
    EXPECT_EQ(buffer.Others(), 0u);
    {
        sProtocolBuffer view(buffer.get());
        buffer->mSize = 0;
    }
    buffer->mSize = 4;
    EXPECT_EQ(buffer.Others(), 1u) << "a held buffer that became unusable is deliberately not released";
    buffer->Release();

    sProtocolBuffer empty;
    EXPECT_FALSE(empty.IsValid());
    EXPECT_EQ(empty.mBuffer, nullptr);
    EXPECT_EQ(empty.mCreated.tm_year, 0);
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
        EXPECT_EQ(copy.mBuffer, first.get());
        EXPECT_EQ(first.Others(), 2u);
    }
    EXPECT_EQ(first.Others(), 1u);

    a = b;
    EXPECT_EQ(first.Others(), 0u);
    EXPECT_EQ(second.Others(), 2u);
    EXPECT_EQ(a.mBuffer, second.get());
    a = b;  // both views already hold the buffer: deliberately one reference more
    EXPECT_EQ(second.Others(), 3u);

    sDiagBuffer invalid(nullptr);
    sDiagBuffer copyOfInvalid(invalid);
    EXPECT_EQ(copyOfInvalid.mBuffer, nullptr);
    b = invalid;  // gives back b's reference, takes none
    EXPECT_EQ(second.Others(), 2u);
    EXPECT_FALSE(b.IsValid());
    EXPECT_EQ(b.mBuffer, nullptr);
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
    } cases[] = {{0x13, true},  {0x14, true},  {0x15, true},  {0x16, true},  {0x17, true},
                 {0x18, true},  {0x42, true},  {0x47, true},  {0x12, false}, {0x19, false},
                 {0x41, false}, {0x43, false}, {0x46, false}, {0x48, false}, {0x4B, false}};
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
    EXPECT_EQ(Bytes(request->mData + 8208, request->mData + 8208 + SHARED_BUFFER_GUARD_SIZE),
              Bytes(SHARED_BUFFER_GUARD_SIZE, 0))
        << "zeroed guard tail";

    sSharedBuffer* single = sDiagBuffer::BuildBuffer(DIAG_CMD_LOG, false, nullptr, 50);
    EXPECT_EQ(single->mRefCount, 0u);
    EXPECT_EQ(Contents(single), Hex("10"));
    EXPECT_EQ(single->mProtocol, 3u);
    delete single;
}

}  // namespace
