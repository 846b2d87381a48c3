#include "stream/CaptureFileKind.h"

#include <errno.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <new>
#include <vector>

#include "jni/ISFFormat.h"
#include "stream/FrameDecoder.h"

namespace {

class cCountOnly : public cPacketSink {
public:
    bool Packet(sSharedBuffer* packet) override {
        (void)packet;
        return true;
    }
};

}  // namespace

eCaptureFileKind CaptureKindOf(const unsigned char* data, size_t size, bool whole) {
    if (size == 0) {
        return whole ? CAPTURE_FILE_EMPTY : CAPTURE_FILE_UNKNOWN;
    }
    if (size >= ISF_HEADER_SIZE && GetLE(data, ISF_HEADER_SIZE) == ISF_HEADER_MAGIC) {
        return CAPTURE_FILE_ISF;
    }
    std::unique_ptr<cFrameDecoder> decoder(new (std::nothrow) cFrameDecoder());
    if (!decoder || !decoder->Ready()) {
        return CAPTURE_FILE_UNREADABLE;
    }
    cCountOnly sink;
    size_t at = 0;
    while (at < size) {
        size_t room = 0;
        unsigned char* space = decoder->Space(room);
        const size_t n = std::min(room, size - at);
        memcpy(space, data + at, n);
        at += n;
        decoder->Decode(n, whole && at == size, sink);
    }
    return decoder->mFrames > 0 && decoder->mFrames >= decoder->mBadFrames ? CAPTURE_FILE_RAW
                                                                           : CAPTURE_FILE_UNKNOWN;
}

eCaptureFileKind CaptureFileKindOf(const std::string& path, int& error) {
    error = 0;
    const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY);
    if (fd < 0) {
        error = errno;
        return CAPTURE_FILE_UNREADABLE;
    }
    std::vector<unsigned char> start(kCaptureSniffSize + 1);
    size_t held = 0;
    while (held < start.size()) {
        const ssize_t got = read(fd, start.data() + held, start.size() - held);
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got < 0) {
            error = errno;
            close(fd);
            return CAPTURE_FILE_UNREADABLE;
        }
        if (got == 0) {
            break;
        }
        held += static_cast<size_t>(got);
    }
    close(fd);
    // One byte more than the sample says whether the sample is the whole file.
    const bool whole = held <= kCaptureSniffSize;
    return CaptureKindOf(start.data(), std::min(held, kCaptureSniffSize), whole);
}
