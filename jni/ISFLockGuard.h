// Holds a POSIX mutex for the life of a scope.
#pragma once

#include <pthread.h>

class cLockGuard {
public:
    explicit cLockGuard(pthread_mutex_t& mutex) : mMutex(mutex) { pthread_mutex_lock(&mMutex); }
    ~cLockGuard() { pthread_mutex_unlock(&mMutex); }
    cLockGuard(const cLockGuard&) = delete;
    cLockGuard& operator=(const cLockGuard&) = delete;

private:
    pthread_mutex_t& mMutex;
};
