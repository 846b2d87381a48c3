// Reference-counted byte buffer passed between every part of the library, and the one process-wide
// mutex that guards all reference counts.
#pragma once

#include <pthread.h>

// Largest usable buffer (65 x 256 bytes).
const unsigned int MAX_SHARED_BUFFER_SIZE = 16640;

// Every byte array the library allocates for a buffer carries at least this many zeroed bytes past the
// bytes it holds, so that fixed-offset reads of packet views that are deliberately left unguarded land
// on owned zeros.
const unsigned int SHARED_BUFFER_GUARD_SIZE = 64;

// Returns a new zero-filled array of size + SHARED_BUFFER_GUARD_SIZE bytes, allocated with array new, or
// null when memory runs out. The caller owns it (free with delete[] or hand it to the adopting
// constructor of sSharedBuffer).
unsigned char* NewGuardedArray(unsigned int size);

struct sSharedBuffer {
    // Copying constructor: the caller keeps its own bytes. A null pointer or a size outside
    // 1..MAX_SHARED_BUFFER_SIZE leaves the buffer empty. The copy carries the zeroed guard tail.
    sSharedBuffer(const unsigned char* data, unsigned int size, unsigned int protocol);

    // Adopting constructor (size first): takes ownership of `data`, an array allocated by the caller with
    // array new, in success and failure alike; with a size outside 1..MAX_SHARED_BUFFER_SIZE the array is
    // freed at once and the buffer stays empty. The array is the caller's allocation: it has a guard tail
    // only if the caller gave it one (arrays from NewGuardedArray do).
    sSharedBuffer(unsigned int size, unsigned char* data, unsigned int protocol);

    // Zeroes the first byte of the array before freeing it (deliberate: a stale pointer then reads 0).
    virtual ~sSharedBuffer();

    // Identity of the array, size, reference count and protocol, compared in that order. Equal contents in
    // two arrays compare unequal; the reference count is part of equality on purpose.
    bool operator==(const sSharedBuffer& other) const;
    bool operator!=(const sSharedBuffer& other) const;

    // Takes a reference. Holders that keep the pointer beyond one call take one, on usable buffers only.
    void AddRef();
    // Drops a reference; destroys the buffer (delete this) when the count was 0 or 1. A creator that holds
    // no counted reference may therefore destroy its fresh buffer with one Release().
    void Release();

    unsigned char* mData;    // owned array, null when empty
    unsigned int mSize;      // bytes in mData, 0 when empty
    unsigned int mProtocol;  // eProtocolType of the payload; never interpreted here
    unsigned int mRefCount;  // 0 after construction; guarded by gRefCount

    sSharedBuffer(const sSharedBuffer&) = delete;
    sSharedBuffer& operator=(const sSharedBuffer&) = delete;
};

// Guard of every reference count of every buffer: one ordinary (non-recursive) mutex. While it is not
// initialised (set-up failed, or the library is being unloaded) Lock() and Unlock() do nothing and the
// counts change without a lock.
class sSharedBufferSync {
public:
    sSharedBufferSync();
    ~sSharedBufferSync();
    void Lock();
    void Unlock();

    pthread_mutex_t mMutex;
    bool mInitialized;

    sSharedBufferSync(const sSharedBufferSync&) = delete;
    sSharedBufferSync& operator=(const sSharedBufferSync&) = delete;
};

extern sSharedBufferSync gRefCount;

// The usability test every consumer applies before touching a buffer's bytes: data present and
// 1 <= size <= MAX_SHARED_BUFFER_SIZE, written as a wrap-around test (size 0 becomes 0xFFFFFFFF).
inline bool IsUsableSize(unsigned int size) {
    return ((size - 1u) >> 8) <= 64u;
}  // 16640 = 65 x 256
inline bool IsUsableBuffer(const sSharedBuffer* buffer) {
    return buffer != nullptr && buffer->mData != nullptr && IsUsableSize(buffer->mSize);
}

// Wraps `data` (an array allocated with array new, usually by NewGuardedArray) in a new buffer with the
// adopting constructor. Returns the buffer (reference count 0, owned by the caller), or null with the
// array freed when memory for the buffer object runs out.
sSharedBuffer* NewAdoptingBuffer(unsigned int size, unsigned char* data, unsigned int protocol);
