// A writer killed with SIGKILL at random moments leaves a file that is consistent up to its last index entry
// and holds every item whose write had returned, whatever the file was doing: growing by a step, being
// written through its mapping.
#include <signal.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <random>

#include "tests/ISFTestSupport.h"

namespace {

using namespace isftest;

// Item i: a log packet whose payload starts with i; sizes vary so that some records are written in chunks.
Bytes NumberedItem(uint32_t i) {
    Bytes packet = LogPacket(0x1234, i % 97 == 0 ? 16624 : 4 + (i * 37) % 300);
    PutLE(packet.data() + 16, i, 4);
    return packet;
}

// Child: writes numbered items 0.3 ms apart (every 1000th a second in the past) for ever; sets `opened`
// once the file is open and counts in `returned` the writes that returned 0.
[[noreturn]] void WriteUntilKilled(const std::string& path, cISFStreamFactory* streams,
                                   std::atomic<uint32_t>& opened, std::atomic<uint32_t>& returned) {
    cISFStore store(streams);
    if (store.OpenNewFileStore(path.c_str()) != 0) {
        _exit(2);
    }
    opened.store(1);
    const FILETIME start = CurrentFiletime();
    for (uint32_t i = 0;; ++i) {
        const FILETIME time = i % 1000 == 999 ? start - 10000000 : start + static_cast<FILETIME>(i) * 3000;
        if (Write(store, 3, NumberedItem(i), time) != 0) {
            _exit(3);
        }
        returned.store(i + 1);
    }
}

// Streams that grow their file 64 KiB at a time, so that kills often fall into a growth step.
class cSmallStepStreams : public cISFStreamFactory {
public:
    cISFStream* NewStream() override { return new cISFMappedStream(64 * 1024); }
};

TEST(ISFStoreCrash, AKilledWriterLeavesEveryReturnedItemInAConsistentFile) {
    const size_t sharedSize = 2 * sizeof(std::atomic<uint32_t>);
    void* shared = mmap(nullptr, sharedSize, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(shared, MAP_FAILED);
    auto* opened = new (shared) std::atomic<uint32_t>(0);
    auto* returned = new (opened + 1) std::atomic<uint32_t>(0);
    std::mt19937 random(20240611);
    cTempDir dir;
    cSmallStepStreams smallSteps;
    for (int round = 0; round < 100; ++round) {
        const std::string path = dir.File("crash" + std::to_string(round) + ".isf");
        const unsigned int delayUs = random() % 10000;
        cISFStreamFactory* streams = round % 2 == 0 ? nullptr : &smallSteps;
        SCOPED_TRACE("round " + std::to_string(round) + (streams != nullptr ? ", small steps" : "") +
                     ", killed after " + std::to_string(delayUs) + " us");
        opened->store(0);
        returned->store(0);
        const pid_t child = fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            WriteUntilKilled(path, streams, *opened, *returned);
        }
        usleep(delayUs);
        kill(child, SIGKILL);
        int status = 0;
        ASSERT_EQ(waitpid(child, &status, 0), child);
        ASSERT_TRUE(WIFSIGNALED(status)) << "the writer stopped by itself, status " << status;
        const uint32_t count = returned->load();
        if (opened->load() == 0) {
            unlink(path.c_str());
            continue;  // killed while the file was being created: nothing was promised yet
        }
        const sISFFile file = ReadISFFile(path);
        EXPECT_TRUE(file.Consistent()) << Problems(file);
        EXPECT_FALSE(file.mClosed);
        // The tool-version record comes first, then at least every item whose write returned.
        ASSERT_GE(file.mItems.size(), count + (count == 0 ? 0 : 1));
        for (size_t i = 1; i < file.mItems.size(); ++i) {
            ASSERT_EQ(file.mItems[i].mPayload, NumberedItem(static_cast<uint32_t>(i - 1))) << "item " << i;
        }
        unlink(path.c_str());
    }
    munmap(shared, sharedSize);
}

}  // namespace
