#include "Shared/SharedBuffer.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

namespace {

struct sConstructionCase {
    const char* mName;
    bool mWithData;
    unsigned int mSize;
    bool mUsable;
};

const sConstructionCase kConstruction[] = {
    {"null data", false, 10, false},
    {"size 0", true, 0, false},
    {"size 1", true, 1, true},
    {"largest size", true, 16640, true},
    {"one past the largest", true, 16641, false},
    {"huge size", true, 0xFFFFFFFFu, false},
};

TEST(SharedBuffer, CopyingConstructorKeepsOnlyUsableSizes) {
    std::vector<unsigned char> source(16641);
    for (size_t i = 0; i < source.size(); ++i) {
        source[i] = static_cast<unsigned char>(i * 7 + 1);
    }
    for (const sConstructionCase& c : kConstruction) {
        // Sizes above the limit are refused before a byte is read.
        sSharedBuffer buffer(c.mWithData ? source.data() : nullptr, c.mSize, 42);
        EXPECT_EQ(IsUsableBuffer(&buffer), c.mUsable) << c.mName;
        EXPECT_EQ(buffer.mProtocol, 42u);
        EXPECT_EQ(buffer.mRefCount, 0u);
        if (c.mUsable) {
            EXPECT_NE(buffer.mData, source.data()) << "a copy, not the caller's array";
            EXPECT_EQ(buffer.mSize, c.mSize);
            EXPECT_EQ(memcmp(buffer.mData, source.data(), c.mSize), 0);
            // The guard tail: owned zeros past the bytes.
            for (unsigned int i = 0; i < SHARED_BUFFER_GUARD_SIZE; ++i) {
                ASSERT_EQ(buffer.mData[c.mSize + i], 0) << c.mName << " guard byte " << i;
            }
        } else {
            EXPECT_EQ(buffer.mData, nullptr) << c.mName;
            EXPECT_EQ(buffer.mSize, 0u) << c.mName;
        }
    }
}

TEST(SharedBuffer, AdoptingConstructorOwnsTheArrayInSuccessAndFailure) {
    // Leak and double-free checks come from the sanitizer builds: every array handed over here must be
    // freed exactly once by the buffer.
    for (const sConstructionCase& c : kConstruction) {
        unsigned char* array = c.mWithData ? new unsigned char[8]{1, 2, 3, 4, 5, 6, 7, 8} : nullptr;
        sSharedBuffer buffer(c.mSize, array, 5);
        EXPECT_EQ(IsUsableBuffer(&buffer), c.mUsable) << c.mName;
        EXPECT_EQ(buffer.mProtocol, 5u);
        if (c.mUsable) {
            EXPECT_EQ(buffer.mData, array) << "adopted, not copied";
            EXPECT_EQ(buffer.mSize, c.mSize);
            buffer.mSize = 1;  // the test's array holds 8 bytes whatever size it claimed
        } else {
            EXPECT_EQ(buffer.mData, nullptr);
            EXPECT_EQ(buffer.mSize, 0u);
        }
    }
}

TEST(SharedBuffer, ReleaseDestroysAtCountZeroOrOne) {
    // Observed through a derived buffer whose destructor reports.
    struct sWatched : sSharedBuffer {
        sWatched(int* destroyed)
            : sSharedBuffer(reinterpret_cast<const unsigned char*>("abc"), 3, 3), mDestroyed(destroyed) {}
        ~sWatched() override { ++*mDestroyed; }
        int* mDestroyed;
    };
    int destroyed = 0;
    (new sWatched(&destroyed))->Release();
    EXPECT_EQ(destroyed, 1) << "a fresh buffer dies on its first release";

    destroyed = 0;
    sWatched* twice = new sWatched(&destroyed);
    twice->AddRef();
    twice->AddRef();
    EXPECT_EQ(twice->mRefCount, 2u);
    twice->Release();
    EXPECT_EQ(destroyed, 0);
    EXPECT_EQ(twice->mRefCount, 1u);
    twice->Release();
    EXPECT_EQ(destroyed, 1);
}

TEST(SharedBuffer, EqualityIsIdentityOfArraySizeCountAndProtocol) {
    const unsigned char bytes[] = {9, 8, 7};
    sSharedBuffer a(bytes, 3, 3);
    sSharedBuffer b(bytes, 3, 3);
    EXPECT_FALSE(a == b) << "same bytes, different arrays";
    EXPECT_TRUE(a != b);

    // A second object over the same array (taken back before either is destroyed).
    sSharedBuffer alias(3, a.mData, 3);
    EXPECT_TRUE(alias == a);
    EXPECT_FALSE(alias != a);
    alias.AddRef();
    EXPECT_FALSE(alias == a) << "the reference count takes part";
    EXPECT_TRUE(alias != a);
    a.AddRef();
    EXPECT_TRUE(alias == a);
    alias.mProtocol = 4;
    EXPECT_FALSE(alias == a);
    alias.mProtocol = 3;
    alias.mSize = 2;
    EXPECT_FALSE(alias == a);
    alias.mData = nullptr;  // the array belongs to `a`
}

TEST(SharedBuffer, GuardedArraysAndAdoptingHelper) {
    unsigned char* array = NewGuardedArray(0);
    ASSERT_NE(array, nullptr);
    for (unsigned int i = 0; i < SHARED_BUFFER_GUARD_SIZE; ++i) {
        EXPECT_EQ(array[i], 0);
    }
    sSharedBuffer* empty = NewAdoptingBuffer(0, array, 3);  // frees the array: size 0 is not usable
    ASSERT_NE(empty, nullptr);
    EXPECT_EQ(empty->mData, nullptr);
    empty->Release();
}

}  // namespace
