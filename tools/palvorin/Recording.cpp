#include "tools/palvorin/Recording.h"

#include <errno.h>
#include <time.h>

#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <new>

#include "jni/ISFFileLimit.h"
#include "tools/palvorin/GSMTAPSender.h"
#include "tools/palvorin/ItemInfo.h"

namespace {

const int kProgressMs = 250;
const size_t kFilesListed = 4;  // more are shown as the first, the count and the last

double Seconds() {
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
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

// The system's reason, with the limit named when it is the file-size limit.
std::string ErrorText(int error) {
    std::string text = strerror(error != 0 ? error : EIO);
    if (error == EFBIG && FileSizeLimit() != ~0ULL) {
        text += " (the file-size limit, ulimit -f, allows " + std::to_string(FileSizeLimit()) + " bytes)";
    }
    return text;
}

}  // namespace

cRecording::cRecording(const sRecordingSetup& setup) : mSetup(setup), mRotation(setup.mRotation) {}

cRecording::~cRecording() {}

bool cRecording::Open(const cItemClock& clock) {
    mStore.reset(new (std::nothrow) cCountingStore(&mStreams));
    if (mStore) {
        mRecorder.reset(new (std::nothrow) cStreamRecorder(*mStore, clock, this));
    }
    if (!mRecorder || !mRecorder->Ready()) {
        fprintf(stderr, "palvorin: out of memory\n");
        return false;
    }
    if (mStore->OpenNewFileStore(mSetup.mOutput.c_str()) != ISF_STATUS_OK) {
        fprintf(stderr, "palvorin: cannot write %s: %s\n", mSetup.mOutput.c_str(),
                ErrorText(mStreams.mError).c_str());
        return false;
    }
    mOpen = true;
    mFiles.push_back(mSetup.mOutput);
    mStart = Seconds();
    mNow = mStart;
    mLastProgress = mStart;
    mRotation.Started(mStart);
    return true;
}

bool cRecording::Packet(sSharedBuffer* packet) {
    if (mLive != nullptr) {
        mLive->Packet(packet);
    }
    if (mWatcher != nullptr) {
        mWatcher->Packet(packet);
    }
    return RotateIfDue(mNow);
}

void cRecording::WriteFailed() {
    if (!mFailed) {
        fprintf(stderr, "%spalvorin: writing %s failed: %s\n", mSetup.mProgress ? "\n" : "",
                mFiles.back().c_str(), ErrorText(mStreams.mError).c_str());
        mFailed = true;
    }
}

bool cRecording::CloseFile() {
    if (!mOpen) {
        return !mFailed;
    }
    mStore->CloseFileStore();
    mOpen = false;
    const std::string& path = mFiles.back();
    if (mStreams.mCloseError != 0) {
        fprintf(stderr, "palvorin: closing %s failed: %s\n", path.c_str(),
                ErrorText(mStreams.mCloseError).c_str());
        mFailed = true;
        return false;
    }
    if (!mFailed && !TrailerWritten(path, mStore->mItems - mItemsAtOpen)) {
        fprintf(stderr, "palvorin: closing %s failed: the table and trailer are not complete\n",
                path.c_str());
        mFailed = true;
        return false;
    }
    return !mFailed;
}

bool cRecording::RotateIfDue(double now) {
    if (!mOpen || !mRotation.Due(mStreams.mSize, now)) {
        return !mFailed;
    }
    if (!CloseFile()) {
        return false;
    }
    const std::string next = RotatedPath(mSetup.mOutput, static_cast<unsigned int>(mFiles.size()));
    mItemsAtOpen = mStore->mItems;
    if (mStore->OpenNewFileStore(next.c_str()) != ISF_STATUS_OK) {
        fprintf(stderr, "%spalvorin: cannot write %s: %s\n", mSetup.mProgress ? "\n" : "", next.c_str(),
                ErrorText(mStreams.mError).c_str());
        mFailed = true;
        return false;
    }
    mOpen = true;
    mFiles.push_back(next);
    mRotation.Started(now);
    return true;
}

eReadResult cRecording::ReadOnce(cSource& source, int timeoutMs, const cStopSignals& signals) {
    int waitMs = timeoutMs;
    if (mSetup.mProgress && (waitMs < 0 || waitMs > kProgressMs)) {
        waitMs = kProgressMs;
    }
    if (mSetup.mRotation.mSeconds > 0) {
        const double left = mRotation.SecondsLeft(Seconds()) * 1000 + 1;
        const int leftMs = left < 1 ? 1 : (left > 1e9 ? 1000000000 : static_cast<int>(left));
        waitMs = waitMs < 0 || waitMs > leftMs ? leftMs : waitMs;
    }
    size_t room = 0;
    unsigned char* space = mRecorder->Space(room);
    size_t got = 0;
    const eSourceRead read = source.Read(space, room, got, waitMs, signals.WaitMask());
    signals.Deliver();
    mNow = Seconds();
    const FILETIME readTime = CurrentFiletime();
    eReadResult result = READ_NOTHING;
    bool stored = true;
    switch (read) {
        case SOURCE_DATA:
            stored = mRecorder->Decode(got, readTime);
            result = READ_DATA;
            break;
        case SOURCE_END:
        case SOURCE_GONE:
            mReason = source.Reason();
            stored = mRecorder->End(readTime);
            result = read == SOURCE_END ? READ_END : READ_GONE;
            break;
        case SOURCE_IDLE:
            stored = RotateIfDue(mNow);
            break;
    }
    if (!stored) {
        WriteFailed();
        return WRITE_FAILED;
    }
    if (mSetup.mProgress && mNow - mLastProgress >= kProgressMs / 1000.0) {
        ShowProgress(mNow);
        mLastProgress = mNow;
    }
    return result;
}

bool cRecording::Sent(sSharedBuffer* request) {
    if (mRecorder->Sent(request, CurrentFiletime()) != ISF_STATUS_OK || !RotateIfDue(Seconds())) {
        WriteFailed();
        return false;
    }
    return true;
}

void cRecording::Flush() {
    if (!mRecorder->End(CurrentFiletime())) {
        WriteFailed();
    }
}

void cRecording::Gap(double seconds) {
    ++mGaps;
    mGapSeconds += seconds;
    mLongestGap = seconds > mLongestGap ? seconds : mLongestGap;
}

void cRecording::ShowProgress(double now) {
    const double elapsed = now - mStart;
    const cFrameDecoder& decoder = mRecorder->Decoder();
    fprintf(stderr, "\r%" PRIu64 " frames (%" PRIu64 " bad), %.1f MB, %" PRIu64 " items, %.1f MB/s   ",
            decoder.mFrames, decoder.mBadFrames, static_cast<double>(decoder.mBytes) / 1e6, mStore->mItems,
            elapsed > 0 ? static_cast<double>(decoder.mBytes) / 1e6 / elapsed : 0.0);
}

int cRecording::Close(int result, const cGSMTAPSender* live) {
    const bool wasFailed = mFailed;
    if (!CloseFile() && result == 0) {
        result = 1;
    }
    if (wasFailed && mFiles.size() > 0) {
        printf("%s holds the items stored before the failure: palvorin verify --allow-unclosed %s\n",
               mFiles.back().c_str(), mFiles.back().c_str());
    }
    const double now = Seconds();
    const double elapsed = now - mStart;
    if (mSetup.mProgress) {
        ShowProgress(now);
        fputc('\n', stderr);
    }
    if (StopSignal() != 0) {
        printf("stopped by %s\n", SignalName(StopSignal()));
    }
    const cFrameDecoder& decoder = mRecorder->Decoder();
    const cCountingStore& store = *mStore;
    printf("recorded %s into %s\n", mSetup.mInput.c_str(), mSetup.mOutput.c_str());
    if (mFiles.size() > 1) {
        printf("  files            %zu:", mFiles.size());
        for (size_t i = 0; i < mFiles.size(); ++i) {
            if (mFiles.size() <= kFilesListed || i == 0 || i + 1 == mFiles.size()) {
                printf(" %s", mFiles[i].c_str());
            } else if (i == 1) {
                printf(" ...");
            }
        }
        printf("\n");
    }
    if (mGaps != 0) {
        printf("  gaps             %" PRIu64 " (the source was away %.1f s in all, %.1f s at most)\n", mGaps,
               mGapSeconds, mLongestGap);
    }
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
