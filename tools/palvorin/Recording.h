// The part of `palvorin record` and `palvorin capture` that turns what a source gives into ISF files: the
// stream recorder (StreamRecorder.h) over the counting store, the rotation of the output (Rotation.h), the
// live GSMTAP sender, the progress line on a terminal, the check of every file closed and the summary.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "tools/palvorin/CountingStore.h"
#include "tools/palvorin/ErrnoStream.h"
#include "tools/palvorin/Rotation.h"
#include "tools/palvorin/Source.h"
#include "tools/palvorin/StopSignals.h"
#include "tools/palvorin/StreamRecorder.h"

class cGSMTAPSender;

enum eReadResult {
    READ_DATA,     // bytes were read and their frames stored
    READ_NOTHING,  // the wait ended with nothing to read (time out or a signal)
    READ_END,      // the input ended in order; what was held is decoded (Reason())
    READ_GONE,     // the source went away or failed (Reason()); what was held is decoded
    WRITE_FAILED,  // storing an item or starting the next file failed; a message was printed
};

struct sRecordingSetup {
    std::string mInput;      // the source, in the summary
    std::string mOutput;     // the first file; the next ones are named after it (Rotation.h)
    bool mProgress = false;  // a progress line on standard error
    sRotationLimits mRotation;
};

class cRecording : private cPacketSink {
public:
    explicit cRecording(const sRecordingSetup& setup);
    ~cRecording() override;

    // Makes the store and opens the first file, whose items `clock` stamps; false after a message on stderr.
    bool Open(const cItemClock& clock);
    // `live` and `watcher` (each may be null; kept by the caller, outliving this object) see every packet
    // stored: the live GSMTAP sender, and the capture's matching of answers.
    void SetLive(cGSMTAPSender* live) { mLive = live; }
    void SetWatcher(cPacketSink* watcher) { mWatcher = watcher; }

    // Waits up to `timeoutMs` (-1: no limit) for `source` with the stop signals let in, reads what there
    // is and stores its frames; lets in a stop signal that came while the input was ready anyway. The
    // wait is cut short for the progress line and a time rotation.
    eReadResult ReadOnce(cSource& source, int timeoutMs, const cStopSignals& signals);
    // Stores a request the tool sent, in its place among the packets; false after a message when it failed.
    bool Sent(sSharedBuffer* request);
    // The input broke off (a stop, a device gone): decodes what is held; a frame cut there counts as bad.
    void Flush();
    // A time the source was away and came back, for the summary.
    void Gap(double seconds);
    // Closes the file, ends the progress line, checks that its table and trailer were written and that it
    // reached the disk, prints the summary (after the stop signal's name, if one came) and that of `live`
    // (may be null). Returns `result`, or 1 when closing failed.
    int Close(int result, const cGSMTAPSender* live);

    const cFrameDecoder& Decoder() const { return mRecorder->Decoder(); }
    const cCountingStore& Store() const { return *mStore; }
    const std::vector<std::string>& Files() const { return mFiles; }
    // Why the last READ_END or READ_GONE came.
    const std::string& Reason() const { return mReason; }

    cRecording(const cRecording&) = delete;
    cRecording& operator=(const cRecording&) = delete;

private:
    bool Packet(sSharedBuffer* packet) override;
    // Closes the file in use and checks it; false after a message.
    bool CloseFile();
    // Begins the next file when the one in use is due; false after a message when that failed.
    bool RotateIfDue(double now);
    void WriteFailed();
    void ShowProgress(double now);

    sRecordingSetup mSetup;
    cErrnoStreamFactory mStreams;
    std::unique_ptr<cCountingStore> mStore;
    std::unique_ptr<cStreamRecorder> mRecorder;
    cRotation mRotation;
    cGSMTAPSender* mLive = nullptr;
    cPacketSink* mWatcher = nullptr;
    std::vector<std::string> mFiles;  // every file begun, the one in use last
    uint64_t mItemsAtOpen = 0;        // the store's count when the file in use was begun
    bool mOpen = false;
    bool mFailed = false;  // a message was printed
    double mNow = 0;       // when the chunk being decoded was read
    double mStart = 0;
    double mLastProgress = 0;
    uint64_t mGaps = 0;
    double mGapSeconds = 0;
    double mLongestGap = 0;
    std::string mReason;
};
