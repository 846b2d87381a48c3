// The byte rules of the store: accepted protocol types, hints, kept packets.
#include "jni/ISFClassify.h"

#include <gtest/gtest.h>

#include <utility>
#include <vector>

namespace {

using Bytes = std::vector<unsigned char>;

TEST(ISFClassify, AcceptedProtocolTypesAreFourRanges) {
    const unsigned int accepted[] = {0, 3, 4, 10, 30, 38, 60, 141, 508, 514};
    const unsigned int refused[] = {11, 29, 39, 59, 142, 507, 515, 0xFFFFFFFF};
    for (unsigned int protocol : accepted) {
        EXPECT_TRUE(IsAcceptedProtocol(protocol)) << protocol;
    }
    for (unsigned int protocol : refused) {
        EXPECT_FALSE(IsAcceptedProtocol(protocol)) << protocol;
    }
}

TEST(ISFClassify, OverTheAirLogCodesAreTheListedRangesOnly) {
    // The ends of every listed range, with the hint each carries, and the codes just outside them.
    const std::pair<unsigned int, eAuxSource> inside[] = {
        {0x1004, AUX_HINT_A}, {0x1008, AUX_HINT_A}, {0x1048, AUX_NONE},   {0x104D, AUX_NONE},
        {0x1053, AUX_NONE},   {0x1076, AUX_NONE},   {0x107C, AUX_NONE},   {0x1086, AUX_NONE},
        {0x1090, AUX_HINT_A}, {0x10D8, AUX_HINT_A}, {0x1389, AUX_HINT_A}, {0x138B, AUX_HINT_A},
        {0x138D, AUX_HINT_A}, {0x141C, AUX_NONE},   {0x149F, AUX_NONE},   {0x412F, AUX_HINT_B},
        {0x512F, AUX_NONE},   {0x5230, AUX_NONE},   {0x7B3A, AUX_NONE},   {0xA103, AUX_NONE}};
    const unsigned int outside[] = {0x1003, 0x1009, 0x104A, 0x1054, 0x107A, 0x1087, 0x10D9, 0x1387,
                                    0x138A, 0x138E, 0x4130, 0x5227, 0xA001, 0xA104, 0x0000, 0xFFFF};
    for (const auto& code : inside) {
        eAuxSource aux = AUX_NONE;
        EXPECT_TRUE(IsOTALogCode(code.first, aux)) << std::hex << code.first;
        EXPECT_EQ(aux, code.second) << std::hex << code.first;
    }
    for (unsigned int code : outside) {
        eAuxSource aux = AUX_NONE;
        EXPECT_FALSE(IsOTALogCode(code, aux)) << std::hex << code;
    }
}

TEST(ISFClassify, HintsComeFromThreeKindsOfRequest) {
    Bytes event(14, 0);
    event[0] = 96;
    event[3] = 0x03;
    event[4] = 0xF1;  // 0xF103 & 0x0FFF = 0x103
    event[13] = 12;
    Bytes otherEvent = event;
    otherEvent[3] = 0x04;
    Bytes tooLarge = event;
    tooLarge[13] = 13;
    Bytes request99(28, 0);
    request99[0] = 99;
    request99[27] = 0;
    struct {
        const char* mName;
        Bytes mPacket;
        uint32_t mHintA;
        uint32_t mHintB;
    } const cases[] = {
        {"event request", event, 12, 0xFFFFFFFF},
        {"event request 116",
         [&] {
             Bytes b = event;
             b[0] = 116;
             return b;
         }(),
         12, 0xFFFFFFFF},
        {"event request of 13 bytes", Bytes(event.begin(), event.end() - 1), 0xFFFFFFFF, 0xFFFFFFFF},
        {"another event id", otherEvent, 0xFFFFFFFF, 0xFFFFFFFF},
        {"hint above 12", tooLarge, 0xFFFFFFFF, 0xFFFFFFFF},
        {"request 99", request99, 0, 0xFFFFFFFF},
        {"request 99 of 27 bytes", Bytes(request99.begin(), request99.end() - 1), 0xFFFFFFFF, 0xFFFFFFFF},
        {"dispatch 75", {75, 9, 0, 0, 0x10, 0x20, 0x30}, 0xFFFFFFFF, 0x302010},
        {"dispatch 128", {128, 9, 0, 0, 0xFF, 0xFF, 0xFF, 0xEE}, 0xFFFFFFFF, 0xFFFFFF},
        {"dispatch of 6 bytes", {75, 9, 0, 0, 1, 2}, 0xFFFFFFFF, 0xFFFFFFFF},
        {"dispatch command 1", {75, 9, 1, 0, 1, 2, 3}, 0xFFFFFFFF, 0xFFFFFFFF},
        {"other command", {98, 9, 0, 0, 1, 2, 3}, 0xFFFFFFFF, 0xFFFFFFFF},
    };
    for (const auto& c : cases) {
        uint32_t hintA = 0xFFFFFFFF;
        uint32_t hintB = 0xFFFFFFFF;
        UpdateHints(c.mPacket.data(), static_cast<unsigned int>(c.mPacket.size()), hintA, hintB);
        EXPECT_EQ(hintA, c.mHintA) << c.mName;
        EXPECT_EQ(hintB, c.mHintB) << c.mName;
    }
}

TEST(ISFClassify, KeptHealthAndFileListPackets) {
    struct {
        const char* mName;
        unsigned int mProtocol;
        Bytes mPacket;
        bool mHealth;
        bool mFileList;
    } const cases[] = {
        {"health 53", 3, {75, 18, 53, 0}, true, false},
        {"health 82 from protocol 0", 0, {75, 18, 82, 0}, true, true},
        {"health 54", 3, {75, 18, 54, 0}, false, false},
        {"health 53 high byte set", 3, {75, 18, 53, 1}, false, false},
        {"health as a request", 4, {75, 18, 53, 0}, false, false},
        {"health of 3 bytes", 3, {75, 18, 53}, false, false},
        {"file list response", 3, {128, 18, 7, 0}, false, true},
        {"file list refused", 3, {19, 128, 18, 0}, false, true},
        {"file list request", 4, {128, 18, 7, 0}, false, true},
        {"refusal as a request", 4, {19, 128, 18, 0}, false, false},
        {"other subsystem", 3, {128, 19, 7, 0}, false, false},
        {"any packet of protocol 9", 9, {1, 2, 3, 4}, false, true},
        {"3 bytes of protocol 9", 9, {1, 2, 3}, false, false},
    };
    for (const auto& c : cases) {
        const unsigned int length = static_cast<unsigned int>(c.mPacket.size());
        EXPECT_EQ(IsDiagHealthRsp(c.mPacket.data(), length, c.mProtocol), c.mHealth) << c.mName;
        EXPECT_EQ(IsFileListDiagReqRsp(c.mPacket.data(), length, c.mProtocol), c.mFileList) << c.mName;
    }
}

}  // namespace
