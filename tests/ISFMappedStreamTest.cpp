// The mapped stream under the store: a file-size limit is status 9 and a file that holds every returned
// item (never a SIGXFSZ), mapped or with positioned writes; a failed write-back makes the close fail.
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>

#include "tests/ISFTestSupport.h"

namespace {

using namespace isftest;

// Item i: a log packet of 1000 payload bytes whose payload starts with i.
Bytes NumberedItem(uint32_t i) {
    Bytes packet = LogPacket(0x1234, 1000);
    PutLE(packet.data() + 16, i, 4);
    return packet;
}

// Streams on a file system that cannot reserve space.
class cNoReservationStream : public cISFMappedStream {
protected:
    int Reserve(int, uint64_t, uint64_t) override { return EOPNOTSUPP; }
};
class cNoReservationStreams : public cISFStreamFactory {
public:
    cISFStream* NewStream() override { return new cNoReservationStream(); }
};

// A child under a real file-size limit, SIGXFSZ at its default action (the end of the process), writes
// items until the store refuses one. `streams` null: the production (mapped) stream.
void FileSizeLimitCase(cISFStreamFactory* streams, bool mapped) {
    // Not a whole number of pages: the writes fill the file up to the last byte allowed.
    const rlim_t kLimit = 300000 + 123;
    cTempDir dir;
    const std::string path = dir.File("limited.isf");
    int results[2];
    ASSERT_EQ(pipe(results), 0);
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        signal(SIGXFSZ, SIG_DFL);
        const rlimit limit = {kLimit, kLimit};
        cISFStore store(streams);
        if (setrlimit(RLIMIT_FSIZE, &limit) != 0 || store.OpenNewFileStore(path.c_str()) != 0) {
            _exit(10);
        }
        const auto* stream = dynamic_cast<const cISFMappedStream*>(cISFStoreInspector::File(store));
        if (stream == nullptr || stream->IsMapped() != mapped) {
            _exit(11);
        }
        uint32_t written = 0;
        unsigned int status;
        while ((status = Write(store, 3, NumberedItem(written), kT0)) == 0) {
            ++written;
        }
        const bool failsFor9 = status == 9 && Write(store, 3, NumberedItem(written), kT0) == 9;
        store.CloseFileStore();
        _exit(write(results[1], &written, sizeof written) == sizeof written && failsFor9 ? 0 : 12);
    }
    close(results[1]);
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status)) << "the writer died of signal " << WTERMSIG(status);
    ASSERT_EQ(WEXITSTATUS(status), 0);
    uint32_t written = 0;
    ASSERT_EQ(read(results[0], &written, sizeof written), static_cast<ssize_t>(sizeof written));
    close(results[0]);

    const sISFFile file = ReadISFFile(path);
    EXPECT_TRUE(file.Consistent()) << Problems(file);
    EXPECT_FALSE(file.mClosed) << "no room for the table and trailer";
    ASSERT_EQ(file.mItems.size(), 1u + written);
    for (size_t i = 1; i < file.mItems.size(); ++i) {
        ASSERT_EQ(file.mItems[i].mPayload, NumberedItem(static_cast<uint32_t>(i - 1))) << "item " << i;
    }
    // The file ends with the last record; the next record (1017 bytes with its header) did not fit.
    EXPECT_EQ(std::filesystem::file_size(path), file.mItems.back().mPayloadOffset + NumberedItem(0).size());
    EXPECT_GT(std::filesystem::file_size(path) + 1017, kLimit);
}

TEST(ISFMappedStream, AFileSizeLimitReports9AndTheFileHoldsEveryReturnedItem) {
    FileSizeLimitCase(nullptr, true);
}

TEST(ISFMappedStream, AFileSizeLimitWithoutAMappingReports9Too) {
    cNoReservationStreams streams;
    FileSizeLimitCase(&streams, false);
}

// A file system that takes every write into the page cache and fails to write it back: the close fails
// with its reason, and the file is still cut to the bytes written.
class cFailingWriteBackStream : public cISFMappedStream {
protected:
    int Sync(int) override { return ENOSPC; }
};

TEST(ISFMappedStream, AFailedWriteBackMakesCloseFail) {
    cTempDir dir;
    const std::string path = dir.File("lost.isf");
    cFailingWriteBackStream stream;
    ASSERT_TRUE(stream.Open(path.c_str()));
    ASSERT_TRUE(stream.IsMapped());
    const Bytes bytes(100000, 0x5A);
    stream.Write(bytes.data(), bytes.size());
    ASSERT_TRUE(stream.Good());
    errno = 0;
    stream.Close();
    EXPECT_TRUE(stream.Fail());
    EXPECT_EQ(errno, ENOSPC);
    EXPECT_FALSE(stream.IsOpen());
    EXPECT_EQ(std::filesystem::file_size(path), bytes.size());
}

}  // namespace
