// Several threads on one store: every item lands in the file exactly once, each thread's items in the
// order it wrote them; racing opens leave every file finished and no descriptor behind.
#include <chrono>
#include <filesystem>
#include <iterator>
#include <thread>

#include "tests/ISFTestSupport.h"

namespace {

using namespace isftest;

TEST(ISFStoreThreads, EveryItemOfFourWritersLandsOnceAndInOrder) {
    const uint32_t kThreads = 4;
    const uint32_t kItems = 2500;  // 10000 in all: the file needs a second index block
    cTempDir dir;
    const std::string path = dir.File("threads.isf");
    {
        cISFStore store;
        ASSERT_EQ(store.OpenNewFileStore(path.c_str()), 0u);
        std::vector<std::thread> writers;
        for (uint32_t t = 0; t < kThreads; ++t) {
            writers.emplace_back([&store, t] {
                for (uint32_t i = 0; i < kItems; ++i) {
                    Bytes packet = LogPacket(0x1234, 8);
                    PutLE(packet.data() + 16, t, 4);
                    PutLE(packet.data() + 20, i, 4);
                    EXPECT_EQ(Write(store, 3, packet, AtMs(i)), 0u);
                }
            });
        }
        for (std::thread& writer : writers) {
            writer.join();
        }
    }
    const sISFFile file = ReadISFFile(path);
    EXPECT_TRUE(file.Consistent()) << Problems(file);
    ASSERT_EQ(file.mItems.size(), 1 + kThreads * kItems);
    std::vector<uint32_t> next(kThreads, 0);
    for (size_t i = 1; i < file.mItems.size(); ++i) {
        const Bytes& payload = file.mItems[i].mPayload;
        const uint32_t t = static_cast<uint32_t>(GetLE(payload.data() + 16, 4));
        ASSERT_LT(t, kThreads);
        ASSERT_EQ(GetLE(payload.data() + 20, 4), next[t]) << "thread " << t;
        ++next[t];
    }
}

size_t OpenDescriptors() {
    return static_cast<size_t>(std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {}));
}

// A file stream on a slow disk: creating and closing a file take 10 ms each, so that racing opens overlap.
class cSlowOpenStreams : public cISFStreamFactory {
public:
    cISFStream* NewStream() override { return new cSlowOpenStream(); }

private:
    struct cSlowOpenStream : cISFFileStream {
        bool Open(const char* path) override {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
            return cISFFileStream::Open(path);
        }
        void Close() override {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
            cISFFileStream::Close();
        }
    };
};

TEST(ISFStoreThreads, RacingOpensFinishEveryFileAndLeakNoDescriptor) {
    const int kThreads = 4;
    const int kOpens = 8;
    cTempDir dir;
    const auto name = [&](int t, int i) { return dir.File(std::to_string(t) + "-" + std::to_string(i)); };
    const size_t descriptors = OpenDescriptors();
    {
        cSlowOpenStreams streams;
        cISFStore store(&streams);
        std::vector<std::thread> openers;
        for (int t = 0; t < kThreads; ++t) {
            openers.emplace_back([&, t] {
                for (int i = 0; i < kOpens; ++i) {
                    EXPECT_EQ(store.OpenNewFileStore(name(t, i).c_str()), 0u);
                    EXPECT_EQ(Write(store, 3, LogPacket(0x1234, 8), kT0), 0u);
                }
            });
        }
        for (std::thread& opener : openers) {
            opener.join();
        }
    }
    EXPECT_EQ(OpenDescriptors(), descriptors);
    for (int t = 0; t < kThreads; ++t) {
        for (int i = 0; i < kOpens; ++i) {
            const sISFFile file = ReadISFFile(name(t, i));
            ASSERT_TRUE(file.Consistent() && file.mClosed) << name(t, i) << "\n" << Problems(file);
            ASSERT_FALSE(file.mItems.empty());
            EXPECT_EQ(GetLE(file.mItems[0].mPayload.data() + 6, 2), 0x1FFDu)
                << "the tool-version record first";
        }
    }
}

}  // namespace
