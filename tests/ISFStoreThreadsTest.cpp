// Several threads writing to one store: every item lands in the file exactly once, each thread's items in
// the order it wrote them.
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
        std::vector<unsigned int> failures(kThreads, 0);
        for (uint32_t t = 0; t < kThreads; ++t) {
            writers.emplace_back([&store, &failures, t] {
                for (uint32_t i = 0; i < kItems; ++i) {
                    Bytes packet = LogPacket(0x1234, 8);
                    PutLE(packet.data() + 16, t, 4);
                    PutLE(packet.data() + 20, i, 4);
                    failures[t] += Write(store, 3, packet, AtMs(i)) != 0;
                }
            });
        }
        for (std::thread& writer : writers) {
            writer.join();
        }
        EXPECT_EQ(failures, std::vector<unsigned int>(kThreads, 0));
        store.CloseFileStore();
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
    EXPECT_EQ(next, std::vector<uint32_t>(kThreads, kItems));
}

}  // namespace
