// palvorin record: a raw diagnostic stream into an ISF file, until the end of the input or a stop signal.

#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/time.h>
#include <termios.h>
#include <unistd.h>

#include <cinttypes>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>

#include "tools/palvorin/Commands.h"
#include "tools/palvorin/CountingStore.h"
#include "tools/palvorin/ErrnoStream.h"
#include "tools/palvorin/FrameDecoder.h"
#include "tools/palvorin/ItemInfo.h"

namespace {

volatile sig_atomic_t gStopSignal = 0;

void OnStopSignal(int signal) {
    gStopSignal = signal;
}

double Seconds() {
    timeval now;
    gettimeofday(&now, nullptr);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_usec) / 1e6;
}

// The signals that end a recording cleanly: an interrupt, a kill, a dropped terminal or ssh session (SIGHUP)
// and a quit from the keyboard.
const int kStopSignals[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT};
const char* const kStopSignalNames[] = {"SIGINT", "SIGTERM", "SIGHUP", "SIGQUIT"};
const size_t kStopSignalCount = sizeof kStopSignals / sizeof kStopSignals[0];

const char* StopSignalName(int signal) {
    for (size_t i = 0; i < kStopSignalCount; ++i) {
        if (kStopSignals[i] == signal) {
            return kStopSignalNames[i];
        }
    }
    return "a signal";
}

// The stop signals are blocked except while waiting for input (ppoll), so a stop request never falls
// between the check of the flag and the wait.
class cStopSignals {
public:
    cStopSignals() {
        struct sigaction action;
        memset(&action, 0, sizeof action);
        action.sa_handler = OnStopSignal;
        sigemptyset(&action.sa_mask);
        sigset_t stops;
        sigemptyset(&stops);
        for (size_t i = 0; i < kStopSignalCount; ++i) {
            sigaction(kStopSignals[i], &action, &mOld[i]);
            sigaddset(&stops, kStopSignals[i]);
        }
        sigprocmask(SIG_BLOCK, &stops, &mWaitMask);
        for (size_t i = 0; i < kStopSignalCount; ++i) {
            sigdelset(&mWaitMask, kStopSignals[i]);
        }
    }
    ~cStopSignals() {
        sigset_t stops;
        sigemptyset(&stops);
        for (size_t i = 0; i < kStopSignalCount; ++i) {
            sigaddset(&stops, kStopSignals[i]);
        }
        sigprocmask(SIG_UNBLOCK, &stops, nullptr);
        for (size_t i = 0; i < kStopSignalCount; ++i) {
            sigaction(kStopSignals[i], &mOld[i], nullptr);
        }
    }
    const sigset_t* WaitMask() const { return &mWaitMask; }

private:
    struct sigaction mOld[kStopSignalCount];
    sigset_t mWaitMask;
};

// Writes each decoded packet as an item from the device, stamped with the time its chunk was read or with
// times spread at a fixed rate.
class cStoreSink : public cPacketSink {
public:
    cStoreSink(cCountingStore& store, const sRecordOptions& options) : mStore(store) {
        if (options.mRate > 0) {
            const double step = 1e7 / options.mRate;
            mStep = static_cast<FILETIME>(std::llround(step < 1 ? 1 : step));
            mNext = options.mStart >= 0
                        ? static_cast<FILETIME>(options.mStart) * 10000000ULL + FILETIME_UNIX_EPOCH
                        : CurrentFiletime();
        }
    }
    void ChunkRead() {
        if (mStep == 0) {
            mNext = CurrentFiletime();
        }
    }
    bool Packet(sSharedBuffer* packet) override {
        mStatus = mStore.WriteItem(packet, mNext, ITEM_TYPE_DERIVE);
        mNext += mStep;
        return mStatus == ISF_STATUS_OK;
    }

    unsigned int mStatus = ISF_STATUS_OK;

private:
    cCountingStore& mStore;
    FILETIME mNext = 0;
    FILETIME mStep = 0;  // 0: stamp with the reading time
};

int OpenInput(const std::string& path) {
    if (path == "-") {
        return STDIN_FILENO;
    }
    return open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY);
}

// A serial port named as the input is read raw (no line editing, no translation of bytes) while recording,
// and left as it was afterwards.
class cRawTerminal {
public:
    explicit cRawTerminal(int fd) : mFd(fd) {
        if (fd != STDIN_FILENO && isatty(fd) && tcgetattr(fd, &mSaved) == 0) {
            termios raw = mSaved;
            cfmakeraw(&raw);
            mChanged = tcsetattr(fd, TCSANOW, &raw) == 0;
        }
    }
    ~cRawTerminal() { Restore(); }
    void Restore() {
        if (mChanged) {
            tcsetattr(mFd, TCSANOW, &mSaved);
            mChanged = false;
        }
    }
    cRawTerminal(const cRawTerminal&) = delete;
    cRawTerminal& operator=(const cRawTerminal&) = delete;

private:
    int mFd;
    termios mSaved;
    bool mChanged = false;
};

// The trailer of a closed file holds the item count and its magic: read back to catch a close that failed.
bool TrailerWritten(const std::string& path, uint64_t items) {
    FILE* file = fopen(path.c_str(), "rb");
    if (file == nullptr) {
        return false;
    }
    unsigned char trailer[ISF_TRAILER_SIZE];
    const bool read = fseek(file, -static_cast<long>(ISF_TRAILER_SIZE), SEEK_END) == 0 &&
                      fread(trailer, 1, sizeof trailer, file) == sizeof trailer;
    fclose(file);
    return read && GetLE(trailer + ISF_TRAILER_MAGIC_OFFSET, 4) == ISF_TRAILER_MAGIC &&
           GetLE(trailer + ISF_TRAILER_COUNT_OFFSET, 4) == items;
}

void Progress(const cFrameDecoder& decoder, const cCountingStore& store, double elapsed) {
    fprintf(stderr, "\r%" PRIu64 " frames (%" PRIu64 " bad), %.1f MB, %" PRIu64 " items, %.1f MB/s   ",
            decoder.mFrames, decoder.mBadFrames, static_cast<double>(decoder.mBytes) / 1e6, store.mItems,
            elapsed > 0 ? static_cast<double>(decoder.mBytes) / 1e6 / elapsed : 0.0);
}

void Summary(const sRecordOptions& options, const cFrameDecoder& decoder, const cCountingStore& store,
             double elapsed) {
    printf("recorded %s into %s\n", options.mInput.c_str(), options.mOutput.c_str());
    printf("  bytes read       %" PRIu64 "\n", decoder.mBytes);
    printf("  frames           %" PRIu64 "\n", decoder.mFrames);
    if (decoder.mLeadingBytes != 0) {
        printf("  skipped          %" PRIu64 " bytes before the first frame\n", decoder.mLeadingBytes);
    }
    printf("  bad frames       %" PRIu64, decoder.mBadFrames);
    if (decoder.mUnclosedBytes != 0) {
        printf(" (%" PRIu64 " bytes at the end that no flag closes)", decoder.mUnclosedBytes);
    }
    printf("\n  items            %" PRIu64 "\n", store.mItems);
    for (unsigned int type = 0; type < cCountingStore::kTypeSlots; ++type) {
        if (store.mItemsByType[type] != 0) {
            printf("    type %2u %-20s %" PRIu64 "\n", type, ItemTypeName(type), store.mItemsByType[type]);
        }
    }
    printf("  blocks rebuilt by the WCDMA reassembly %" PRIu64 "\n", store.mRebuiltBlocks);
    const double seconds = elapsed > 1e-6 ? elapsed : 1e-6;
    printf("  elapsed          %.3f s, %.1f MB/s, %.0f items/s\n", elapsed,
           static_cast<double>(decoder.mBytes) / 1e6 / seconds, static_cast<double>(store.mItems) / seconds);
}

}  // namespace

int RunRecord(const sRecordOptions& options) {
    const int input = OpenInput(options.mInput);
    if (input < 0) {
        fprintf(stderr, "palvorin: cannot open %s: %s\n", options.mInput.c_str(), strerror(errno));
        return 1;
    }
    std::unique_ptr<cFrameDecoder> decoder(new (std::nothrow) cFrameDecoder());
    cErrnoStreamFactory streams;
    std::unique_ptr<cCountingStore> store(new (std::nothrow) cCountingStore(&streams));
    if (!decoder || !decoder->Ready() || !store) {
        fprintf(stderr, "palvorin: out of memory\n");
        return 1;
    }
    if (store->OpenNewFileStore(options.mOutput.c_str()) != ISF_STATUS_OK) {
        fprintf(stderr, "palvorin: cannot write %s: %s\n", options.mOutput.c_str(),
                strerror(streams.mError != 0 ? streams.mError : EIO));
        if (input != STDIN_FILENO) {
            close(input);
        }
        return 1;
    }

    cStopSignals signals;
    cRawTerminal terminal(input);
    cStoreSink sink(*store, options);
    const bool progress = !options.mQuiet && isatty(STDERR_FILENO);
    const double start = Seconds();
    double lastProgress = start;
    int result = 0;
    for (;;) {
        if (gStopSignal != 0) {
            break;
        }
        pollfd wait = {input, POLLIN, 0};
        const timespec interval = {0, 250 * 1000 * 1000};
        const int ready = ppoll(&wait, 1, progress ? &interval : nullptr, signals.WaitMask());
        if (ready < 0 && errno != EINTR) {
            fprintf(stderr, "palvorin: cannot wait for %s: %s\n", options.mInput.c_str(), strerror(errno));
            result = 1;
            break;
        }
        ssize_t got = 0;
        if (ready > 0) {
            size_t room = 0;
            unsigned char* space = decoder->Space(room);
            got = read(input, space, room);
            if (got < 0 && errno != EINTR && errno != EAGAIN) {
                fprintf(stderr, "palvorin: cannot read %s: %s\n", options.mInput.c_str(), strerror(errno));
                result = 1;
                break;
            }
            sink.ChunkRead();
            const bool end = got == 0;
            if (!decoder->Decode(got > 0 ? static_cast<size_t>(got) : 0, end, sink)) {
                fprintf(stderr, "\npalvorin: writing %s failed: %s\n", options.mOutput.c_str(),
                        strerror(streams.mError != 0 ? streams.mError : EIO));
                result = 1;
                break;
            }
            if (end) {
                break;
            }
        }
        const double now = Seconds();
        if (progress && now - lastProgress >= 0.25) {
            Progress(*decoder, *store, now - start);
            lastProgress = now;
        }
    }
    if (gStopSignal != 0 && result == 0) {
        // What was read before the signal is written; a frame cut by the signal is counted as unclosed.
        sink.ChunkRead();
        decoder->Decode(0, true, sink);
    }
    terminal.Restore();
    if (input != STDIN_FILENO) {
        close(input);
    }
    store->CloseFileStore();
    const double elapsed = Seconds() - start;
    if (progress) {
        Progress(*decoder, *store, elapsed);
        fputc('\n', stderr);
    }
    if (result == 0 && !TrailerWritten(options.mOutput, store->mItems)) {
        fprintf(stderr, "palvorin: closing %s failed: the table and trailer are not complete\n",
                options.mOutput.c_str());
        result = 1;
    }
    if (gStopSignal != 0) {
        printf("stopped by %s\n", StopSignalName(gStopSignal));
    }
    Summary(options, *decoder, *store, elapsed);
    return result;
}
