#include "tools/palvorin/StopSignals.h"

#include <poll.h>

#include <cstring>

namespace {

volatile sig_atomic_t gStopSignal = 0;

void OnStopSignal(int signal) {
    gStopSignal = signal;
}

}  // namespace

cStopSignals::cStopSignals(std::initializer_list<int> signals) {
    gStopSignal = 0;
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
    // Unblocked while the handler is still this one: a pending stop signal sets the flag, not the old
    // action (which might end the process).
    sigprocmask(SIG_UNBLOCK, &mBlocked, nullptr);
    for (int i = 0; i < mCount; ++i) {
        sigaction(mSignals[i], &mOld[i], nullptr);
    }
}

bool cStopSignals::Deliver() const {
    sigset_t pending;
    if (sigpending(&pending) == 0) {
        for (int i = 0; i < mCount; ++i) {
            if (sigismember(&pending, mSignals[i]) == 1) {
                // Unblocking delivers the pending signal before sigprocmask returns.
                sigset_t old;
                sigprocmask(SIG_SETMASK, &mWaitMask, &old);
                sigprocmask(SIG_SETMASK, &old, nullptr);
                break;
            }
        }
    }
    return gStopSignal != 0;
}

bool cStopSignals::Sleep(int ms) const {
    const timespec interval = {ms / 1000, (ms % 1000) * 1000L * 1000L};
    ppoll(nullptr, 0, &interval, &mWaitMask);
    return gStopSignal != 0;
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
