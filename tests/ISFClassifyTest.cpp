// The byte rules of the store: accepted protocol types, hints, kept packets.
#include "jni/ISFClassify.h"

#include <gtest/gtest.h>

#include <utility>
#include <vector>

namespace {

using Bytes = std::vector<unsigned char>;

TEST(ISFClassify, AcceptedProtocolTypesAreFourRanges) {
    for (unsigned int protocol : {0u, 10u, 30u, 38u, 60u, 141u, 508u, 514u}) {
        EXPECT_TRUE(IsAcceptedProtocol(protocol)) << protocol;
    }
    for (unsigned int protocol : {11u, 29u, 39u, 59u, 142u, 507u, 515u}) {
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
    for (const auto& code : inside) {
        eAuxSource aux = AUX_NONE;
        EXPECT_TRUE(IsOTALogCode(code.first, aux)) << std::hex << code.first;
        EXPECT_EQ(aux, code.second) << std::hex << code.first;
    }
    for (unsigned int code : {0x1003, 0x1009, 0x104A, 0x1054, 0x107A, 0x1087, 0x10D9, 0x1387, 0x138A, 0x138E,
                              0x4130, 0x5227, 0xA001, 0xA104, 0x0000, 0xFFFF}) {
        eAuxSource aux = AUX_NONE;
        EXPECT_FALSE(IsOTALogCode(code, aux)) << std::hex << code;
    }
}

// Event requests 96/116 carry hint A at byte 13 for event 0x103 (the low 12 bits of bytes 3-4).
TEST(ISFClassify, HintsComeFromThreeKindsOfRequest) {
    const uint32_t kNone = 0xFFFFFFFF;
    Bytes request99(28, 0);
    request99[0] = 99;
    struct {
        const char* mName;
        Bytes mPacket;
        uint32_t mHintA;
        uint32_t mHintB;
    } const cases[] = {
        {"event request", {96, 0, 0, 0x03, 0xF1, 0, 0, 0, 0, 0, 0, 0, 0, 12}, 12, kNone},
        {"event request of 13 bytes", {96, 0, 0, 0x03, 0x01, 0, 0, 0, 0, 0, 0, 0, 0}, kNone, kNone},
        {"another event id", {96, 0, 0, 0x04, 0x01, 0, 0, 0, 0, 0, 0, 0, 0, 12}, kNone, kNone},
        {"hint above 12", {96, 0, 0, 0x03, 0x01, 0, 0, 0, 0, 0, 0, 0, 0, 13}, kNone, kNone},
        {"request 99", request99, 0, kNone},
        {"request 99 of 27 bytes", Bytes(request99.begin(), request99.end() - 1), kNone, kNone},
        {"dispatch 75", {75, 9, 0, 0, 0x10, 0x20, 0x30}, kNone, 0x302010},
        {"dispatch of 6 bytes", {75, 9, 0, 0, 1, 2}, kNone, kNone},
        {"dispatch command 1", {75, 9, 1, 0, 1, 2, 3}, kNone, kNone},
        {"other command", {98, 9, 0, 0, 1, 2, 3}, kNone, kNone},
    };
    for (const auto& c : cases) {
        uint32_t hintA = kNone;
        uint32_t hintB = kNone;
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
