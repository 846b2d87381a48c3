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

template <typename Work>
void OnThreads(int count, Work work) {
    std::vector<std::thread> threads;
    for (int t = 0; t < count; ++t) {
        threads.emplace_back(work, t);
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

TEST(SharedBufferThreads, ConcurrentAddRefAndReleaseKeepExactCounts) {
    const int kThreads = 4, kBuffers = 8;
    std::atomic<int> destroyed{0};
    std::vector<sSharedBuffer*> buffers;
    for (int i = 0; i < kBuffers; ++i) {
        buffers.push_back(new sCounted(&destroyed));
        buffers.back()->AddRef();  // the test's own reference
    }
    OnThreads(kThreads, [&buffers](int t) {
        for (int round = 0; round < 20000; ++round) {
            sSharedBuffer* buffer = buffers[static_cast<size_t>((round + t) % kBuffers)];
            buffer->AddRef();
            buffer->AddRef();
            buffer->Release();
            buffer->Release();
        }
    });
    for (sSharedBuffer* buffer : buffers) {
        EXPECT_EQ(buffer->mRefCount, 1u);
        for (int t = 1; t < kThreads; ++t) {
            buffer->AddRef();  // one reference per thread, the test's own included
        }
    }
    EXPECT_EQ(destroyed.load(), 0);
    // Every thread lets go of its reference at the same time: exactly one release per buffer destroys it.
    OnThreads(kThreads, [&buffers](int) {
        for (sSharedBuffer* buffer : buffers) {
            buffer->Release();
        }
    });
    EXPECT_EQ(destroyed.load(), kBuffers);
}

}  // namespace
