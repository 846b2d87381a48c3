// What the tool reads from its command line: the SOURCE of capture and record, sizes and durations of the
// rotation, the answer timeout, the names of rotated files and the log groups.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <set>
#include <string>

#include "ota/OTAExtractor.h"
#include "tools/palvorin/Amounts.h"
#include "tools/palvorin/LogGroups.h"
#include "tools/palvorin/Rotation.h"
#include "tools/palvorin/SourceAddress.h"

namespace {

// What `text` becomes as an argument of `kind`, one line: the fields set, or "refused" (with the reason
// for a SOURCE).
std::string Parsed(const std::string& kind, const std::string& text) {
    char line[128] = "refused";
    std::string error;
    sSourceAddress source;
    uint64_t bytes = 0;
    double seconds = 0;
    sLogChoice choice;
    if (kind == "source") {
        if (!ParseSourceAddress(text, source, error)) {
            return "refused: " + error;
        }
        const char* kinds[] = {"path", "stdin", "tcp", "usb"};
        snprintf(line, sizeof line, "%s %s%s port %u usb %d:%d:%d bus %d.%d", kinds[source.mKind],
                 source.mPath.c_str(), source.mHost.c_str(), source.mPort, source.mVendor, source.mProduct,
                 source.mInterface, source.mBus, source.mAddress);
    } else if (kind == "size" && ParseSize(text, bytes)) {
        snprintf(line, sizeof line, "%llu", static_cast<unsigned long long>(bytes));
    } else if (kind == "duration" && ParseDuration(text, seconds)) {
        snprintf(line, sizeof line, "%g", seconds);
    } else if (kind == "timeout") {
        snprintf(line, sizeof line, "%d", AnswerTimeoutMs(strtod(text.c_str(), nullptr)));
    } else if (kind == "rotated") {
        const size_t space = text.rfind(' ');
        return RotatedPath(text.substr(0, space), static_cast<unsigned int>(std::stoul(text.substr(space))));
    } else if (kind == "logs" && ParseLogChoice(text, choice, error)) {
        snprintf(line, sizeof line, "all %d events %d codes %zu", choice.mAll, choice.mEvents,
                 choice.mCodes.size());
    }
    return line;
}

TEST(ToolArguments, EachFormAndWhatItBecomes) {
    const struct {
        const char* mKind;
        const char* mText;
        const char* mParsed;
    } cases[] = {
        {"source", "/dev/ttyUSB0", "path /dev/ttyUSB0 port 0 usb -1:-1:-1 bus -1.-1"},
        {"source", "usbstick.bin", "path usbstick.bin port 0 usb -1:-1:-1 bus -1.-1"},
        {"source", "usb12ab:34cd", "path usb12ab:34cd port 0 usb -1:-1:-1 bus -1.-1"},
        {"source", "-", "stdin  port 0 usb -1:-1:-1 bus -1.-1"},
        {"source", "tcp:modem.lan:1", "tcp modem.lan port 1 usb -1:-1:-1 bus -1.-1"},
        {"source", "tcp:[::1]:65535", "tcp ::1 port 65535 usb -1:-1:-1 bus -1.-1"},
        {"source", "usb", "usb  port 0 usb -1:-1:-1 bus -1.-1"},
        {"source", "usb:0:FFFF", "usb  port 0 usb 0:65535:-1 bus -1.-1"},
        {"source", "usb:abcd:0003:255", "usb  port 0 usb 43981:3:255 bus -1.-1"},
        {"source", "usb:255.127", "usb  port 0 usb -1:-1:-1 bus 255.127"},
        {"source", "tcp:host:0", "refused: tcp:HOST:PORT needs a host and a port from 1 to 65535"},
        {"source", "tcp:host:65536", "refused: tcp:HOST:PORT needs a host and a port from 1 to 65535"},
        {"source", "tcp::2500", "refused: tcp:HOST:PORT needs a host and a port from 1 to 65535"},
        {"source", "tcp:host:25x", "refused: tcp:HOST:PORT needs a host and a port from 1 to 65535"},
        {"source", "tcp:::1:2500",
         "refused: tcp:HOST:PORT needs a host and a port (an IPv6 address in brackets)"},
        {"source", "tcp:[::1]2500", "refused: tcp:[ADDRESS]:PORT needs the closing bracket and a port"},
        {"source", "tcp:[::1]", "refused: tcp:[ADDRESS]:PORT needs the closing bracket and a port"},
        {"source", "usb:10000:1",
         "refused: usb takes :VID:PID, :VID:PID:INTERFACE or :BUS.ADDRESS (ids in hex)"},
        {"source", "usb:12ab",
         "refused: usb takes :VID:PID, :VID:PID:INTERFACE or :BUS.ADDRESS (ids in hex)"},
        {"source", "usb:1:2:256",
         "refused: usb takes :VID:PID, :VID:PID:INTERFACE or :BUS.ADDRESS (ids in hex)"},
        {"source", "usb:256.1",
         "refused: usb takes :VID:PID, :VID:PID:INTERFACE or :BUS.ADDRESS (ids in hex)"},
        {"source", "usb:3.128",
         "refused: usb takes :VID:PID, :VID:PID:INTERFACE or :BUS.ADDRESS (ids in hex)"},
        {"source", "usb12", "path usb12 port 0 usb -1:-1:-1 bus -1.-1"},
        {"size", "1", "1"},
        {"size", "64k", "65536"},
        {"size", "4194304T", "4611686018427387904"},
        {"size", "0", "refused"},
        {"size", "4194305T", "refused"},
        {"size", "1.5G", "refused"},
        {"size", "12MB", "refused"},
        {"duration", "0.25s", "0.25"},
        {"duration", "1.5h", "5400"},
        {"duration", "3660d", "3.16224e+08"},
        {"duration", "0s", "refused"},
        {"duration", "3661d", "refused"},
        {"duration", "1w", "refused"},
        {"duration", ".5s", "refused"},
        {"timeout", "0.0015", "2"},
        {"timeout", "0", "1"},
        {"timeout", "3600", "3600000"},
        {"timeout", "1e300", "3600000"},
        {"rotated", "rec.isf 0", "rec.isf"},
        {"rotated", "dir/rec.isf 2", "dir/rec-0002.isf"},
        {"rotated", "rec.isf 12345", "rec-12345.isf"},
        {"rotated", "rec.bin 1", "rec.bin-0001.isf"},
        {"rotated", ".isf 1", ".isf-0001.isf"},
        {"logs", "all,events", "all 1 events 1 codes 0"},
        {"logs", "measurement", "all 0 events 0 codes 23"},
        {"logs", "umts,0x713A,0xffff", "all 0 events 0 codes 3"},
        {"logs", "lte,", "refused"},
        {"logs", "0x10000", "refused"},
        {"logs", "B0C0", "refused"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(Parsed(c.mKind, c.mText), c.mParsed) << c.mKind << " " << c.mText;
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

// The default set: the extractor's signalling codes, the serving-cell and measurement logs, event reports.
TEST(LogGroups, TheDefaultSetIsSignallingMeasurementAndEvents) {
    sLogChoice choice;
    std::string error;
    ASSERT_TRUE(ParseLogChoice("default", choice, error));
    EXPECT_FALSE(choice.mAll);
    EXPECT_TRUE(choice.mEvents);
    std::set<unsigned int> expected = {0xB0C1, 0xB0C2, 0xB193, 0xB17F, 0xB180, 0xB192, 0xB195, 0xB179,
                                       0xB197, 0xB188, 0xB97F, 0xB975, 0xB822, 0xB823, 0x4127, 0x4005,
                                       0x4125, 0x5134, 0x5B34, 0x51FC, 0x5071, 0x507A, 0x507B};
    for (size_t i = 0; i < OTASignallingLogCodeCount(); ++i) {
        expected.insert(OTASignallingLogCode(i));
    }
    EXPECT_EQ(choice.mCodes, expected);
    for (unsigned int code : {0xB0C0u, 0xB0EDu, 0xB821u, 0x512Fu, 0x5230u, 0x713Au, 0x412Fu}) {
        EXPECT_EQ(choice.mCodes.count(code), 1u) << std::hex << code;
    }
}

TEST(OTAExtractor, SignallingCodesAscendAndEachIsRead) {
    ASSERT_GT(OTASignallingLogCodeCount(), 0u);
    EXPECT_EQ(OTASignallingLogCode(OTASignallingLogCodeCount()), 0u);
    // A listed code is looked at as signalling (its empty payload is too short); others are not.
    cOTAExtractor extractor;
    sOTAMessage message;
    for (size_t i = 0; i < OTASignallingLogCodeCount(); ++i) {
        const unsigned int code = OTASignallingLogCode(i);
        EXPECT_TRUE(i == 0 || OTASignallingLogCode(i - 1) < code) << i;
        const unsigned char packet[16] = {
            0x10, 0, 12, 0, 12, 0, static_cast<unsigned char>(code), static_cast<unsigned char>(code >> 8)};
        EXPECT_NE(extractor.Extract(packet, sizeof packet, message), OTA_EXTRACT_NOT_SIGNALLING)
            << std::hex << code;
    }
    const unsigned char mib[16] = {0x10, 0, 12, 0, 12, 0, 0xC1, 0xB0};
    EXPECT_EQ(extractor.Extract(mib, sizeof mib, message), OTA_EXTRACT_NOT_SIGNALLING);
}

}  // namespace
