// Steady-state item writes of 100-byte log packets through the store (its production stream writes through
// a shared mapping of the file), against a reference loop that writes the same records and entries with
// the fewest system calls that keep every returned write in the kernel: one pwrite for the record, one
// for its 7-byte entry.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

#include <cstring>
#include <string>
#include <vector>

#include "jni/ISFMappedStream.h"
#include "jni/ISFStore.h"
#include "reader/ISFReadAll.h"

namespace {

const unsigned int kPacketSize = 100;
// A new file every this many items, so that a long run does not fill the disk.
const int64_t kItemsPerFile = 1 << 18;

std::string BenchFile(const char* name) {
    const char* dir = getenv("TMPDIR");
    return std::string(dir != nullptr ? dir : "/tmp") + "/palvorin-bench-" + std::to_string(getpid()) + "-" +
           name;
}

// A log packet with a log code outside the over-the-air set: the common case.
std::vector<unsigned char> LogPacket() {
    std::vector<unsigned char> packet(kPacketSize);
    const unsigned char header[8] = {0x10, 0x00, kPacketSize - 4, 0, kPacketSize - 4, 0, 0x34, 0x12};
    memcpy(packet.data(), header, sizeof header);
    for (unsigned int i = 16; i < kPacketSize; ++i) {
        packet[i] = static_cast<unsigned char>(i);
    }
    return packet;
}

// The store writes every item into the file, where the reader finds it.
bool StoreWritesWhatTheReaderFinds(const std::string& path, const std::vector<unsigned char>& packet) {
    {
        cISFStore store;
        if (store.OpenNewFileStore(path.c_str()) != 0) {
            return false;
        }
        const FILETIME start = CurrentFiletime();
        for (unsigned int i = 0; i < 10000; ++i) {
            if (store.WriteItem(3, kPacketSize, packet.data(), start + i * 1000ULL) != 0) {
                return false;
            }
        }
        store.CloseFileStore();
    }
    const sISFFile file = ReadISFFile(path);
    if (!file.Consistent() || file.mItems.size() != 10001) {
        return false;
    }
    for (size_t i = 1; i < file.mItems.size(); ++i) {
        if (file.mItems[i].mPayload != packet || file.mItems[i].mType != 5) {
            return false;
        }
    }
    return true;
}

// Mapped streams that grow their file by state.range(0) MiB at a time.
class cStepStreams : public cISFStreamFactory {
public:
    explicit cStepStreams(uint64_t step) : mStep(step) {}
    cISFStream* NewStream() override { return new cISFMappedStream(mStep); }

private:
    uint64_t mStep;
};

void WriteItems(benchmark::State& state, cISFStreamFactory* streams) {
    const std::string path = BenchFile("store.isf");
    const std::vector<unsigned char> packet = LogPacket();
    if (!StoreWritesWhatTheReaderFinds(path, packet)) {
        unlink(path.c_str());
        state.SkipWithError("the file does not read back as written");
        return;
    }
    cISFStore store(streams);
    store.OpenNewFileStore(path.c_str());
    FILETIME time = CurrentFiletime();
    int64_t inFile = 0;
    for (auto _ : state) {
        if (++inFile == kItemsPerFile) {
            state.PauseTiming();
            store.OpenNewFileStore(path.c_str());
            inFile = 0;
            state.ResumeTiming();
        }
        time += 1000;  // 0.1 ms apart
        if (store.WriteItem(3, kPacketSize, packet.data(), time) != 0) {
            state.SkipWithError("write failed");
            break;
        }
    }
    store.CloseFileStore();
    unlink(path.c_str());
    state.SetItemsProcessed(state.iterations());
    state.SetBytesProcessed(state.iterations() * kPacketSize);
}

void BM_ISFStoreWriteItem(benchmark::State& state) {
    WriteItems(state, nullptr);
}
BENCHMARK(BM_ISFStoreWriteItem);
// Fixed counts for counting system calls: strace over each, the difference divided by 200000.
BENCHMARK(BM_ISFStoreWriteItem)->Iterations(100000);
BENCHMARK(BM_ISFStoreWriteItem)->Iterations(300000);

// The same with other growth steps than the default 8 MiB.
void BM_ISFStoreWriteItemStep(benchmark::State& state) {
    cStepStreams streams(static_cast<uint64_t>(state.range(0)) << 20);
    WriteItems(state, &streams);
}
BENCHMARK(BM_ISFStoreWriteItemStep)->Arg(1)->Arg(64);

// The reference: the same file layout (header, index blocks of 8192 entries, records with a 1-byte time
// field), written with two pwrite calls per item and one per index block.
void BM_ReferencePwrite(benchmark::State& state) {
    const std::string path = BenchFile("reference.isf");
    const std::vector<unsigned char> packet = LogPacket();
    std::vector<unsigned char> block(ISF_BLOCK_SIZE, 0);
    unsigned char record[1 + kPacketSize];
    record[0] = 0;
    memcpy(record + 1, packet.data(), kPacketSize);
    int fd = -1;
    uint64_t end = 0;
    uint64_t blockOffset = 0;
    uint32_t inBlock = ISF_ENTRIES_PER_BLOCK;
    int64_t inFile = kItemsPerFile - 1;
    bool failed = false;
    for (auto _ : state) {
        if (++inFile == kItemsPerFile) {
            state.PauseTiming();
            if (fd >= 0) {
                close(fd);
            }
            fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
            const unsigned char header[4] = {0x08, 0x31, 0x60, 0xAB};
            failed = failed || fd < 0 || pwrite(fd, header, 4, 0) != 4;
            end = 4;
            inBlock = ISF_ENTRIES_PER_BLOCK;
            inFile = 0;
            state.ResumeTiming();
        }
        if (inBlock == ISF_ENTRIES_PER_BLOCK) {
            failed =
                failed || pwrite(fd, block.data(), block.size(), static_cast<off_t>(end)) != ISF_BLOCK_SIZE;
            blockOffset = end;
            end += ISF_BLOCK_SIZE;
            inBlock = 0;
        }
        unsigned char entry[ISF_ENTRY_SIZE] = {5};
        PutLE(entry + ISF_ENTRY_RECORD_OFFSET, end - blockOffset - ISF_BLOCK_SIZE, 4);
        PutLE(entry + ISF_ENTRY_LENGTH, kPacketSize, 2);
        failed = failed || pwrite(fd, record, sizeof record, static_cast<off_t>(end)) != sizeof record;
        failed = failed || pwrite(fd, entry, sizeof entry,
                                  static_cast<off_t>(blockOffset + inBlock * ISF_ENTRY_SIZE)) != sizeof entry;
        end += sizeof record;
        ++inBlock;
    }
    if (fd >= 0) {
        close(fd);
    }
    unlink(path.c_str());
    if (failed) {
        state.SkipWithError("pwrite failed");
    }
    state.SetItemsProcessed(state.iterations());
    state.SetBytesProcessed(state.iterations() * kPacketSize);
}
BENCHMARK(BM_ReferencePwrite);
BENCHMARK(BM_ReferencePwrite)->Iterations(100000);
BENCHMARK(BM_ReferencePwrite)->Iterations(300000);

}  // namespace
