// The mutex failure paths of the reference-count guard, and the zeroing of a buffer's first byte before
// its array is freed: this executable replaces the pthread mutex calls and the global array delete.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <pthread.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <new>
#include <string>
#include <vector>

#include "Shared/SharedBuffer.h"
#include "tests/LogCapture.h"

namespace {

enum eMutexCall { kInit, kLock, kUnlock, kDestroy };

// Calls on the scripted mutex answer gScript[call] and never reach the real functions; every other
// mutex (the test framework's, the library's global one) works as usual.
const pthread_mutex_t* gScripted = nullptr;
int gScript[4] = {};

template <typename... Args>
int Call(eMutexCall call, const char* name, pthread_mutex_t* mutex, Args... args) {
    if (mutex == gScripted) {
        return gScript[call];
    }
    return reinterpret_cast<int (*)(pthread_mutex_t*, Args...)>(dlsym(RTLD_NEXT, name))(mutex, args...);
}

// First byte of the array freed while gWatchArray points at it.
const void* gWatchArray = nullptr;
int gFirstByteAtFree = -1;

}  // namespace

extern "C" int pthread_mutex_init(pthread_mutex_t* mutex, const pthread_mutexattr_t* attributes) {
    return Call(kInit, "pthread_mutex_init", mutex, attributes);
}
extern "C" int pthread_mutex_lock(pthread_mutex_t* mutex) {
    return Call(kLock, "pthread_mutex_lock", mutex);
}
extern "C" int pthread_mutex_unlock(pthread_mutex_t* mutex) {
    return Call(kUnlock, "pthread_mutex_unlock", mutex);
}
extern "C" int pthread_mutex_destroy(pthread_mutex_t* mutex) {
    return Call(kDestroy, "pthread_mutex_destroy", mutex);
}

void operator delete[](void* array) noexcept {
    if (array != nullptr && array == gWatchArray) {
        gFirstByteAtFree = *static_cast<unsigned char*>(array);
    }
    free(array);
}
void operator delete[](void* array, size_t) noexcept {
    operator delete[](array);
}

namespace {

TEST(SharedBufferSync, EachMutexFailureIsLoggedWithItsCodeAndText) {
    const struct {
        eMutexCall mCall;
        int mCode;
        const char* mMessage;
    } cases[] = {
        {kInit, EAGAIN,
         "SharedBuffer: Unable to init sync mutex. Error 11: Resource temporarily unavailable"},
        {kLock, EINVAL, "SharedBuffer: Unable to lock sync mutex. Error 22: Invalid argument"},
        {kUnlock, EPERM, "SharedBuffer: Unable to unlock sync mutex. Error 1: Operation not permitted"},
        {kDestroy, EBUSY, "SharedBuffer: Unable to destroy sync mutex. Error 16: Device or resource busy"},
    };
    for (const auto& c : cases) {
        alignas(sSharedBufferSync) unsigned char storage[sizeof(sSharedBufferSync)];
        gScripted = reinterpret_cast<const pthread_mutex_t*>(storage + offsetof(sSharedBufferSync, mMutex));
        std::fill(gScript, gScript + 4, 0);
        gScript[c.mCall] = c.mCode;

        cLogCapture log;
        sSharedBufferSync* sync = new (storage) sSharedBufferSync;
        EXPECT_EQ(sync->mInitialized, c.mCall != kInit);
        sync->Lock();
        sync->Unlock();
        sync->~sSharedBufferSync();
        EXPECT_FALSE(sync->mInitialized);
        gScripted = nullptr;

        EXPECT_EQ(log.Texts(), std::vector<std::string>{c.mMessage});
    }
}

TEST(SharedBufferSync, CountsStillWorkWhileTheMutexIsNotSetUp) {
    // Any lock or unlock of the global mutex would now fail and be logged.
    gRefCount.mInitialized = false;
    gScripted = &gRefCount.mMutex;
    std::fill(gScript, gScript + 4, EINVAL);
    cLogCapture log;
    sSharedBuffer* buffer = new sSharedBuffer(reinterpret_cast<const unsigned char*>("xyz"), 3, 3);
    buffer->AddRef();
    buffer->AddRef();
    buffer->Release();
    EXPECT_EQ(buffer->mRefCount, 1u);
    gWatchArray = buffer->mData;
    gFirstByteAtFree = -1;
    buffer->Release();
    gWatchArray = nullptr;
    EXPECT_EQ(gFirstByteAtFree, 0) << "destroyed by the last release, its first byte zeroed before the free";
    EXPECT_TRUE(log.Lines().empty()) << "no lock was attempted";
    gScripted = nullptr;
    gRefCount.mInitialized = true;
}

}  // namespace
