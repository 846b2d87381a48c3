#include "Shared/HDLC.h"

#include <cstdint>
#include <cstring>

#include "Shared/CRC.h"
#include "Shared/Log.h"

namespace {

inline bool IsReserved(unsigned char byte) {
    return byte == AHDLC_FLAG || byte == AHDLC_ESCAPE;
}

// Length of the leading run of bytes that need no stuffing. Eight bytes are tested per step: a byte
// equals 0x7D or 0x7E exactly when one of the XORs below makes it zero, and the lowest flagged byte of
// the zero-byte test is always a true zero (a false flag can only sit above one).
size_t PlainRunLength(const unsigned char* data, size_t length) {
    size_t i = 0;
#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
    const uint64_t kOnes = 0x0101010101010101ull;
    const uint64_t kHighs = 0x8080808080808080ull;
    for (; i + 8 <= length; i += 8) {
        uint64_t word;
        memcpy(&word, data + i, 8);
        const uint64_t escapes = word ^ (kOnes * AHDLC_ESCAPE);
        const uint64_t flags = word ^ (kOnes * AHDLC_FLAG);
        const uint64_t zeros = ((escapes - kOnes) & ~escapes & kHighs) | ((flags - kOnes) & ~flags & kHighs);
        if (zeros != 0) {
            return i + static_cast<size_t>(__builtin_ctzll(zeros) / 8);
        }
    }
#endif
    while (i < length && !IsReserved(data[i])) {
        ++i;
    }
    return i;
}

inline unsigned char* PutStuffed(unsigned char* out, unsigned char byte) {
    if (IsReserved(byte)) {
        *out++ = AHDLC_ESCAPE;
        *out++ = static_cast<unsigned char>(byte ^ AHDLC_ESC_M);
    } else {
        *out++ = byte;
    }
    return out;
}

// Position (from `data`) of the closing flag: the first 0x7E at index 3 or later whose previous byte is
// not 0x7D, or `length` when there is none.
size_t FindClosingFlag(const unsigned char* data, size_t length) {
    size_t i = 3;
    while (i < length) {
        const void* hit = memchr(data + i, AHDLC_FLAG, length - i);
        if (hit == nullptr) {
            return length;
        }
        i = static_cast<size_t>(static_cast<const unsigned char*>(hit) - data);
        if (data[i - 1] != AHDLC_ESCAPE) {
            return i;
        }
        ++i;
    }
    return length;
}

// Unstuffs `length` bytes into `out` and returns the count written. A 0x7D that is the last byte is kept.
size_t Unstuff(const unsigned char* in, size_t length, unsigned char* out) {
    size_t j = 0;
    size_t k = 0;
    while (j < length) {
        const void* hit = memchr(in + j, AHDLC_ESCAPE, length - j);
        const size_t escape = hit ? static_cast<size_t>(static_cast<const unsigned char*>(hit) - in) : length;
        memcpy(out + k, in + j, escape - j);
        k += escape - j;
        j = escape;
        if (j >= length) {
            break;
        }
        if (j + 1 < length) {
            out[k++] = static_cast<unsigned char>(in[j + 1] ^ AHDLC_ESC_M);
            j += 2;
        } else {
            out[k++] = in[j++];
        }
    }
    return k;
}

}  // namespace

sSharedBuffer* HDLCEncode(sSharedBuffer* packet, bool leadingFlag) {
    if (!IsUsableBuffer(packet)) {
        return nullptr;
    }
    const unsigned char* payload = packet->mData;
    const size_t n = packet->mSize;
    const unsigned short crc = CalculateCRC(payload, packet->mSize * 8u);  // size <= 16640: no overflow

    // Worst case: leading flag, every byte stuffed, both check bytes stuffed, closing flag.
    unsigned char* frame = NewGuardedArray(static_cast<unsigned int>(2 * n + 6));
    if (frame == nullptr) {
        return nullptr;
    }
    unsigned char* out = frame;
    if (leadingFlag) {
        *out++ = AHDLC_FLAG;
    }
    size_t i = 0;
    while (i < n) {
        const size_t run = PlainRunLength(payload + i, n - i);
        memcpy(out, payload + i, run);
        out += run;
        i += run;
        if (i < n) {
            out = PutStuffed(out, payload[i++]);
        }
    }
    out = PutStuffed(out, static_cast<unsigned char>(crc & 0xFF));
    out = PutStuffed(out, static_cast<unsigned char>(crc >> 8));
    *out++ = AHDLC_FLAG;

    // A frame above MAX_SHARED_BUFFER_SIZE is dropped by the adopting constructor: empty, not null.
    const unsigned int frameLength = static_cast<unsigned int>(out - frame);
    return NewAdoptingBuffer(frameLength, frame, packet->mProtocol);
}

sSharedBuffer* HDLCDecode(sSharedBuffer* frame, unsigned int* consumed) {
    if (!IsUsableBuffer(frame) || consumed == nullptr) {
        return nullptr;
    }
    *consumed = 0;

    // An opening flag is skipped and, deliberately, not counted in `consumed`.
    const unsigned char* start = frame->mData;
    size_t n = frame->mSize;
    if (start[0] == AHDLC_FLAG) {
        ++start;
        --n;
    }
    // The first three bytes are never taken as the closing flag.
    if (n >= 4) {
        const size_t flag = FindClosingFlag(start, n);
        if (flag < n) {
            n = flag + 1;
        }
    }
    if (n == 0) {
        PALVORIN_LOG(PALVORIN_TAG_SHARED, "bad sz\n");
        return nullptr;
    }
    if (start[n - 1] != AHDLC_FLAG) {
        return nullptr;
    }
    *consumed = static_cast<unsigned int>(n);

    const size_t m = n - 1;
    unsigned char* packet = NewGuardedArray(static_cast<unsigned int>(m));
    if (packet == nullptr) {
        return nullptr;
    }
    const size_t k = Unstuff(start, m, packet);
    if (!CheckCRC(packet, static_cast<unsigned int>(k))) {
        PALVORIN_LOG(PALVORIN_TAG_SHARED, "CheckCRC failure\n");
        delete[] packet;
        return nullptr;
    }
    // The check bytes stay in the array behind the payload. With k below 3 the size is 0 or wraps round,
    // and the adopting constructor frees the array: an empty, non-null buffer.
    return NewAdoptingBuffer(static_cast<unsigned int>(k - 2), packet, frame->mProtocol);
}
