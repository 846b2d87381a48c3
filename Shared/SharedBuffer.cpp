#include "Shared/SharedBuffer.h"

#include <cstring>
#include <new>

#include "Shared/Log.h"

// Constructed before any other static object of the library, so that buffers made during static
// initialisation elsewhere already count under the lock; destroyed at unload or exit.
sSharedBufferSync gRefCount __attribute__((init_priority(101)));

unsigned char* NewGuardedArray(unsigned int size) {
    return new (std::nothrow) unsigned char[static_cast<size_t>(size) + SHARED_BUFFER_GUARD_SIZE]();
}

sSharedBuffer* NewAdoptingBuffer(unsigned int size, unsigned char* data, unsigned int protocol) {
    sSharedBuffer* buffer = new (std::nothrow) sSharedBuffer(size, data, protocol);
    if (buffer == nullptr) {
        delete[] data;
    }
    return buffer;
}

sSharedBuffer::sSharedBuffer(const unsigned char* data, unsigned int size, unsigned int protocol)
    : mData(nullptr), mSize(0), mProtocol(protocol), mRefCount(0) {
    if (data == nullptr || !IsUsableSize(size)) {
        return;
    }
    unsigned char* copy = NewGuardedArray(size);
    if (copy == nullptr) {
        return;
    }
    memcpy(copy, data, size);
    mData = copy;
    mSize = size;
}

sSharedBuffer::sSharedBuffer(unsigned int size, unsigned char* data, unsigned int protocol)
    : mData(nullptr), mSize(0), mProtocol(protocol), mRefCount(0) {
    if (data == nullptr) {
        return;
    }
    if (!IsUsableSize(size)) {
        delete[] data;  // adopted in failure too: the caller never frees what it passed in
        return;
    }
    mData = data;
    mSize = size;
}

sSharedBuffer::~sSharedBuffer() {
    if (mData != nullptr) {
        mData[0] = 0;
        delete[] mData;
        mData = nullptr;
    }
}

bool sSharedBuffer::operator==(const sSharedBuffer& other) const {
    return mData == other.mData && mSize == other.mSize && mRefCount == other.mRefCount &&
           mProtocol == other.mProtocol;
}

bool sSharedBuffer::operator!=(const sSharedBuffer& other) const {
    return !(*this == other);
}

void sSharedBuffer::AddRef() {
    gRefCount.Lock();
    ++mRefCount;
    gRefCount.Unlock();
}

void sSharedBuffer::Release() {
    gRefCount.Lock();
    if (mRefCount == 0 || --mRefCount == 0) {
        delete this;  // under the lock; nothing below touches the buffer
    }
    gRefCount.Unlock();
}

sSharedBufferSync::sSharedBufferSync() : mMutex(PTHREAD_MUTEX_INITIALIZER), mInitialized(false) {
    const int result = pthread_mutex_init(&mMutex, nullptr);
    if (result == 0) {
        mInitialized = true;
    } else {
        PALVORIN_LOG(PALVORIN_TAG_SHARED, "SharedBuffer: Unable to init sync mutex. Error %d: %s\n", result,
                     strerror(result));
    }
}

sSharedBufferSync::~sSharedBufferSync() {
    mInitialized = false;  // first, so that any Lock()/Unlock() from here on does nothing
    const int result = pthread_mutex_destroy(&mMutex);
    if (result != 0) {
        PALVORIN_LOG(PALVORIN_TAG_SHARED, "SharedBuffer: Unable to destroy sync mutex. Error %d: %s\n",
                     result, strerror(result));
    }
}

void sSharedBufferSync::Lock() {
    if (!mInitialized) {
        return;
    }
    const int result = pthread_mutex_lock(&mMutex);
    if (result != 0) {
        // The caller changes the count all the same.
        PALVORIN_LOG(PALVORIN_TAG_SHARED, "SharedBuffer: Unable to lock sync mutex. Error %d: %s\n", result,
                     strerror(result));
    }
}

void sSharedBufferSync::Unlock() {
    if (!mInitialized) {
        return;
    }
    const int result = pthread_mutex_unlock(&mMutex);
    if (result != 0) {
        PALVORIN_LOG(PALVORIN_TAG_SHARED, "SharedBuffer: Unable to unlock sync mutex. Error %d: %s\n", result,
                     strerror(result));
    }
}
