// palvorin record: a raw diagnostic stream into ISF files, until the end of the input or a stop signal.
// The source is only read: nothing is sent to it.

#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <memory>
#include <string>

#include "stream/ItemClock.h"
#include "tools/palvorin/Commands.h"
#include "tools/palvorin/GSMTAPSender.h"
#include "tools/palvorin/RecordSetup.h"
#include "tools/palvorin/Recording.h"

namespace {

cItemClock ClockOf(const sRecordOptions& options) {
    if (options.mRate <= 0) {
        return cItemClock(options.mHostClock ? ITEM_CLOCK_HOST : ITEM_CLOCK_PACKET);
    }
    const double step = 1e7 / options.mRate;
    const FILETIME start = options.mStart >= 0
                               ? static_cast<FILETIME>(options.mStart) * 10000000ULL + FILETIME_UNIX_EPOCH
                               : CurrentFiletime();
    return cItemClock(ITEM_CLOCK_RATE, start, static_cast<FILETIME>(std::llround(step < 1 ? 1 : step)));
}

}  // namespace

int RunRecord(const sRecordOptions& options) {
    sRecordingSetup setup;
    sSourceAddress address;
    if (!ParseRotation(options.mRotateSize, options.mRotateTime, setup.mRotation) ||
        !ParseSource(options.mInput, address)) {
        return 1;
    }
    std::unique_ptr<cGSMTAPSender> live;
    if (!OpenLiveGSMTAP(options.mGSMTAP, live)) {
        return 1;
    }
    cStopSignals signals({SIGINT, SIGTERM, SIGHUP, SIGQUIT});
    std::unique_ptr<cSource> source = MakeSource(address, options.mInput, sSourceOptions());
    std::string error;
    if (!source->Open(error)) {
        fprintf(stderr, "palvorin: cannot open %s: %s\n", options.mInput.c_str(), error.c_str());
        return 1;
    }
    setup.mInput = options.mInput;
    setup.mOutput = options.mOutput;
    setup.mProgress = !options.mQuiet && isatty(STDERR_FILENO);
    cRecording recording(setup);
    if (!recording.Open(ClockOf(options))) {
        return 1;
    }
    recording.SetLive(live.get());
    int result = 0;
    while (StopSignal() == 0) {
        const eReadResult read = recording.ReadOnce(*source, -1, signals);
        if (read == READ_GONE) {
            fprintf(stderr, "palvorin: cannot read %s: %s\n", options.mInput.c_str(),
                    recording.Reason().c_str());
        }
        if (read == READ_GONE || read == WRITE_FAILED) {
            result = 1;
            break;
        }
        if (read == READ_END) {
            break;
        }
    }
    if (StopSignal() != 0 && result == 0) {
        // What was read before the signal is written; a frame cut by the signal is counted as unclosed.
        recording.Flush();
    }
    source->Close();
    return recording.Close(result, live.get());
}
