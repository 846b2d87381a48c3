// Several threads take and drop references to the same buffers; run under ThreadSanitizer, any change
// of a count outside the lock is reported, and the final counts and destructions must come out exact.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "Shared/SharedBuffer.h"

namespace {

struct sCounted : sSharedBuffer {
    explicit sCounted(std::atomic<int>* destroyed)
        : sSharedBuffer(reinterpret_cast<const unsigned char*>("payload"), 7, 3), mDestroyed(destroyed) {}
    ~sCounted() override { ++*mDestroyed; }
    std::atomic<int>* mDestroyed;
};

TEST(SharedBufferThreads, ConcurrentAddRefAndReleaseKeepExactCounts) {
    const int kThreads = 4;
    const int kBuffers = 8;
    const int kRounds = 20000;
    std::atomic<int> destroyed{0};
    std::vector<sSharedBuffer*> buffers;
    for (int i = 0; i < kBuffers; ++i) {
        buffers.push_back(new sCounted(&destroyed));
        buffers.back()->AddRef();  // the test's own reference
    }
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&buffers, t] {
            for (int round = 0; round < kRounds; ++round) {
                sSharedBuffer* buffer = buffers[static_cast<size_t>((round + t) % kBuffers)];
                buffer->AddRef();
                buffer->AddRef();
                buffer->Release();
                buffer->Release();
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    for (sSharedBuffer* buffer : buffers) {
        EXPECT_EQ(buffer->mRefCount, 1u);
    }
    EXPECT_EQ(destroyed.load(), 0);

    // Each thread then holds one reference to every buffer and lets go at the same time: exactly one
    // release per buffer destroys it.
    for (sSharedBuffer* buffer : buffers) {
        for (int t = 0; t < kThreads; ++t) {
            buffer->AddRef();
        }
        buffer->Release();  // drop the test's own: count kThreads
    }
    threads.clear();
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&buffers] {
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
