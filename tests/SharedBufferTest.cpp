#include "Shared/SharedBuffer.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <utility>
#include <vector>

namespace {

using Bytes = std::vector<unsigned char>;

// The adopting constructor's limit and its freeing of a refused array: the HDLC frame size rows.
TEST(SharedBuffer, CopyKeepsOnlyUsableSizesWithAZeroedGuardTail) {
    const Bytes source(16641, 0x5A);
    for (const auto& [data, size] : {std::pair<const unsigned char*, unsigned int>{nullptr, 10},
                                     {source.data(), 0},
                                     {source.data(), 16641}}) {
        const sSharedBuffer refused(data, size, 3);
        EXPECT_TRUE(refused.mData == nullptr && refused.mSize == 0) << size;
    }
    const sSharedBuffer copy(source.data(), 16640, 3);
    Bytes expected(16640, 0x5A);
    expected.resize(16640 + SHARED_BUFFER_GUARD_SIZE);
    ASSERT_TRUE(copy.mSize == 16640 && copy.mData != source.data());
    EXPECT_EQ(Bytes(copy.mData, copy.mData + expected.size()), expected);
}

// Destruction at a count of 1: SharedBufferSyncTest; exact counts under threads: below.
TEST(SharedBuffer, AFreshBufferDiesOnItsFirstRelease) {
    struct sWatched : sSharedBuffer {
        sWatched(int* destroyed)
            : sSharedBuffer(reinterpret_cast<const unsigned char*>("abc"), 3, 3), mDestroyed(destroyed) {}
        ~sWatched() override { ++*mDestroyed; }
        int* mDestroyed;
    };
    int destroyed = 0;
    (new sWatched(&destroyed))->Release();
    EXPECT_EQ(destroyed, 1);
}

TEST(SharedBuffer, EqualityIsIdentityOfArraySizeCountAndProtocol) {
    const unsigned char bytes[] = {9, 8, 7};
    sSharedBuffer a(bytes, 3, 3);
    EXPECT_TRUE(a != sSharedBuffer(bytes, 3, 3)) << "same bytes, different arrays";
    sSharedBuffer alias(3, a.mData, 3);  // a second object over the same array, taken back below
    EXPECT_TRUE(alias == a);
    alias.AddRef();
    EXPECT_FALSE(alias == a) << "the reference count takes part";
    alias.mProtocol = 4;
    a.AddRef();
    EXPECT_FALSE(alias == a);
    alias.mProtocol = 3;
    alias.mSize = 2;
    EXPECT_FALSE(alias == a);
    alias.mData = nullptr;  // the array belongs to `a`
}

// Several threads take and drop references to the same buffers; under ThreadSanitizer any change of a
// count outside the lock is reported, and the final counts and destructions must come out exact.
struct sCounted : sSharedBuffer {
    explicit sCounted(std::atomic<int>* destroyed)
        : sSharedBuffer(reinterpret_cast<const unsigned char*>("payload"), 7, 3), mDestroyed(destroyed) {}
    ~sCounted() override { ++*mDestroyed; }
    std::atomic<int>* mDestroyed;
};

TEST(SharedBufferThreads, ConcurrentAddRefAndReleaseKeepExactCounts) {
    const int kThreads = 4, kBuffers = 8;
    std::atomic<int> destroyed{0};
    std::vector<sSharedBuffer*> buffers;
    for (int i = 0; i < kBuffers; ++i) {
        buffers.push_back(new sCounted(&destroyed));
        for (int t = 0; t < kThreads; ++t) {
            buffers.back()->AddRef();  // one reference for each thread
        }
    }
    // Every thread churns the counts, then lets go of its reference: one release per buffer destroys it.
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&buffers, t] {
            for (int round = 0; round < 20000; ++round) {
                sSharedBuffer* buffer = buffers[static_cast<size_t>((round + t) % kBuffers)];
                buffer->AddRef();
                buffer->AddRef();
                buffer->Release();
                buffer->Release();
            }
            for (sSharedBuffer* buffer : buffers) {
                buffer->Release();
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(destroyed.load(), kBuffers);
}

}  // namespace
