// The signals that stop a recording (Ctrl-C, SIGTERM, a dropped ssh session, SIGQUIT) set a flag,
// StopSignal(), instead of ending the process, so that the file is closed properly.
//
// They are blocked except while the program waits for input (ppoll with WaitMask()), so that a stop
// request never falls between the check of the flag and the wait. A wait that finds input ready at once
// does not let a pending signal in, though: on an input that is always readable (a fast device, a big
// file) the signal would stay pending for ever. Deliver() lets pending stop signals in, and the reading
// loop calls it after every read.
#pragma once

#include <signal.h>

#include <initializer_list>

class cStopSignals {
public:
    // Installs the handler for `signals` (at most four) and blocks them; clears the flag.
    explicit cStopSignals(std::initializer_list<int> signals);
    // The old handlers and mask come back.
    ~cStopSignals();

    // The mask to wait with: the stop signals let through.
    const sigset_t* WaitMask() const { return &mWaitMask; }
    // Lets any pending stop signal in (its handler sets the flag). True when a stop was asked for.
    bool Deliver() const;
    // Waits up to `ms` milliseconds for a stop signal and nothing else. True when a stop was asked for.
    bool Sleep(int ms) const;

    cStopSignals(const cStopSignals&) = delete;
    cStopSignals& operator=(const cStopSignals&) = delete;

private:
    static const int kMaxSignals = 4;
    int mSignals[kMaxSignals];
    struct sigaction mOld[kMaxSignals];
    int mCount = 0;
    sigset_t mBlocked;
    sigset_t mWaitMask;
};

// The signal that asked to stop, or 0.
int StopSignal();
// "SIGINT", "SIGTERM", "SIGHUP", ...
const char* SignalName(int signal);
