// Live capture over any source (Source.h). The port stays silent until logging is switched on, so the
// session first configures it with log-configuration requests (command 115): logging off, debug-text
// messages silenced unless wanted, the item count of each equipment id, then the masks of the chosen log
// codes, and event reports on when chosen. Each request waits for its answer and is sent again after a
// time out, up to three times; every try is stored in the file as a request, in its place among the
// packets. Then every frame is recorded. A stop signal turns event reports and logging off before the
// file is closed.
//
// A device that goes away ends the capture with a non-zero exit, or with `mReconnect` the file stays
// open: the source is tried again every second (up to `mReconnectSeconds`, 0 for ever), configured again
// once it is back, and the recording goes on in the same file; the summary counts the gaps. A source that
// carries one direction (a FIFO) is recorded as it comes, with nothing configured, to its end (or, with
// mReconnect, to the end of each writer in turn).
#pragma once

#include <string>

#include "tools/palvorin/DiagAnswer.h"
#include "tools/palvorin/LogGroups.h"
#include "tools/palvorin/Recording.h"

struct sCaptureSetup {
    sLogChoice mChoice;
    bool mDebugText = false;       // leave the debug-text messages as the device has them
    int mTimeoutMs = 2000;         // wait for each answer, per try
    bool mReconnect = false;       // wait for a device that went away
    double mReconnectSeconds = 0;  // how long; 0: for ever
    int mRetryMs = 1000;           // between tries to open it again
};

class cCaptureSession : private cPacketSink {
public:
    // `source` is open; `recording` has its file open; both, and `signals`, outlive the session.
    cCaptureSession(const sCaptureSetup& setup, cSource& source, cRecording& recording,
                    const cStopSignals& signals);
    ~cCaptureSession() override;

    // Configures the device, records until a stop signal (0) or a failure (1, after a message on stderr),
    // and turns logging off on the way out while the device is there.
    int Run();

    cCaptureSession(const cCaptureSession&) = delete;
    cCaptureSession& operator=(const cCaptureSession&) = delete;

private:
    enum eExchange {
        EXCHANGE_ANSWERED,  // the awaited answer came (maybe an error reply)
        EXCHANGE_SILENT,    // no answer within the tries
        EXCHANGE_STOPPED,   // a stop signal came
        EXCHANGE_GONE,      // the device went away (mReason)
        EXCHANGE_FAILED,    // storing failed; said already
    };
    enum eConfigured {
        CONFIGURED,
        CONFIGURE_STOPPED,
        CONFIGURE_FAILED,  // refused, or storing failed: said already
        CONFIGURE_ABSENT,  // silent or gone: said already unless `quiet`
    };

    bool Packet(sSharedBuffer* packet) override;
    eExchange Exchange(sSharedBuffer* request, sAwaited& pending, int attempts, int waitMs, bool honourStop);
    bool Accepted(const sAwaited& pending, const char* what);
    eConfigured Configure(bool quiet);
    // Records until a stop (0), a failure (1) or the device going away (2).
    int Record();
    // Waits for the device to come back and configures it again: true once it is back.
    bool Reconnect(bool& stopped);
    void LoggingOff(int waitMs, bool warn);

    sCaptureSetup mSetup;
    cSource& mSource;
    cRecording& mRecording;
    const cStopSignals& mSignals;
    sAwaited* mAwaited = nullptr;  // the request in flight; not owned
    bool mGone = false;
    bool mEventsOn = false;
    std::string mReason;  // why the device is gone
};
