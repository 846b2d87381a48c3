// Which packet answers the request in flight during live capture: the same operation, the equipment id
// echoed, the debug-text sub-command, event reports, and error replies only when they echo this request.
// Each error reply code with its message: tests/tool (capture_answers).
#include <gtest/gtest.h>

#include "tests/DiagPackets.h"
#include "tools/palvorin/DiagAnswer.h"

namespace {

sAwaited Awaiting(const char* request, unsigned int op = 0, int equipment = -1, unsigned char sub = 0) {
    sAwaited awaited;
    awaited.mRequest = Hex(request);
    awaited.mCommand = awaited.mRequest[0];
    awaited.mOp = op;
    awaited.mEquipment = equipment;
    awaited.mSub = sub;
    return awaited;
}

TEST(DiagAnswer, WhatAnswersEachRequest) {
    const sAwaited disable = Awaiting("73000000 00000000", 0);
    const sAwaited ranges = Awaiting("73000000 01000000", 1);
    const sAwaited mask11 = Awaiting("73000000 03000000 0b000000 c4010000 00", 3, 11);
    const sAwaited text = Awaiting("7d050000 00000000", 0, -1, 5);
    const sAwaited events = Awaiting("6001");
    const struct {
        const char* mName;
        const sAwaited& mAwaited;
        const char* mPacket;
        bool mAnswers;
    } cases[] = {
        // Capture A's answers (the formats page): logging off, the set-mask echo of equipment 11.
        {"logging off", disable, "73000000 00000000 00000000", true},
        {"another operation", ranges, "73000000 00000000 00000000", false},
        {"the mask of equipment 11", mask11, "73000000 03000000 00000000 0b000000 c4010000 00", true},
        {"the mask of equipment 7, cut after its id", mask11, "73000000 03000000 00000000 07000000", false},
        {"a short mask answer", mask11, "73000000 03000000 00000000", true},
        {"a log packet", disable, "10000c00 0c00c0b0 00000000 00000000", false},
        {"debug text silenced", text, "7d050100 00000000", true},
        {"another sub-command", text, "7d040000", false},
        {"event reports on", events, "600000", true},
        // Error replies: the code, then the request they refuse.
        {"bad command, this request", disable, "13 73000000 00000000", true},
        {"bad parameter, this request cut short", mask11, "14 73000000 03", true},
        {"bad length, a bare code", ranges, "15", true},
        {"bad command, an earlier request", ranges, "13 73000000 00000000", false},
        {"bad command, the debug-text request", disable, "13 7d050000 00000000", false},
        {"bad transaction, this request", events, "95 6001", true},
        {"nothing", disable, "", false},
    };
    for (const auto& c : cases) {
        const Bytes packet = Hex(c.mPacket);
        EXPECT_EQ(Answers(c.mAwaited, packet.data(), packet.size()), c.mAnswers) << c.mName;
    }
}

}  // namespace
