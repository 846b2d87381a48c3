// palvorin capture: live capture from a device's diagnostic port (CaptureSession.h) over any source:
// a terminal, another character device, a FIFO, a socket file, TCP or USB. Every argument is checked,
// the GSMTAP target and the source opened, before the output file is touched.

#include <unistd.h>

#include <cstdio>
#include <memory>
#include <string>

#include "tools/palvorin/Amounts.h"
#include "tools/palvorin/CaptureSession.h"
#include "tools/palvorin/Commands.h"
#include "tools/palvorin/GSMTAPSender.h"
#include "tools/palvorin/LogGroups.h"
#include "tools/palvorin/RecordSetup.h"
#include "tools/palvorin/USBSource.h"

int RunCapture(const sCaptureOptions& options) {
    sCaptureSetup setup;
    std::string error;
    if (!ParseLogChoice(options.mLogs, setup.mChoice, error)) {
        fprintf(stderr, "palvorin: unknown log group or code '%s' (groups: %s; codes as 0xB0C0)\n",
                error.c_str(), LogGroupNames().c_str());
        return 1;
    }
    setup.mDebugText = options.mDebugText;
    setup.mTimeoutMs = AnswerTimeoutMs(options.mTimeout);
    setup.mReconnect = options.mReconnect;
    if (!options.mReconnectTimeout.empty() &&
        !ParseDuration(options.mReconnectTimeout, setup.mReconnectSeconds)) {
        fprintf(stderr, "palvorin: --reconnect-timeout takes a duration such as 90s or 10m, not '%s'\n",
                options.mReconnectTimeout.c_str());
        return 1;
    }
    sRecordingSetup recordingSetup;
    sSourceAddress address;
    if (!ParseRotation(options.mRotateSize, options.mRotateTime, recordingSetup.mRotation) ||
        !ParseSource(options.mSource, address)) {
        return 1;
    }
    std::unique_ptr<cGSMTAPSender> live;
    if (!OpenLiveGSMTAP(options.mGSMTAP, live)) {
        return 1;
    }
    cStopSignals signals({SIGINT, SIGTERM, SIGHUP, SIGQUIT});
    sSourceOptions sourceOptions;
    sourceOptions.mBaud = options.mBaud;
    sourceOptions.mForCapture = true;
    std::unique_ptr<cSource> source = MakeSource(address, options.mSource, sourceOptions);
    if (!source->Open(error)) {
        // "/dev/ttyUSB0 does not exist", "usb: no USB device ..."
        fprintf(stderr, "palvorin: %s%s %s\n", options.mSource.c_str(),
                address.mKind == SOURCE_PATH ? "" : ":", error.c_str());
        return 1;
    }
    if (address.mKind == SOURCE_USB) {
        printf("capturing from USB device %s\n", static_cast<cUSBSource*>(source.get())->Chosen().c_str());
    }
    recordingSetup.mInput = options.mSource;
    recordingSetup.mOutput = options.mOutput;
    recordingSetup.mProgress = !options.mQuiet && isatty(STDERR_FILENO);
    cRecording recording(recordingSetup);
    if (!recording.Open(cItemClock(ITEM_CLOCK_PACKET))) {
        return 1;
    }
    recording.SetLive(live.get());
    int result = 0;
    {
        cCaptureSession session(setup, *source, recording, signals);
        result = session.Run();
    }
    // What was read before the end is written; a frame cut there is counted as unclosed.
    recording.Flush();
    source->Close();
    return recording.Close(result, live.get());
}
