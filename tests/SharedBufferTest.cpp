#include "Shared/SharedBuffer.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

namespace {

TEST(SharedBuffer, ConstructorsKeepOnlyUsableSizesWithAGuardTailOnCopies) {
    const struct {
        bool mWithData;
        unsigned int mSize;
        bool mUsable;
    } cases[] = {
        {false, 10, false}, {true, 0, false}, {true, 1, true}, {true, 16640, true}, {true, 16641, false}};
    std::vector<unsigned char> source(16641);
    for (size_t i = 0; i < source.size(); ++i) {
        source[i] = static_cast<unsigned char>(i * 7 + 1);
    }
    for (const auto& c : cases) {
        sSharedBuffer copy(c.mWithData ? source.data() : nullptr, c.mSize, 42);
        // The adopting constructor owns the array in success and failure alike: the sanitizer builds catch
        // a leak or a double free.
        unsigned char* array = c.mWithData ? new unsigned char[8]() : nullptr;
        sSharedBuffer adopted(c.mSize, array, 5);
        EXPECT_EQ(IsUsableBuffer(&copy), c.mUsable) << c.mSize;
        EXPECT_EQ(IsUsableBuffer(&adopted), c.mUsable) << c.mSize;
        EXPECT_TRUE(copy.mProtocol == 42 && copy.mRefCount == 0 && adopted.mProtocol == 5);
        if (!c.mUsable) {
            EXPECT_TRUE(copy.mData == nullptr && copy.mSize == 0 && adopted.mData == nullptr &&
                        adopted.mSize == 0);
            continue;
        }
        EXPECT_EQ(adopted.mData, array) << "adopted, not copied";
        adopted.mSize = 1;  // the test's array holds 8 bytes whatever size it claimed
        EXPECT_NE(copy.mData, source.data()) << "a copy, not the caller's array";
        EXPECT_EQ(copy.mSize, c.mSize);
        EXPECT_EQ(memcmp(copy.mData, source.data(), c.mSize), 0);
        EXPECT_EQ(
            std::vector<unsigned char>(copy.mData + c.mSize, copy.mData + c.mSize + SHARED_BUFFER_GUARD_SIZE),
            std::vector<unsigned char>(SHARED_BUFFER_GUARD_SIZE))
            << "the guard tail: owned zeros past the bytes";
    }
}

TEST(SharedBuffer, ReleaseDestroysAtCountZeroOrOne) {
    struct sWatched : sSharedBuffer {
        sWatched(int* destroyed)
            : sSharedBuffer(reinterpret_cast<const unsigned char*>("abc"), 3, 3), mDestroyed(destroyed) {}
        ~sWatched() override { ++*mDestroyed; }
        int* mDestroyed;
    };
    int destroyed = 0;
    (new sWatched(&destroyed))->Release();
    EXPECT_EQ(destroyed, 1) << "a fresh buffer dies on its first release";
    sWatched* twice = new sWatched(&destroyed);
    twice->AddRef();
    twice->AddRef();
    twice->Release();
    EXPECT_EQ(destroyed, 1);
    EXPECT_EQ(twice->mRefCount, 1u);
    twice->Release();
    EXPECT_EQ(destroyed, 2);
}

TEST(SharedBuffer, EqualityIsIdentityOfArraySizeCountAndProtocol) {
    const unsigned char bytes[] = {9, 8, 7};
    sSharedBuffer a(bytes, 3, 3);
    EXPECT_TRUE(a != sSharedBuffer(bytes, 3, 3)) << "same bytes, different arrays";
    sSharedBuffer alias(3, a.mData, 3);  // a second object over the same array, taken back below
    EXPECT_TRUE(alias == a);
    alias.AddRef();
    EXPECT_TRUE(alias != a) << "the reference count takes part";
    a.AddRef();
    EXPECT_TRUE(alias == a);
    alias.mProtocol = 4;
    EXPECT_FALSE(alias == a);
    alias.mProtocol = 3;
    alias.mSize = 2;
    EXPECT_FALSE(alias == a);
    alias.mData = nullptr;  // the array belongs to `a`
}

}  // namespace
