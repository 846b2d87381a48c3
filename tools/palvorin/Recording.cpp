#include "tools/palvorin/Recording.h"

#include <errno.h>
#include <poll.h>
#include <sys/time.h>
#include <unistd.h>

#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <new>

#include "tools/palvorin/GSMTAPSender.h"
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

}  // namespace

cStopSignals::cStopSignals(std::initializer_list<int> signals) {
    struct sigaction action;
    memset(&action, 0, sizeof action);
    action.sa_handler = OnStopSignal;
    sigemptyset(&action.sa_mask);
    sigemptyset(&mBlocked);
    for (int signal : signals) {
        if (mCount < kMaxSignals) {
            mSignals[mCount] = signal;
            sigaction(signal, &action, &mOld[mCount++]);
            sigaddset(&mBlocked, signal);
        }
    }
    sigprocmask(SIG_BLOCK, &mBlocked, &mWaitMask);
    for (int i = 0; i < mCount; ++i) {
        sigdelset(&mWaitMask, mSignals[i]);
    }
}

cStopSignals::~cStopSignals() {
    sigprocmask(SIG_UNBLOCK, &mBlocked, nullptr);
    for (int i = 0; i < mCount; ++i) {
        sigaction(mSignals[i], &mOld[i], nullptr);
    }
}

int StopSignal() {
    return gStopSignal;
}

const char* SignalName(int signal) {
    switch (signal) {
        case SIGINT:
            return "SIGINT";
        case SIGTERM:
            return "SIGTERM";
        case SIGHUP:
            return "SIGHUP";
        case SIGQUIT:
            return "SIGQUIT";
        default:
            return "a signal";
    }
}

cStoreSink::cStoreSink(cCountingStore& store, const cItemClock& clock, cGSMTAPSender* live)
    : mStore(store), mLive(live), mClock(clock) {}

void cStoreSink::ChunkRead() {
    mClock.ChunkRead(CurrentFiletime());
}

bool cStoreSink::Packet(sSharedBuffer* packet) {
    mStatus = mStore.WriteItem(packet, mClock.Stamp(packet->mData, packet->mSize), ITEM_TYPE_DERIVE);
    if (mLive != nullptr) {
        mLive->Packet(packet);
    }
    return mStatus == ISF_STATUS_OK;
}

unsigned int cStoreSink::Sent(sSharedBuffer* packet) {
    return mStore.WriteItem(packet, mClock.Stamp(packet->mData, packet->mSize), ITEM_TYPE_DERIVE);
}

cRecording::cRecording(std::string input, std::string output, bool progress)
    : mInput(std::move(input)), mOutput(std::move(output)), mProgress(progress) {}

bool cRecording::Open() {
    mDecoder.reset(new (std::nothrow) cFrameDecoder());
    mStore.reset(new (std::nothrow) cCountingStore(&mStreams));
    if (!mDecoder || !mDecoder->Ready() || !mStore) {
        fprintf(stderr, "palvorin: out of memory\n");
        return false;
    }
    if (mStore->OpenNewFileStore(mOutput.c_str()) != ISF_STATUS_OK) {
        fprintf(stderr, "palvorin: cannot write %s: %s\n", mOutput.c_str(),
                strerror(mStreams.mError != 0 ? mStreams.mError : EIO));
        return false;
    }
    mStart = Seconds();
    mLastProgress = mStart;
    return true;
}

eReadResult cRecording::ReadOnce(int fd, int timeoutMs, const sigset_t* waitMask, cStoreSink& sink) {
    const int kProgressMs = 250;
    int waitMs = timeoutMs;
    if (mProgress && (waitMs < 0 || waitMs > kProgressMs)) {
        waitMs = kProgressMs;
    }
    pollfd wait = {fd, POLLIN, 0};
    const timespec interval = {waitMs / 1000, (waitMs % 1000) * 1000L * 1000L};
    const int ready = ppoll(&wait, 1, waitMs < 0 ? nullptr : &interval, waitMask);
    eReadResult result = READ_NOTHING;
    if (ready < 0 && errno != EINTR) {
        mError = errno;
        return READ_FAILED;
    }
    if (ready > 0) {
        size_t room = 0;
        unsigned char* space = mDecoder->Space(room);
        const ssize_t got = read(fd, space, room);
        if (got < 0 && errno != EINTR && errno != EAGAIN) {
            mError = errno;
            return READ_FAILED;
        }
        sink.ChunkRead();
        const bool end = got == 0;
        if (!mDecoder->Decode(got > 0 ? static_cast<size_t>(got) : 0, end, sink)) {
            fprintf(stderr, "\npalvorin: writing %s failed: %s\n", mOutput.c_str(),
                    strerror(mStreams.mError != 0 ? mStreams.mError : EIO));
            return WRITE_FAILED;
        }
        result = end ? READ_END : READ_DATA;
    }
    const double now = Seconds();
    if (mProgress && now - mLastProgress >= 0.25) {
        ShowProgress(now);
        mLastProgress = now;
    }
    return result;
}

void cRecording::Flush(cStoreSink& sink) {
    sink.ChunkRead();
    mDecoder->Decode(0, true, sink);
}

void cRecording::ShowProgress(double now) {
    const double elapsed = now - mStart;
    fprintf(stderr, "\r%" PRIu64 " frames (%" PRIu64 " bad), %.1f MB, %" PRIu64 " items, %.1f MB/s   ",
            mDecoder->mFrames, mDecoder->mBadFrames, static_cast<double>(mDecoder->mBytes) / 1e6,
            mStore->mItems, elapsed > 0 ? static_cast<double>(mDecoder->mBytes) / 1e6 / elapsed : 0.0);
}

int cRecording::Close(int result, const cGSMTAPSender* live) {
    mStore->CloseFileStore();
    const double now = Seconds();
    const double elapsed = now - mStart;
    if (mProgress) {
        ShowProgress(now);
        fputc('\n', stderr);
    }
    if (result == 0 && !TrailerWritten(mOutput, mStore->mItems)) {
        fprintf(stderr, "palvorin: closing %s failed: the table and trailer are not complete\n",
                mOutput.c_str());
        result = 1;
    }
    if (StopSignal() != 0) {
        printf("stopped by %s\n", SignalName(StopSignal()));
    }
    const cFrameDecoder& decoder = *mDecoder;
    const cCountingStore& store = *mStore;
    printf("recorded %s into %s\n", mInput.c_str(), mOutput.c_str());
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
    if (live != nullptr) {
        live->Summary();
    }
    return result;
}
