// A writer killed with SIGKILL at random moments leaves a file that is consistent up to its last index entry
// and holds every item whose write had returned.
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <chrono>
#include <random>

#include "tests/ISFTestSupport.h"

namespace {

using namespace isftest;

// Item i: a log packet whose payload starts with i; sizes vary so that some records are written in chunks.
Bytes NumberedItem(uint32_t i) {
    const size_t payload = i % 97 == 0 ? 16624 : 4 + (i * 37) % 300;
    Bytes packet = LogPacket(0x1234, payload);
    PutLE(packet.data() + 16, i, 4);
    return packet;
}

// Child: writes numbered items for ever (times now and then going backwards), reporting each number whose
// write returned 0 through the pipe.
[[noreturn]] void WriteUntilKilled(const std::string& path, int report) {
    cISFStore store;
    if (store.OpenNewFileStore(path.c_str()) != 0) {
        _exit(2);
    }
    const FILETIME start = CurrentFiletime();
    for (uint32_t i = 0;; ++i) {
        const Bytes packet = NumberedItem(i);
        // 0.3 ms apart, so the time fields widen; every 1000th item a second in the past.
        const FILETIME time = i % 1000 == 999 ? start - 10000000 : start + static_cast<FILETIME>(i) * 3000;
        if (Write(store, 3, packet, time) != 0) {
            _exit(3);
        }
        if (write(report, &i, sizeof i) != sizeof i) {
            _exit(4);
        }
    }
}

// Reads the 4-byte numbers waiting in the pipe (all of them up to its end when `toEnd`); `pending` holds
// the bytes of a number split between two reads.
void Drain(int fd, Bytes& pending, std::vector<uint32_t>& numbers, bool toEnd) {
    unsigned char bytes[65536];
    for (;;) {
        const ssize_t got = read(fd, bytes, sizeof bytes);
        if (got <= 0) {
            break;
        }
        pending.insert(pending.end(), bytes, bytes + got);
        if (!toEnd && got < static_cast<ssize_t>(sizeof bytes)) {
            break;
        }
    }
    size_t whole = pending.size() / 4 * 4;
    for (size_t i = 0; i < whole; i += 4) {
        numbers.push_back(static_cast<uint32_t>(GetLE(pending.data() + i, 4)));
    }
    pending.erase(pending.begin(), pending.begin() + static_cast<long>(whole));
}

TEST(ISFStoreCrash, AKilledWriterLeavesEveryReturnedItemInAConsistentFile) {
    std::mt19937 random(20240611);
    std::uniform_int_distribution<int> delayUs(0, 150000);
    cTempDir dir;
    for (int round = 0; round < 6; ++round) {
        SCOPED_TRACE("round " + std::to_string(round));
        const std::string path = dir.File("crash" + std::to_string(round) + ".isf");
        int report[2];
        ASSERT_EQ(pipe(report), 0);
        const pid_t child = fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            close(report[0]);
            WriteUntilKilled(path, report[1]);
        }
        close(report[1]);
        // Keep draining the reports (a full pipe would stall the writer) until the moment of the kill.
        const int delay = delayUs(random);
        std::vector<uint32_t> numbers;
        Bytes pending;
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::microseconds(delay);
        for (;;) {
            const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
                deadline - std::chrono::steady_clock::now());
            if (left.count() <= 0) {
                break;
            }
            pollfd readable = {report[0], POLLIN, 0};
            if (poll(&readable, 1, static_cast<int>(left.count())) > 0) {
                Drain(report[0], pending, numbers, false);
            }
        }
        kill(child, SIGKILL);
        int status = 0;
        ASSERT_EQ(waitpid(child, &status, 0), child);
        ASSERT_TRUE(WIFSIGNALED(status)) << "the writer stopped by itself, status " << status;
        Drain(report[0], pending, numbers, true);
        close(report[0]);
        for (size_t i = 0; i < numbers.size(); ++i) {
            ASSERT_EQ(numbers[i], i);
        }

        if (numbers.empty() && access(path.c_str(), F_OK) != 0) {
            continue;  // killed before it created the file
        }
        const sISFFile file = ReadISFFile(path);
        EXPECT_TRUE(file.Consistent()) << "killed after " << delay << " us\n" << Problems(file);
        EXPECT_FALSE(file.mClosed);
        // The tool-version record comes first, then at least every item whose write returned.
        ASSERT_GE(file.mItems.size(), numbers.size() + (numbers.empty() ? 0 : 1));
        for (size_t i = 1; i < file.mItems.size(); ++i) {
            ASSERT_EQ(file.mItems[i].mPayload, NumberedItem(static_cast<uint32_t>(i - 1))) << "item " << i;
        }
    }
}

}  // namespace
