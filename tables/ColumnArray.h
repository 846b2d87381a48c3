// An array of fixed-size values that grows one at a time and is handed over whole to another runtime (a
// numpy array of the Python package) without a copy. It lives in a memory mapping of its own: growing
// moves the mapping's pages (mremap) instead of copying them, only the pages written take memory, and the
// receiver frees it with FreeColumnArray.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

// Frees an array a cColumnArray handed over (Release); null does nothing.
void FreeColumnArray(void* data);

// The untyped mapping behind cColumnArray.
class cColumnMapping {
public:
    cColumnMapping() {}
    ~cColumnMapping() { FreeColumnArray(mData); }
    // Room for at least `bytes` bytes; false when memory ran out (what is held stays).
    bool Reserve(size_t bytes);
    unsigned char* Data() const { return mData; }
    size_t Capacity() const { return mCapacity; }
    // Gives the whole pages among the first `bytes` bytes back to the system (they read as zeros after).
    void Discard(size_t bytes);
    // The mapping, now the caller's (free it with FreeColumnArray); null when nothing was ever reserved.
    unsigned char* Release();

    cColumnMapping(const cColumnMapping&) = delete;
    cColumnMapping& operator=(const cColumnMapping&) = delete;

private:
    unsigned char* mData = nullptr;  // owned: kHeaderSize bytes into the mapping
    size_t mCapacity = 0;            // bytes from mData to the mapping's end
};

template <class T>
class cColumnArray {
public:
    // False when memory ran out (the value is not kept).
    bool Push(T value) {
        if (mSize == mRoom && !Grow()) {
            return false;
        }
        reinterpret_cast<T*>(mMapping.Data())[mSize++] = value;
        return true;
    }
    // Appends `count` values; false when memory ran out (none is kept).
    bool Append(const T* values, size_t count) {
        while (mRoom - mSize < count) {
            if (!Grow()) {
                return false;
            }
        }
        if (count != 0) {
            memcpy(Data() + mSize, values, count * sizeof(T));
        }
        mSize += count;
        return true;
    }
    size_t Size() const { return mSize; }
    T* Data() const { return reinterpret_cast<T*>(mMapping.Data()); }
    // Gives the memory of the first `count` values back to the system, a whole page at a time, when they
    // have been read for the last time.
    void Discard(size_t count) { mMapping.Discard(count * sizeof(T)); }
    // The Size() values, now the caller's (free them with FreeColumnArray); null when there are none. The
    // array is empty afterwards.
    T* Release() {
        mSize = mRoom = 0;
        return reinterpret_cast<T*>(mMapping.Release());
    }

private:
    static const size_t kFirstBytes = 64 << 10;

    bool Grow() {
        const size_t bytes = mMapping.Capacity() < kFirstBytes ? kFirstBytes : mMapping.Capacity() * 2;
        if (!mMapping.Reserve(bytes)) {
            return false;
        }
        mRoom = mMapping.Capacity() / sizeof(T);
        return true;
    }

    cColumnMapping mMapping;
    size_t mSize = 0;
    size_t mRoom = 0;  // values that fit
};
