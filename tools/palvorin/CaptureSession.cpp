#include "tools/palvorin/CaptureSession.h"

#include <time.h>

#include <cstdio>
#include <cstring>
#include <map>
#include <set>

#include "Shared/HDLC.h"
#include "diag/LogConfig.h"
#include "diag/LogMask.h"
#include "diag/WireFormat.h"

namespace {

const unsigned int kLogConfigStatusAt = 8;  // log configuration answer: status
const int kAttempts = 3;
const int kStopAnswerMs = 1000;  // how long a stopping capture waits for logging to be turned off

double Seconds() {
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

}  // namespace

cCaptureSession::cCaptureSession(const sCaptureSetup& setup, cSource& source, cRecording& recording,
                                 const cStopSignals& signals)
    : mSetup(setup), mSource(source), mRecording(recording), mSignals(signals) {
    mRecording.SetWatcher(this);
}

cCaptureSession::~cCaptureSession() {
    mRecording.SetWatcher(nullptr);
}

bool cCaptureSession::Packet(sSharedBuffer* packet) {
    if (mAwaited != nullptr && !mAwaited->mAnswered && Answers(*mAwaited, packet->mData, packet->mSize)) {
        mAwaited->mAnswered = true;
        mAwaited->mAnswer.assign(packet->mData, packet->mData + packet->mSize);
    }
    return true;
}

cCaptureSession::eExchange cCaptureSession::Exchange(sSharedBuffer* request, sAwaited& pending, int attempts,
                                                     int waitMs, bool honourStop) {
    request->AddRef();
    sSharedBuffer* frame = HDLCEncode(request, false);
    if (frame != nullptr) {
        frame->AddRef();
    }
    pending.mCommand = request->mData[0];
    pending.mRequest.assign(request->mData, request->mData + request->mSize);
    pending.mAnswered = false;
    mAwaited = &pending;
    eExchange result = EXCHANGE_SILENT;
    for (int attempt = 0; attempt < attempts && result == EXCHANGE_SILENT; ++attempt) {
        // Each try goes into the file as a request, in its place among the packets from the device.
        if (!mRecording.Sent(request)) {
            result = EXCHANGE_FAILED;
            break;
        }
        if (frame == nullptr || frame->mSize == 0 || !mSource.Write(frame->mData, frame->mSize, waitMs)) {
            mReason = frame == nullptr ? "out of memory" : mSource.Reason();
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
            const eReadResult read =
                mRecording.ReadOnce(mSource, static_cast<int>(left * 1000) + 1, mSignals);
            if (read == WRITE_FAILED) {
                result = EXCHANGE_FAILED;
                break;
            }
            if (read == READ_END || read == READ_GONE) {
                mReason = mRecording.Reason();
                result = EXCHANGE_GONE;
                break;
            }
        }
    }
    mAwaited = nullptr;
    if (frame != nullptr) {
        frame->Release();
    }
    request->Release();
    if (result == EXCHANGE_GONE) {
        mGone = true;
    }
    return result;
}

bool cCaptureSession::Accepted(const sAwaited& pending, const char* what) {
    const char* name = mSource.Name().c_str();
    const unsigned char code = pending.mAnswer.empty() ? 0 : pending.mAnswer[0];
    if (code != pending.mCommand) {
        fprintf(stderr, "palvorin: %s refused the request to %s: %s (0x%02X)\n", name, what,
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
            fprintf(stderr, "palvorin: %s refused the request to %s: status %u\n", name, what,
                    ReadU32(&pending.mAnswer[kLogConfigStatusAt]));
            return false;
        }
        if (!good) {
            fprintf(stderr, "palvorin: %s gave a malformed answer (%zu bytes) to the request to %s\n", name,
                    pending.mAnswer.size(), what);
            return false;
        }
    }
    return true;
}

cCaptureSession::eConfigured cCaptureSession::Configure(bool quiet) {
    const char* name = mSource.Name().c_str();
    auto run = [&](sSharedBuffer* request, sAwaited& pending, const char* what) -> eConfigured {
        if (request == nullptr) {
            fprintf(stderr, "palvorin: cannot build the request to %s\n", what);
            return CONFIGURE_FAILED;
        }
        switch (Exchange(request, pending, kAttempts, mSetup.mTimeoutMs, true)) {
            case EXCHANGE_ANSWERED:
                return Accepted(pending, what) ? CONFIGURED : CONFIGURE_FAILED;
            case EXCHANGE_SILENT:
                if (!quiet) {
                    fprintf(stderr, "palvorin: %s did not answer the request to %s (%d tries, %.3g s each)\n",
                            name, what, kAttempts, mSetup.mTimeoutMs / 1000.0);
                }
                return CONFIGURE_ABSENT;
            case EXCHANGE_STOPPED:
                return CONFIGURE_STOPPED;
            case EXCHANGE_GONE:
                if (!quiet) {
                    fprintf(stderr, "palvorin: %s disappeared: %s\n", name, mReason.c_str());
                }
                return CONFIGURE_ABSENT;
            default:
                return CONFIGURE_FAILED;
        }
    };

    mGone = false;
    mEventsOn = false;
    sAwaited off;
    off.mOp = LOG_CONFIG_DISABLE;
    eConfigured status = run(sDiagLogConfigReq::BuildDisableLoggingReq(), off, "turn logging off");
    if (status != CONFIGURED) {
        return status;
    }
    if (!mSetup.mDebugText) {
        const unsigned char silence[] = {DIAG_MESSAGE_SET_ALL_LEVELS, 0, 0, 0, 0, 0, 0};
        sAwaited quietText;
        quietText.mSub = DIAG_MESSAGE_SET_ALL_LEVELS;
        status = run(sDiagBuffer::BuildBuffer(static_cast<eDiagCommand>(DIAG_CMD_MESSAGE_CONFIG), true,
                                              silence, sizeof silence),
                     quietText, "silence debug-text messages");
        if (status != CONFIGURED) {
            return status;
        }
    }
    sAwaited ranges;
    ranges.mOp = LOG_CONFIG_GET_RANGES;
    status = run(sDiagLogConfigReq::BuildGetRangesReq(), ranges, "report the log item ranges");
    if (status != CONFIGURED) {
        return status;
    }
    std::map<eLogEquipID, unsigned int> counts;
    ReadLogConfigAnswer(ranges.mAnswer,
                        [&](const sDiagLogConfigRsp& answer) { counts = answer.GetSupportedBits(); });
    if (counts.empty()) {
        fprintf(stderr, "palvorin: %s answered the request to report the log item ranges without them\n",
                name);
        return CONFIGURE_FAILED;
    }
    std::set<unsigned int> unreported = mSetup.mChoice.mCodes;
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
            if (mSetup.mChoice.mAll || mSetup.mChoice.mCodes.count(code) != 0) {
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
        if (status != CONFIGURED) {
            return status;
        }
        ids += " " + std::to_string(static_cast<unsigned int>(equipment)) + " (" +
               std::to_string(codes.size()) + "/" + std::to_string(items) + ")";
    }
    std::string events;
    if (mSetup.mChoice.mEvents) {
        const unsigned char on = 1;
        sAwaited reports;
        switch (
            Exchange(sDiagBuffer::BuildBuffer(static_cast<eDiagCommand>(DIAG_CMD_EVENT_REPORT), true, &on, 1),
                     reports, kAttempts, mSetup.mTimeoutMs, true)) {
            case EXCHANGE_ANSWERED:
                // Event reports are a help, not the capture's purpose: a device without them is recorded
                // all the same.
                mEventsOn = !reports.mAnswer.empty() && reports.mAnswer[0] == DIAG_CMD_EVENT_REPORT;
                events = mEventsOn ? ", event reports on" : ", event reports refused";
                break;
            case EXCHANGE_SILENT:
                events = ", event reports unanswered";
                break;
            case EXCHANGE_STOPPED:
                return CONFIGURE_STOPPED;
            case EXCHANGE_GONE:
                if (!quiet) {
                    fprintf(stderr, "palvorin: %s disappeared: %s\n", name, mReason.c_str());
                }
                return CONFIGURE_ABSENT;
            default:
                return CONFIGURE_FAILED;
        }
    }
    printf("logging on at %s: %u log codes%s, by equipment id (on/items):%s\n", name, enabled, events.c_str(),
           ids.c_str());
    if (!unreported.empty()) {
        printf("  %zu chosen codes are not among the items the device reports (first: 0x%04X)\n",
               unreported.size(), *unreported.begin());
    }
    fflush(stdout);
    return CONFIGURED;
}

void cCaptureSession::LoggingOff(int waitMs, bool warn) {
    if (mGone || !mSource.CanWrite()) {
        return;
    }
    if (mEventsOn) {
        const unsigned char off = 0;
        sAwaited reports;
        sSharedBuffer* request =
            sDiagBuffer::BuildBuffer(static_cast<eDiagCommand>(DIAG_CMD_EVENT_REPORT), true, &off, 1);
        if (request != nullptr && Exchange(request, reports, 1, waitMs / 2, false) == EXCHANGE_GONE) {
            return;
        }
    }
    sAwaited off;
    off.mOp = LOG_CONFIG_DISABLE;
    sSharedBuffer* request = sDiagLogConfigReq::BuildDisableLoggingReq();
    if (request == nullptr) {
        return;
    }
    const eExchange result = Exchange(request, off, 1, waitMs, false);
    if (warn && result != EXCHANGE_ANSWERED) {
        fprintf(stderr, "palvorin: %s did not confirm that logging is off\n", mSource.Name().c_str());
    }
}

int cCaptureSession::Record() {
    while (StopSignal() == 0) {
        const eReadResult read = mRecording.ReadOnce(mSource, -1, mSignals);
        if (read == WRITE_FAILED) {
            return 1;
        }
        if (read == READ_END && !mSource.CanWrite() && !mSetup.mReconnect) {
            return 0;  // a stream of one direction that ended in order: the capture is complete
        }
        if (read == READ_END || read == READ_GONE) {
            mGone = true;
            mReason = mRecording.Reason();
            fprintf(stderr, "palvorin: %s disappeared: %s\n", mSource.Name().c_str(), mReason.c_str());
            return 2;
        }
    }
    return 0;
}

bool cCaptureSession::Reconnect(bool& stopped) {
    const char* name = mSource.Name().c_str();
    const double since = Seconds();
    stopped = false;
    mSource.Close();
    if (mSetup.mReconnectSeconds > 0) {
        fprintf(stderr, "palvorin: waiting up to %.0f s for %s to come back\n", mSetup.mReconnectSeconds,
                name);
    } else {
        fprintf(stderr, "palvorin: waiting for %s to come back (Ctrl-C ends the capture)\n", name);
    }
    std::string said;
    for (;;) {
        if (mSignals.Sleep(mSetup.mRetryMs)) {
            stopped = true;
            return false;
        }
        if (mSetup.mReconnectSeconds > 0 && Seconds() - since > mSetup.mReconnectSeconds) {
            fprintf(stderr, "palvorin: %s did not come back within %.0f s\n", name, mSetup.mReconnectSeconds);
            return false;
        }
        std::string error;
        if (!mSource.Open(error)) {
            if (error != said) {
                fprintf(stderr, "palvorin: %s: %s; trying again every %.0f s\n", name, error.c_str(),
                        mSetup.mRetryMs / 1000.0);
                said = error;
            }
            continue;
        }
        const eConfigured configured = mSource.CanWrite() ? Configure(true) : CONFIGURED;
        if (configured == CONFIGURED) {
            const double away = Seconds() - since;
            mRecording.Gap(away);
            fprintf(stderr, "palvorin: %s is back after %.1f s; the recording goes on in %s\n", name, away,
                    mRecording.Files().back().c_str());
            return true;
        }
        if (configured == CONFIGURE_STOPPED) {
            stopped = true;
            return false;
        }
        if (configured == CONFIGURE_FAILED) {
            return false;
        }
        mSource.Close();  // back but not answering yet: try again
        mRecording.Flush();
    }
}

int cCaptureSession::Run() {
    int result = 0;
    if (!mSource.CanWrite()) {
        printf("%s carries one direction: nothing is configured, what arrives is recorded\n",
               mSource.Name().c_str());
        fflush(stdout);
    } else {
        switch (Configure(false)) {
            case CONFIGURED:
                break;
            case CONFIGURE_STOPPED:
                LoggingOff(kStopAnswerMs, true);
                return 0;
            default:
                if (!mGone) {
                    // A refusal or a silence: logging off all the same, in case part of the configuration
                    // took.
                    LoggingOff(kStopAnswerMs / 4, false);
                }
                return 1;
        }
    }
    for (;;) {
        result = Record();
        if (result != 2) {
            break;
        }
        bool stopped = false;
        if (!mSetup.mReconnect || !Reconnect(stopped)) {
            return stopped ? 0 : 1;
        }
    }
    if (result == 0) {
        LoggingOff(kStopAnswerMs, true);
    }
    return result;
}
