// palvorin sample: a synthetic raw diagnostic stream, HDLC-framed as it comes off the diagnostic port.
// Each cycle holds log packets of several codes (over-the-air ones among them), a log configuration
// request (the bytes of a request packet), subsystem responses (a health response, a debug-trace item
// response wrapping a log), a paging message, and WCDMA system information on the BCH and the FACH, whole and
// in segments. Every 97th frame is damaged after framing (one byte changed, so that its check fails).

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <random>
#include <vector>

#include "Shared/HDLC.h"
#include "diag/DiagLog.h"
#include "diag/LogConfig.h"
#include "diag/SubsystemCmd.h"
#include "jni/ISFClassify.h"
#include "tools/palvorin/Commands.h"
#include "tools/palvorin/SystemInformation.h"
#include "wcdma/WCDMARRCFormat.h"

namespace {

const unsigned int kWCDMARRCLog = 0x412F;
const unsigned int kHealthSubsystem = 18;
const unsigned int kHealthKey = 53;
const unsigned char kChannelPCCH = 6;
// Codes of ordinary logs, and over-the-air logs of technologies other than WCDMA (GSM, UMTS NAS).
const unsigned int kPlainLogCodes[] = {0x11EB, 0x4005, 0x4127, 0x1544, 0xB0C0};
const unsigned int kGSMLog = 0x512F;
const unsigned int kUMTSNASLog = 0x713A;
// Diagnostic time advances by about 20 ms (16 periods of 1.25 ms) per packet.
const unsigned long long kTimeStep = 16ULL << 16;
const unsigned int kPlainPayload = 84;  // a 100-byte log packet

class cSampleWriter {
public:
    cSampleWriter(FILE* out, uint32_t seed) : mOut(out), mRandom(seed) {}

    // 100 log packets of 100 bytes outside the over-the-air set, none damaged: the packets of the item
    // store's benchmark, for comparing the recording rate with it.
    bool PlainCycle() {
        for (unsigned int i = 0; i < 100; ++i) {
            mTime += kTimeStep;
            const std::vector<unsigned char> payload = RandomBytes(kPlainPayload);
            sSharedBuffer* packet =
                sDiagLog::BuildLog(kPlainLogCodes[i % 5], mTime, payload.data(), kPlainPayload);
            sSharedBuffer* frame = packet != nullptr ? HDLCEncode(packet, false) : nullptr;
            delete packet;
            if (frame != nullptr && frame->mData != nullptr) {
                mBytes += fwrite(frame->mData, 1, frame->mSize, mOut);
            }
            delete frame;
        }
        return !ferror(mOut);
    }

    // One cycle of packets; false when writing failed.
    bool Cycle() {
        for (unsigned int code : kPlainLogCodes) {
            Log(code, RandomBytes(20 + mRandom() % 180));
        }
        Log(kGSMLog, RandomBytes(23));
        Log(kUMTSNASLog, RandomBytes(12));
        Own(sDiagLogConfigReq::BuildGetRangesReq());
        Own(sDiagSubsystemCmd::BuildCmd(kHealthSubsystem, kHealthKey, false, RandomBytes(8).data(), 8, false,
                                        false));
        DebugTraceItem();
        Paging();
        BroadcastBCH();
        BroadcastFACH();
        ++mCycle;
        return !ferror(mOut);
    }
    uint64_t mBytes = 0;

private:
    std::vector<unsigned char> RandomBytes(size_t count) {
        std::vector<unsigned char> bytes(count);
        for (unsigned char& byte : bytes) {
            byte = static_cast<unsigned char>(mRandom());
        }
        return bytes;
    }

    // Frames `packet` (a builder's buffer, owned here) and writes the frame, now and then corrupted.
    void Own(sSharedBuffer* packet) {
        if (packet == nullptr) {
            return;
        }
        sSharedBuffer* frame = HDLCEncode(packet, false);
        delete packet;
        if (frame == nullptr || frame->mData == nullptr) {
            delete frame;
            return;
        }
        if (++mFrames % 97 == 0 && frame->mSize > 3) {
            // A damaged byte inside the frame (never a flag or an escape): its check must fail.
            unsigned char& byte = frame->mData[frame->mSize / 2];
            byte = static_cast<unsigned char>(byte ^ 0x01);
            if (byte == AHDLC_FLAG || byte == AHDLC_ESCAPE) {
                byte = static_cast<unsigned char>(byte ^ 0x03);
            }
        }
        mBytes += fwrite(frame->mData, 1, frame->mSize, mOut);
        delete frame;
    }

    void Log(unsigned int code, const std::vector<unsigned char>& payload) {
        mTime += kTimeStep;
        Own(sDiagLog::BuildLog(code, mTime, payload.data(), static_cast<unsigned int>(payload.size())));
    }

    // A debug-trace item response (subsystem 37, command 8): item kind 2 (log), status 0, then the log.
    void DebugTraceItem() {
        const std::vector<unsigned char> inner = RandomBytes(40);
        sSharedBuffer* log = sDiagLog::BuildLog(kPlainLogCodes[0], mTime, inner.data(), 40);
        if (log == nullptr) {
            return;
        }
        std::vector<unsigned char> data(9, 0);
        data[4] = 2;
        data.insert(data.end(), log->mData, log->mData + log->mSize);
        delete log;
        Own(sDiagSubsystemCmd::BuildCmd(DIAG_SUBSYS_DEBUG_TRACE, DEBUG_TRACE_GET_ITEM, false, data.data(),
                                        static_cast<unsigned int>(data.size()), false, false));
    }

    // PagingType1 on the PCCH announcing a change of system information (new MIB value tag).
    void Paging() {
        const unsigned int valueTag = mCycle % 8;
        // integrity check info absent, pagingType1, only the BCCH modification info, no modification time.
        const unsigned int bits = (0u << 8) | (0u << 7) | (2u << 4) | (0u << 3) | valueTag;
        std::vector<unsigned char> payload = {kChannelPCCH,
                                              0,
                                              2,
                                              0,
                                              static_cast<unsigned char>(bits >> 1),
                                              static_cast<unsigned char>((bits & 1) << 7)};
        Log(kWCDMARRCLog, payload);
    }

    // A BCH cycle: a complete list, a SIB 18 in four segments, a SIB 2 split over a complete-and-first
    // message and a short last segment, and a complete SIB.
    void BroadcastBCH() {
        const tBits sib7 = EncodeSIB7(-105 + static_cast<int>(mCycle % 20), {1, 2, 3, 4});
        const tBits sib2 = EncodeSIB2({static_cast<uint16_t>(0x1000 + mCycle % 100), 0x2222, 0x3333});
        const tBits bigSib18 = EncodeSIB18(32, 1, 1);
        const tBits bigSib2 = EncodeSIB2({1, 2, 3, 4, 5, 6, 7, 8});
        const tBits smallSib18 = EncodeSIB18(9, 1, 2);

        cSystemInformation list = Next(PAYLOAD_COMPLETE_SIB_LIST);
        list.CompleteList({{SIB_TYPE_7, &sib7}, {SIB_TYPE_2, &sib2}});
        Send(list);

        const unsigned int segments = static_cast<unsigned int>(
            (bigSib18.size() + cSystemInformation::kDataFixed - 1) / cSystemInformation::kDataFixed);
        cSystemInformation first = Next(PAYLOAD_FIRST_SEGMENT);
        first.FirstSegment(SIB_TYPE_18, segments, bigSib18, 0);
        Send(first);
        for (unsigned int index = 1; index + 1 < segments; ++index) {
            cSystemInformation middle = Next(PAYLOAD_SUBSEQUENT_SEGMENT);
            middle.SubsequentSegment(SIB_TYPE_18, index, bigSib18, index * cSystemInformation::kDataFixed);
            Send(middle);
        }
        cSystemInformation last = Next(PAYLOAD_LAST_SEGMENT_SHORT);
        last.LastSegmentShort(SIB_TYPE_18, segments - 1, bigSib18,
                              (segments - 1) * cSystemInformation::kDataFixed);
        Send(last);

        const size_t head = bigSib2.size() / 2;
        cSystemInformation completeAndFirst = Next(PAYLOAD_COMPLETE_AND_FIRST);
        completeAndFirst.CompleteList({{SIB_TYPE_7, &sib7}});
        completeAndFirst.FirstSegmentShort(SIB_TYPE_2, 2, bigSib2, head);
        Send(completeAndFirst);
        cSystemInformation tail = Next(PAYLOAD_LAST_SEGMENT_SHORT);
        tail.LastSegmentShort(SIB_TYPE_2, 1, bigSib2, head);
        Send(tail);

        cSystemInformation complete = Next(PAYLOAD_COMPLETE_SIB);
        complete.CompleteSIB(SIB_TYPE_18, smallSib18);
        Send(complete);
    }

    // The FACH carries a complete list and a SIB 18 in two segments.
    void BroadcastFACH() {
        const tBits sib7 = EncodeSIB7(-90, {8});
        cSystemInformation list = cSystemInformation::FACH(PAYLOAD_COMPLETE_SIB_LIST);
        list.CompleteList({{SIB_TYPE_7, &sib7}});
        Send(list);
        const tBits sib18 = EncodeSIB18(15, 1, 3);
        cSystemInformation first = cSystemInformation::FACH(PAYLOAD_FIRST_SEGMENT);
        first.FirstSegment(SIB_TYPE_18, 2, sib18, 0);
        Send(first);
        cSystemInformation last = cSystemInformation::FACH(PAYLOAD_LAST_SEGMENT_SHORT);
        last.LastSegmentShort(SIB_TYPE_18, 1, sib18, cSystemInformation::kDataFixed);
        Send(last);
    }

    cSystemInformation Next(unsigned int payload) {
        mSFNPrime = (mSFNPrime + 1) % 2048;
        return cSystemInformation::BCH(mSFNPrime, payload);
    }
    void Send(const cSystemInformation& message) { Log(kWCDMARRCLog, message.LogPayload()); }

    FILE* mOut;
    std::mt19937 mRandom;
    unsigned long long mTime = 0x0000123456780000ULL;
    uint64_t mFrames = 0;
    unsigned int mCycle = 0;
    unsigned int mSFNPrime = 0;
};

}  // namespace

int RunSample(const sSampleOptions& options) {
    const bool toStdout = options.mOutput == "-";
    FILE* out = toStdout ? stdout : fopen(options.mOutput.c_str(), "wb");
    if (out == nullptr) {
        fprintf(stderr, "palvorin: cannot create %s: %s\n", options.mOutput.c_str(), strerror(errno));
        return 1;
    }
    static char buffer[1 << 16];
    setvbuf(out, buffer, _IOFBF, sizeof buffer);
    cSampleWriter writer(out, options.mSeed);
    const uint64_t target = options.mSizeMB * 1000000ULL;
    const unsigned int minimumCycles = 20;
    bool good = true;
    for (unsigned int cycle = 0; good && (cycle < minimumCycles || writer.mBytes < target); ++cycle) {
        good = options.mPlain ? writer.PlainCycle() : writer.Cycle();
    }
    good = fflush(out) == 0 && good && !ferror(out);
    if (!toStdout) {
        good = fclose(out) == 0 && good;
    }
    if (!good) {
        fprintf(stderr, "palvorin: writing %s failed: %s\n", options.mOutput.c_str(), strerror(errno));
        return 1;
    }
    fprintf(stderr, "wrote %llu bytes of sample stream to %s\n",
            static_cast<unsigned long long>(writer.mBytes), options.mOutput.c_str());
    return 0;
}
