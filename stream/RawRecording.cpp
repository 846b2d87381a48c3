#include "stream/RawRecording.h"

#include <errno.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstring>
#include <memory>
#include <new>

#include "jni/ISFStore.h"
#include "stream/FrameDecoder.h"

namespace {

// Stores each good frame as an item from the device, stamped by the clock.
class cStoringSink : public cPacketSink {
public:
    cStoringSink(cISFStore& store, cItemClock& clock) : mStore(store), mClock(clock) {}
    bool Packet(sSharedBuffer* packet) override {
        mStatus = mStore.WriteItem(packet, mClock.Stamp(packet->mData, packet->mSize), ITEM_TYPE_DERIVE);
        return mStatus == ISF_STATUS_OK;
    }
    unsigned int mStatus = ISF_STATUS_OK;

private:
    cISFStore& mStore;
    cItemClock& mClock;
};

// Every item reaches the file through InternalWriteItem (the tool-version record, rebuilt blocks and kept
// responses too), so counting there gives the count the trailer must hold.
class cCountingItems : public cISFStore {
public:
    explicit cCountingItems(cISFStreamFactory* streams) : cISFStore(streams) {}
    unsigned int InternalWriteItem(sSharedBuffer* item, FILETIME time, unsigned int type) override {
        const unsigned int status = cISFStore::InternalWriteItem(item, time, type);
        mItems += status == ISF_STATUS_OK ? 1 : 0;
        return status;
    }
    uint64_t mItems = 0;
};

// The store never reports a failed close: the trailer read back says whether the table and trailer made it.
bool TrailerHolds(const std::string& path, uint64_t items) {
    const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        return false;
    }
    unsigned char trailer[ISF_TRAILER_SIZE];
    const off_t size = lseek(fd, 0, SEEK_END);
    const bool read = size >= static_cast<off_t>(ISF_TRAILER_SIZE) &&
                      pread(fd, trailer, sizeof trailer, size - static_cast<off_t>(sizeof trailer)) ==
                          static_cast<ssize_t>(sizeof trailer);
    close(fd);
    return read && GetLE(trailer + ISF_TRAILER_MAGIC_OFFSET, 4) == ISF_TRAILER_MAGIC &&
           GetLE(trailer + ISF_TRAILER_COUNT_OFFSET, 4) == (items & 0xFFFFFFFFu);
}

}  // namespace

long cDescriptorInput::Read(unsigned char* into, size_t room) {
    for (;;) {
        const ssize_t got = read(mFd, into, room);
        if (got >= 0 || errno != EINTR) {
            return static_cast<long>(got);
        }
    }
}

sRawRecording RecordRawStream(cRawInput& input, cISFStore& store, cItemClock& clock) {
    sRawRecording recording;
    std::unique_ptr<cFrameDecoder> decoder(new (std::nothrow) cFrameDecoder());
    if (!decoder || !decoder->Ready()) {
        recording.mStatus = RAW_RECORDING_NO_MEMORY;
        return recording;
    }
    cStoringSink sink(store, clock);
    for (;;) {
        size_t room = 0;
        unsigned char* space = decoder->Space(room);
        const long got = input.Read(space, room);
        if (got < 0) {
            recording.mStatus = RAW_RECORDING_READ_FAILED;
            recording.mErrno = errno;
        }
        clock.ChunkRead(CurrentFiletime());
        // A failed read ends the input as its end would: the frames before it are stored.
        const bool end = got <= 0;
        if (!decoder->Decode(got > 0 ? static_cast<size_t>(got) : 0, end, sink)) {
            recording.mStatus = RAW_RECORDING_WRITE_FAILED;
            recording.mStoreStatus = sink.mStatus;
            break;
        }
        if (end) {
            break;
        }
    }
    recording.mBytes = decoder->mBytes;
    recording.mFrames = decoder->mFrames;
    recording.mBadFrames = decoder->mBadFrames;
    recording.mLeadingBytes = decoder->mLeadingBytes;
    recording.mUnclosedBytes = decoder->mUnclosedBytes;
    return recording;
}

sRawRecording RecordRawFile(const std::string& input, const std::string& output, cISFStreamFactory* streams) {
    sRawRecording recording;
    const int fd = open(input.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY);
    if (fd < 0) {
        recording.mStatus = RAW_RECORDING_CANNOT_OPEN;
        recording.mErrno = errno;
        return recording;
    }
    std::unique_ptr<cCountingItems> store(new (std::nothrow) cCountingItems(streams));
    if (!store) {
        close(fd);
        recording.mStatus = RAW_RECORDING_NO_MEMORY;
        return recording;
    }
    errno = 0;
    if (store->OpenNewFileStore(output.c_str()) != ISF_STATUS_OK) {
        recording.mErrno = errno;
        close(fd);
        recording.mStatus = RAW_RECORDING_CANNOT_CREATE;
        return recording;
    }
    cDescriptorInput from(fd);
    cItemClock clock(ITEM_CLOCK_PACKET);
    recording = RecordRawStream(from, *store, clock);
    close(fd);
    store->CloseFileStore();
    recording.mItems = store->mItems;
    if (recording.mStatus == RAW_RECORDING_OK && !TrailerHolds(output, recording.mItems)) {
        recording.mStatus = RAW_RECORDING_WRITE_FAILED;
    }
    return recording;
}

std::string RawRecordingError(const sRawRecording& recording, const std::string& input,
                              const std::string& output) {
    switch (recording.mStatus) {
        case RAW_RECORDING_OK:
            return std::string();
        case RAW_RECORDING_NO_MEMORY:
            return "recording " + input + ": out of memory";
        case RAW_RECORDING_CANNOT_OPEN:
            return "cannot open " + input + ": " + strerror(recording.mErrno);
        case RAW_RECORDING_READ_FAILED:
            return "cannot read " + input + ": " + strerror(recording.mErrno);
        case RAW_RECORDING_CANNOT_CREATE:
            return "cannot create " + output +
                   (recording.mErrno != 0 ? std::string(": ") + strerror(recording.mErrno) : std::string());
        case RAW_RECORDING_WRITE_FAILED:
            return "writing " + output + " failed" +
                   (recording.mStoreStatus != 0
                        ? " (store status " + std::to_string(recording.mStoreStatus) + ")"
                        : std::string(" (no table and trailer)"));
    }
    return "recording " + input + " failed";
}
