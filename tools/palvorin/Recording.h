// The part of `palvorin record` and `palvorin capture` that turns bytes read from a descriptor into items
// of an ISF file: the stop signals, the frame decoder and the counting store, the progress line on a
// terminal, the check of the closed file and the summary.
#pragma once

#include <signal.h>

#include <cstdint>
#include <initializer_list>
#include <memory>
#include <string>

#include "tools/palvorin/CountingStore.h"
#include "tools/palvorin/ErrnoStream.h"
#include "stream/FrameDecoder.h"
#include "stream/ItemClock.h"

class cGSMTAPSender;

// The given signals set a flag (StopSignal()) instead of ending the process. They are blocked except while
// waiting for input (ppoll with WaitMask()), so a stop request never falls between the check of the flag
// and the wait. The old handlers and mask come back on destruction.
class cStopSignals {
public:
    explicit cStopSignals(std::initializer_list<int> signals);
    ~cStopSignals();
    const sigset_t* WaitMask() const { return &mWaitMask; }
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

// Writes each decoded packet as an item from the device, stamped by the item clock, and hands it to the
// live GSMTAP sender when there is one.
class cStoreSink : public cPacketSink {
public:
    // `live` (may be null; kept by the caller, outliving the sink) receives every stored packet.
    cStoreSink(cCountingStore& store, const cItemClock& clock, cGSMTAPSender* live);
    void ChunkRead();
    bool Packet(sSharedBuffer* packet) override;
    // Stores a packet the tool itself sent (a request; kept by the caller) in its place among the others.
    unsigned int Sent(sSharedBuffer* packet);

    unsigned int mStatus = ISF_STATUS_OK;

private:
    cCountingStore& mStore;
    cGSMTAPSender* mLive;
    cItemClock mClock;
};

enum eReadResult {
    READ_DATA,     // bytes were read and their frames stored
    READ_NOTHING,  // the wait ended with nothing to read (time out or a signal)
    READ_END,      // the end of the input (a hang-up on a terminal); what was held is decoded
    READ_FAILED,   // waiting or reading failed (mError holds errno)
    WRITE_FAILED,  // storing an item failed; a message was printed
};

class cRecording {
public:
    // `input` names the source and `output` the ISF file in messages and the summary; `progress`: a
    // progress line on standard error.
    cRecording(std::string input, std::string output, bool progress);

    // Makes the decoder and the store and opens the output file; false after a message on stderr.
    bool Open();
    // Waits up to `timeoutMs` (-1: no limit) for input on `fd` with the signals of `waitMask` let through,
    // reads what there is and stores its frames through `sink` (made on Store()).
    eReadResult ReadOnce(int fd, int timeoutMs, const sigset_t* waitMask, cStoreSink& sink);
    // The input is over (a stop signal, a device gone): decodes what is still held; a frame cut there
    // counts as unclosed.
    void Flush(cStoreSink& sink);
    // Closes the file, ends the progress line, checks that the table and trailer were written, prints the
    // summary (after the stop signal's name, if one came) and that of `live` (may be null). Returns
    // `result`, or 1 when closing failed.
    int Close(int result, const cGSMTAPSender* live);

    cCountingStore& Store() { return *mStore; }
    const cFrameDecoder& Decoder() const { return *mDecoder; }
    int mError = 0;  // errno of the last READ_FAILED

private:
    void ShowProgress(double now);

    std::string mInput;
    std::string mOutput;
    bool mProgress;
    cErrnoStreamFactory mStreams;
    std::unique_ptr<cFrameDecoder> mDecoder;
    std::unique_ptr<cCountingStore> mStore;
    double mStart = 0;
    double mLastProgress = 0;
};
