// palvorin record: a raw diagnostic stream into an ISF file, until the end of the input or a stop signal.

#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <termios.h>
#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>

#include "tools/palvorin/Commands.h"
#include "tools/palvorin/GSMTAPSender.h"
#include "stream/ItemClock.h"
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

int OpenInput(const std::string& path) {
    if (path == "-") {
        return STDIN_FILENO;
    }
    return open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY);
}

// A serial port named as the input is read raw (no line editing, no translation of bytes) while recording,
// and left as it was afterwards.
class cRawTerminal {
public:
    explicit cRawTerminal(int fd) : mFd(fd) {
        if (fd != STDIN_FILENO && isatty(fd) && tcgetattr(fd, &mSaved) == 0) {
            termios raw = mSaved;
            cfmakeraw(&raw);
            mChanged = tcsetattr(fd, TCSANOW, &raw) == 0;
        }
    }
    ~cRawTerminal() { Restore(); }
    void Restore() {
        if (mChanged) {
            tcsetattr(mFd, TCSANOW, &mSaved);
            mChanged = false;
        }
    }
    cRawTerminal(const cRawTerminal&) = delete;
    cRawTerminal& operator=(const cRawTerminal&) = delete;

private:
    int mFd;
    termios mSaved;
    bool mChanged = false;
};

}  // namespace

int RunRecord(const sRecordOptions& options) {
    const int input = OpenInput(options.mInput);
    if (input < 0) {
        fprintf(stderr, "palvorin: cannot open %s: %s\n", options.mInput.c_str(), strerror(errno));
        return 1;
    }
    cRecording recording(options.mInput, options.mOutput, !options.mQuiet && isatty(STDERR_FILENO));
    std::unique_ptr<cGSMTAPSender> live;
    if (!recording.Open() || !OpenLiveGSMTAP(options.mGSMTAP, live)) {
        if (input != STDIN_FILENO) {
            close(input);
        }
        return 1;
    }

    cStopSignals signals({SIGINT, SIGTERM, SIGHUP, SIGQUIT});
    cRawTerminal terminal(input);
    cStoreSink sink(recording.Store(), ClockOf(options), live.get());
    int result = 0;
    while (StopSignal() == 0) {
        const eReadResult read = recording.ReadOnce(input, -1, signals.WaitMask(), sink);
        if (read == READ_FAILED) {
            fprintf(stderr, "palvorin: cannot read %s: %s\n", options.mInput.c_str(),
                    strerror(recording.mError));
        }
        if (read == READ_FAILED || read == WRITE_FAILED) {
            result = 1;
            break;
        }
        if (read == READ_END) {
            break;
        }
    }
    if (StopSignal() != 0 && result == 0) {
        // What was read before the signal is written; a frame cut by the signal is counted as unclosed.
        recording.Flush(sink);
    }
    terminal.Restore();
    if (input != STDIN_FILENO) {
        close(input);
    }
    return recording.Close(result, live.get());
}
