// What the tool reads from its command line: the SOURCE of capture and record, sizes and durations of the
// rotation, the answer timeout in milliseconds, the names of rotated files, and the log groups.
#include <gtest/gtest.h>

#include <string>

#include "ota/OTAExtractor.h"
#include "tools/palvorin/Amounts.h"
#include "tools/palvorin/LogGroups.h"
#include "tools/palvorin/Rotation.h"
#include "tools/palvorin/SourceAddress.h"

namespace {

TEST(SourceAddress, EachFormAndItsFields) {
    const struct {
        const char* mText;
        eSourceKind mKind;
        const char* mPathOrHost;
        int mPort, mVendor, mProduct, mInterface, mBus, mAddress;
    } cases[] = {
        {"/dev/ttyUSB0", SOURCE_PATH, "/dev/ttyUSB0", 0, -1, -1, -1, -1, -1},
        {"usbstick.bin", SOURCE_PATH, "usbstick.bin", 0, -1, -1, -1, -1, -1},  // a path, not usb
        {"-", SOURCE_STDIN, "", 0, -1, -1, -1, -1, -1},
        {"tcp:192.168.1.1:2500", SOURCE_TCP, "192.168.1.1", 2500, -1, -1, -1, -1, -1},
        {"tcp:modem.lan:65535", SOURCE_TCP, "modem.lan", 65535, -1, -1, -1, -1, -1},
        {"tcp:[::1]:2500", SOURCE_TCP, "::1", 2500, -1, -1, -1, -1, -1},
        {"usb", SOURCE_USB, "", 0, -1, -1, -1, -1, -1},
        {"usb:12AB:34CD", SOURCE_USB, "", 0, 0x12AB, 0x34CD, -1, -1, -1},
        {"usb:abcd:0003:2", SOURCE_USB, "", 0, 0xABCD, 0x0003, 2, -1, -1},
        {"usb:3.17", SOURCE_USB, "", 0, -1, -1, -1, 3, 17},
    };
    for (const auto& c : cases) {
        sSourceAddress address;
        std::string error;
        ASSERT_TRUE(ParseSourceAddress(c.mText, address, error)) << c.mText << ": " << error;
        EXPECT_EQ(address.mKind, c.mKind) << c.mText;
        EXPECT_EQ(c.mKind == SOURCE_TCP ? address.mHost : address.mPath, c.mPathOrHost) << c.mText;
        EXPECT_EQ(address.mPort, c.mPort) << c.mText;
        EXPECT_EQ(address.mVendor, c.mVendor) << c.mText;
        EXPECT_EQ(address.mProduct, c.mProduct) << c.mText;
        EXPECT_EQ(address.mInterface, c.mInterface) << c.mText;
        EXPECT_EQ(address.mBus, c.mBus) << c.mText;
        EXPECT_EQ(address.mAddress, c.mAddress) << c.mText;
    }
}

TEST(SourceAddress, MalformedTCPAndUSBFormsAreRefused) {
    for (const char* text : {"tcp:",          "tcp:host",       "tcp:host:",      "tcp::2500",
                             "tcp:host:0",    "tcp:host:65536", "tcp:host:25x",   "tcp:::1:2500",
                             "tcp:[::1:2500", "tcp:[::1]",      "tcp:[::1]2500",  "usb:",
                             "usb:12ab",      "usb:12ab:",      "usb:12ab:34cd:", "usb:12ab:34cd:x",
                             "usb:10000:1",   "usb:12ab:-1",    "usb:3.",         "usb:.3",
                             "usb:3.128",     "usb:256.1",      "usbx",           "usb12ab:34cd"}) {
        sSourceAddress address;
        std::string error;
        const bool parsed = ParseSourceAddress(text, address, error);
        // "usbx" and "usb12ab:34cd" are paths; every other one is refused with a reason.
        if (std::string(text) == "usbx" || std::string(text) == "usb12ab:34cd") {
            EXPECT_TRUE(parsed && address.mKind == SOURCE_PATH) << text;
        } else {
            EXPECT_FALSE(parsed) << text;
            EXPECT_FALSE(error.empty()) << text;
        }
    }
}

TEST(Amounts, SizesInPowersOf1024) {
    const struct {
        const char* mText;
        uint64_t mBytes;
    } good[] = {{"1", 1},
                {"64K", 65536},
                {"64k", 65536},
                {"512M", 536870912ULL},
                {"2G", 2147483648ULL},
                {"1T", 1099511627776ULL}};
    for (const auto& c : good) {
        uint64_t bytes = 0;
        EXPECT_TRUE(ParseSize(c.mText, bytes)) << c.mText;
        EXPECT_EQ(bytes, c.mBytes) << c.mText;
    }
    for (const char* text : {"", "0", "0M", "M", "-1M", "1.5G", "12MB", "1 M", "9999999999T", "1e3", "x"}) {
        uint64_t bytes = 7;
        EXPECT_FALSE(ParseSize(text, bytes)) << text;
    }
}

TEST(Amounts, DurationsInSecondsMinutesHoursDays) {
    const struct {
        const char* mText;
        double mSeconds;
    } good[] = {{"90", 90},     {"45s", 45},    {"30m", 1800},  {"1h", 3600},
                {"1.5h", 5400}, {"2d", 172800}, {"0.25s", 0.25}};
    for (const auto& c : good) {
        double seconds = 0;
        EXPECT_TRUE(ParseDuration(c.mText, seconds)) << c.mText;
        EXPECT_DOUBLE_EQ(seconds, c.mSeconds) << c.mText;
    }
    for (const char* text : {"", "0", "0s", "s", "-5m", "1w", "1hh", "1.2.3s", "4000d", "1 h", ".5s"}) {
        double seconds = 7;
        EXPECT_FALSE(ParseDuration(text, seconds)) << text;
    }
}

TEST(Amounts, AnswerTimeoutNeverZeroNorOverflowing) {
    const struct {
        double mSeconds;
        int mMs;
    } cases[] = {{2, 2000},   {0.3, 300},      {0.0001, 1},      {0.001, 1}, {0.0015, 2},
                 {1e-300, 1}, {3600, 3600000}, {1e300, 3600000}, {0, 1},     {-5, 1}};
    for (const auto& c : cases) {
        EXPECT_EQ(AnswerTimeoutMs(c.mSeconds), c.mMs) << c.mSeconds;
    }
}

TEST(Rotation, NamesOfTheFilesThatFollowTheFirst) {
    const struct {
        const char* mOutput;
        unsigned int mIndex;
        const char* mPath;
    } cases[] = {
        {"rec.isf", 0, "rec.isf"},           {"rec.isf", 1, "rec-0001.isf"},
        {"rec.isf", 12345, "rec-12345.isf"}, {"dir/rec.isf", 2, "dir/rec-0002.isf"},
        {"rec", 1, "rec-0001.isf"},          {"rec.bin", 1, "rec.bin-0001.isf"},
        {".isf", 1, ".isf-0001.isf"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(RotatedPath(c.mOutput, c.mIndex), c.mPath) << c.mOutput << " " << c.mIndex;
    }
}

TEST(Rotation, DueAtTheSizeOrTheTime) {
    sRotationLimits limits;
    limits.mBytes = 1000;
    limits.mSeconds = 60;
    cRotation rotation(limits);
    rotation.Started(100);
    EXPECT_FALSE(rotation.Due(999, 159.9));
    EXPECT_TRUE(rotation.Due(1000, 100));
    EXPECT_TRUE(rotation.Due(0, 160));
    EXPECT_DOUBLE_EQ(rotation.SecondsLeft(130), 30);
    cRotation never{sRotationLimits()};
    EXPECT_FALSE(never.Due(~0ULL, 1e12));
}

TEST(LogGroups, TheDefaultSetIsSignallingMeasurementAndEvents) {
    sLogChoice choice;
    std::string error;
    ASSERT_TRUE(ParseLogChoice("default", choice, error));
    EXPECT_FALSE(choice.mAll);
    EXPECT_TRUE(choice.mEvents);
    // Signalling logs of each technology (the extractor's codes) ...
    for (unsigned int code : {0xB0C0u, 0xB0E2u, 0xB0EDu, 0xB821u, 0xB80Au, 0x512Fu, 0x5B2Fu, 0x5226u, 0x5230u,
                              0x713Au, 0x7B3Au, 0x412Fu}) {
        EXPECT_EQ(choice.mCodes.count(code), 1u) << std::hex << code;
    }
    // ... and the serving-cell and measurement logs.
    for (unsigned int code : {0xB0C1u, 0xB0C2u, 0xB193u, 0xB17Fu, 0xB180u, 0xB192u, 0xB195u, 0xB179u,
                              0xB197u, 0xB188u, 0xB97Fu, 0xB975u, 0xB822u, 0xB823u, 0x4127u, 0x4005u,
                              0x4125u, 0x5134u, 0x5B34u, 0x51FCu, 0x5071u, 0x507Au, 0x507Bu}) {
        EXPECT_EQ(choice.mCodes.count(code), 1u) << std::hex << code;
    }
    EXPECT_EQ(choice.mCodes.size(), OTASignallingLogCodeCount() + 23) << "no code twice, nothing else";
    // Not the unknown or state logs of capture A.
    for (unsigned int code : {0xB0C8u, 0xB0EEu, 0x7130u, 0x513Fu}) {
        EXPECT_EQ(choice.mCodes.count(code), 0u) << std::hex << code;
    }
}

TEST(LogGroups, GroupsCodesAndAll) {
    const struct {
        const char* mList;
        bool mAll, mEvents;
        size_t mCodes;
    } cases[] = {
        {"all", true, false, 0},
        {"events", false, true, 0},
        {"measurement", false, false, 23},
        {"lte", false, false, 11},
        {"0xB0C0,0xb0c0", false, false, 1},
        {"all,events", true, true, 0},
        {"umts,0x713A", false, false, 2},
    };
    for (const auto& c : cases) {
        sLogChoice choice;
        std::string error;
        ASSERT_TRUE(ParseLogChoice(c.mList, choice, error)) << c.mList;
        EXPECT_EQ(choice.mAll, c.mAll) << c.mList;
        EXPECT_EQ(choice.mEvents, c.mEvents) << c.mList;
        EXPECT_EQ(choice.mCodes.size(), c.mCodes) << c.mList;
    }
    for (const char* list : {"lite", "lte,", "0x", "0x10000", "B0C0", "0xB0C0x"}) {
        sLogChoice choice;
        std::string error;
        EXPECT_FALSE(ParseLogChoice(list, choice, error)) << list;
    }
}

TEST(OTAExtractor, SignallingCodesAscendAndEachIsRead) {
    ASSERT_GT(OTASignallingLogCodeCount(), 0u);
    for (size_t i = 1; i < OTASignallingLogCodeCount(); ++i) {
        EXPECT_LT(OTASignallingLogCode(i - 1), OTASignallingLogCode(i));
    }
    EXPECT_EQ(OTASignallingLogCode(OTASignallingLogCodeCount()), 0u);
    // A listed code is looked at as signalling (its empty payload is too short); others are not.
    cOTAExtractor extractor;
    sOTAMessage message;
    for (size_t i = 0; i < OTASignallingLogCodeCount(); ++i) {
        const unsigned int code = OTASignallingLogCode(i);
        const unsigned char packet[16] = {
            0x10, 0, 12, 0, 12, 0, static_cast<unsigned char>(code), static_cast<unsigned char>(code >> 8)};
        EXPECT_NE(extractor.Extract(packet, sizeof packet, message), OTA_EXTRACT_NOT_SIGNALLING)
            << std::hex << code;
    }
    const unsigned char mib[16] = {0x10, 0, 12, 0, 12, 0, 0xC1, 0xB0};
    EXPECT_EQ(extractor.Extract(mib, sizeof mib, message), OTA_EXTRACT_NOT_SIGNALLING);
}

}  // namespace
