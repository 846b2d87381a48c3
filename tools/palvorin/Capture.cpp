// palvorin capture: live capture from a modem's diagnostic serial port. The port stays silent until
// logging is switched on, so the tool first configures it with log-configuration requests (command 115):
// logging off, the item count of each equipment id, then the masks of the chosen log codes; debug-text
// messages are silenced unless wanted. Every frame that arrives, answers included, is stored as `record`
// stores it; the requests are stored too, as requests. A stop signal turns logging off before the file is
// closed; a device that disappears ends the capture with the file closed and a non-zero exit.

#include <errno.h>
#include <sys/time.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "Shared/HDLC.h"
#include "diag/LogConfig.h"
#include "diag/LogMask.h"
#include "diag/WireFormat.h"
#include "tools/palvorin/Commands.h"
#include "tools/palvorin/DiagAnswer.h"
#include "tools/palvorin/GSMTAPSender.h"
#include "tools/palvorin/LogGroups.h"
#include "tools/palvorin/Recording.h"
#include "tools/palvorin/SerialPort.h"

namespace {

const unsigned int kLogConfigStatusAt = 8;  // log configuration answer: status
const int kAttempts = 3;
const int kStopAnswerMs = 1000;  // how long a stopping capture waits for logging to be turned off

double Seconds() {
    timeval now;
    gettimeofday(&now, nullptr);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_usec) / 1e6;
}

// Stores every packet and catches the answer to the request in flight.
class cCaptureSink : public cStoreSink {
public:
    // Stamped like `record` by default: each log packet with its own timestamp, others with the one before.
    cCaptureSink(cCountingStore& store, cGSMTAPSender* live)
        : cStoreSink(store, cItemClock(ITEM_CLOCK_PACKET), live) {}
    bool Packet(sSharedBuffer* packet) override {
        if (mAwaited != nullptr && !mAwaited->mAnswered && Answers(*mAwaited, packet->mData, packet->mSize)) {
            mAwaited->mAnswered = true;
            mAwaited->mAnswer.assign(packet->mData, packet->mData + packet->mSize);
        }
        return cStoreSink::Packet(packet);
    }
    sAwaited* mAwaited = nullptr;  // not owned
};

enum eExchange {
    EXCHANGE_ANSWERED,  // mAnswer holds the answer (maybe an error reply)
    EXCHANGE_SILENT,    // no answer within the attempts
    EXCHANGE_STOPPED,   // a stop signal came
    EXCHANGE_GONE,      // the device disappeared (mReason)
    EXCHANGE_FAILED,    // storing failed; said already
};

class cCapture {
public:
    cCapture(const sCaptureOptions& options, cSerialPort& port, cRecording& recording, cCaptureSink& sink,
             const cStopSignals& signals)
        : mOptions(options), mPort(port), mRecording(recording), mSink(sink), mSignals(signals) {}

    // Sends `request` (owned here from now on) and waits for its answer while storing what arrives.
    eExchange Exchange(sSharedBuffer* request, sAwaited& pending, int attempts, int waitMs, bool honourStop);
    // Says why an answered request failed, or returns true for a good answer.
    bool Accepted(const sAwaited& pending, const char* what);
    int Configure();
    int Record();
    // Turns logging off on the way out, waiting `waitMs` for the answer.
    void LoggingOff(int waitMs, bool warn);

    sLogChoice mChoice;
    std::string mReason;  // why the device is gone
    bool mGone = false;

private:
    const sCaptureOptions& mOptions;
    cSerialPort& mPort;
    cRecording& mRecording;
    cCaptureSink& mSink;
    const cStopSignals& mSignals;
};

eExchange cCapture::Exchange(sSharedBuffer* request, sAwaited& pending, int attempts, int waitMs,
                             bool honourStop) {
    request->AddRef();
    sSharedBuffer* frame = HDLCEncode(request, false);
    if (frame != nullptr) {
        frame->AddRef();
    }
    // The request goes into the file as a request, in its place among the packets from the device.
    mSink.ChunkRead();
    mSink.Sent(request);
    pending.mCommand = request->mData[0];
    pending.mAnswered = false;
    mSink.mAwaited = &pending;
    eExchange result = EXCHANGE_SILENT;
    for (int attempt = 0; attempt < attempts && result == EXCHANGE_SILENT; ++attempt) {
        if (frame == nullptr || frame->mSize == 0 || !mPort.WriteAll(frame->mData, frame->mSize, waitMs)) {
            mReason = std::string("cannot write: ") + strerror(frame == nullptr ? ENOMEM : errno);
            result = EXCHANGE_GONE;
            break;
        }
        const double deadline = Seconds() + waitMs / 1000.0;
        for (;;) {
            if (pending.mAnswered) {
                result = EXCHANGE_ANSWERED;
                break;
            }
            if (honourStop && StopSignal() != 0) {
                result = EXCHANGE_STOPPED;
                break;
            }
            const double left = deadline - Seconds();
            if (left <= 0) {
                break;
            }
            const eReadResult read = mRecording.ReadOnce(mPort.Fd(), static_cast<int>(left * 1000) + 1,
                                                         mSignals.WaitMask(), mSink);
            if (read == WRITE_FAILED) {
                result = EXCHANGE_FAILED;
                break;
            }
            if (read == READ_END || read == READ_FAILED) {
                mReason = read == READ_END ? "hang-up" : strerror(mRecording.mError);
                result = EXCHANGE_GONE;
                break;
            }
        }
    }
    mSink.mAwaited = nullptr;
    if (frame != nullptr) {
        frame->Release();
    }
    request->Release();
    if (result == EXCHANGE_GONE) {
        mGone = true;
    }
    return result;
}

bool cCapture::Accepted(const sAwaited& pending, const char* what) {
    const unsigned char code = pending.mAnswer.empty() ? 0 : pending.mAnswer[0];
    if (code != pending.mCommand) {
        fprintf(stderr, "palvorin: %s refused the request to %s: %s (0x%02X)\n", mOptions.mPort.c_str(), what,
                ErrorReplyName(code), code);
        return false;
    }
    if (code == DIAG_CMD_LOG_CONFIG) {
        bool good = false;
        ReadLogConfigAnswer(pending.mAnswer, [&](const sDiagLogConfigRsp& answer) {
            good = answer.IsValid() && answer.GetStatus();
        });
        if (!good && pending.mAnswer.size() >= kLogConfigStatusAt + 4 &&
            ReadU32(&pending.mAnswer[kLogConfigStatusAt]) != 0) {
            fprintf(stderr, "palvorin: %s refused the request to %s: status %u\n", mOptions.mPort.c_str(),
                    what, ReadU32(&pending.mAnswer[kLogConfigStatusAt]));
            return false;
        }
        if (!good) {
            fprintf(stderr, "palvorin: %s gave a malformed answer (%zu bytes) to the request to %s\n",
                    mOptions.mPort.c_str(), pending.mAnswer.size(), what);
            return false;
        }
    }
    return true;
}

int cCapture::Configure() {
    const int waitMs = static_cast<int>(mOptions.mTimeout * 1000);
    auto run = [&](sSharedBuffer* request, sAwaited& pending, const char* what) -> int {
        if (request == nullptr) {
            fprintf(stderr, "palvorin: cannot build the request to %s\n", what);
            return 1;
        }
        switch (Exchange(request, pending, kAttempts, waitMs, true)) {
            case EXCHANGE_ANSWERED:
                return Accepted(pending, what) ? 0 : 1;
            case EXCHANGE_SILENT:
                fprintf(stderr, "palvorin: %s did not answer the request to %s (%d tries, %.1f s each)\n",
                        mOptions.mPort.c_str(), what, kAttempts, mOptions.mTimeout);
                return 1;
            case EXCHANGE_STOPPED:
                return -1;
            case EXCHANGE_GONE:
                fprintf(stderr, "palvorin: %s disappeared: %s\n", mOptions.mPort.c_str(), mReason.c_str());
                return 1;
            default:
                return 1;
        }
    };

    sAwaited off;
    off.mOp = LOG_CONFIG_DISABLE;
    int status = run(sDiagLogConfigReq::BuildDisableLoggingReq(), off, "turn logging off");
    if (status != 0) {
        return status;
    }
    if (!mOptions.mDebugText) {
        const unsigned char silence[] = {DIAG_MESSAGE_SET_ALL_LEVELS, 0, 0, 0, 0, 0, 0};
        sAwaited quiet;
        quiet.mSub = DIAG_MESSAGE_SET_ALL_LEVELS;
        status = run(sDiagBuffer::BuildBuffer(static_cast<eDiagCommand>(DIAG_CMD_MESSAGE_CONFIG), true,
                                              silence, sizeof silence),
                     quiet, "silence debug-text messages");
        if (status != 0) {
            return status;
        }
    }
    sAwaited ranges;
    ranges.mOp = LOG_CONFIG_GET_RANGES;
    status = run(sDiagLogConfigReq::BuildGetRangesReq(), ranges, "report the log item ranges");
    if (status != 0) {
        return status;
    }
    std::map<eLogEquipID, unsigned int> counts;
    ReadLogConfigAnswer(ranges.mAnswer,
                        [&](const sDiagLogConfigRsp& answer) { counts = answer.GetSupportedBits(); });
    if (counts.empty()) {
        fprintf(stderr, "palvorin: %s answered the request to report the log item ranges without them\n",
                mOptions.mPort.c_str());
        return 1;
    }
    std::set<unsigned int> unreported = mChoice.mCodes;
    unsigned int enabled = 0;
    std::string ids;
    for (const auto& entry : counts) {
        const eLogEquipID equipment = entry.first;
        const unsigned int items = entry.second < MAX_LOG_MASK_BITS ? entry.second : MAX_LOG_MASK_BITS;
        if (items == 0) {
            continue;
        }
        std::set<unsigned int> codes;
        for (unsigned int item = 0; item < items; ++item) {
            const unsigned int code = (static_cast<unsigned int>(equipment) << 12) | item;
            if (mChoice.mAll || mChoice.mCodes.count(code) != 0) {
                codes.insert(code);
                unreported.erase(code);
            }
        }
        enabled += static_cast<unsigned int>(codes.size());
        char what[64];
        snprintf(what, sizeof what, "set the log mask of equipment %u", static_cast<unsigned int>(equipment));
        sAwaited mask;
        mask.mOp = LOG_CONFIG_SET_MASK;
        mask.mEquipment = static_cast<int>(equipment);
        status = run(sDiagLogConfigReq::BuildSetMaskReq(items, equipment, codes), mask, what);
        if (status != 0) {
            return status;
        }
        ids += " " + std::to_string(static_cast<unsigned int>(equipment)) + " (" +
               std::to_string(codes.size()) + "/" + std::to_string(items) + ")";
    }
    printf("logging on at %s: %u log codes, by equipment id (on/items):%s\n", mOptions.mPort.c_str(), enabled,
           ids.c_str());
    if (!unreported.empty()) {
        printf("  %zu chosen codes are not among the items the device reports (first: 0x%04X)\n",
               unreported.size(), *unreported.begin());
    }
    return 0;
}

void cCapture::LoggingOff(int waitMs, bool warn) {
    if (mGone) {
        return;
    }
    sAwaited off;
    off.mOp = LOG_CONFIG_DISABLE;
    sSharedBuffer* request = sDiagLogConfigReq::BuildDisableLoggingReq();
    if (request == nullptr) {
        return;
    }
    const eExchange result = Exchange(request, off, 1, waitMs, false);
    if (warn && result != EXCHANGE_ANSWERED) {
        fprintf(stderr, "palvorin: %s did not confirm that logging is off\n", mOptions.mPort.c_str());
    }
}

int cCapture::Record() {
    while (StopSignal() == 0) {
        const eReadResult read = mRecording.ReadOnce(mPort.Fd(), -1, mSignals.WaitMask(), mSink);
        if (read == WRITE_FAILED) {
            return 1;
        }
        if (read == READ_END || read == READ_FAILED) {
            mGone = true;
            mReason = read == READ_END ? "hang-up" : strerror(mRecording.mError);
            fprintf(stderr, "palvorin: %s disappeared: %s\n", mOptions.mPort.c_str(), mReason.c_str());
            return 1;
        }
    }
    return 0;
}

}  // namespace

int RunCapture(const sCaptureOptions& options) {
    sLogChoice choice;
    std::string error;
    if (!ParseLogChoice(options.mLogs, choice, error)) {
        fprintf(stderr, "palvorin: unknown log group or code '%s' (groups: %s; codes as 0xB0C0)\n",
                error.c_str(), LogGroupNames().c_str());
        return 1;
    }
    cSerialPort port;
    if (!port.Open(options.mPort, options.mBaud, error)) {
        fprintf(stderr, "palvorin: %s %s\n", options.mPort.c_str(), error.c_str());
        return 1;
    }
    cRecording recording(options.mPort, options.mOutput, !options.mQuiet && isatty(STDERR_FILENO));
    std::unique_ptr<cGSMTAPSender> live;
    if (!recording.Open() || !OpenLiveGSMTAP(options.mGSMTAP, live)) {
        return 1;
    }
    cStopSignals signals({SIGINT, SIGTERM, SIGHUP, SIGQUIT});
    cCaptureSink sink(recording.Store(), live.get());
    cCapture capture(options, port, recording, sink, signals);
    capture.mChoice = choice;
    int result = capture.Configure();
    if (result == 0) {
        result = capture.Record();
    }
    if (result <= 0) {
        // Stopped by a signal (Record returns only then, Configure returns -1 then).
        capture.LoggingOff(kStopAnswerMs, true);
        result = 0;
    } else if (!capture.mGone) {
        // A refusal or a silence: logging off all the same, in case part of the configuration took.
        capture.LoggingOff(kStopAnswerMs / 4, false);
    }
    // What was read before the end is written; a frame cut there is counted as unclosed.
    recording.Flush(sink);
    return recording.Close(result, live.get());
}
