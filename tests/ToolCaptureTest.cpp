// Live capture against a device acted out in memory (ToolTestSources.h): every try of a request is in the
// file, a late error reply to an earlier try does not fail the next request, a device that goes away and
// comes back is configured again and recorded on in the same file, one that does not come back ends the
// capture with the file closed, and a source that carries one direction is recorded unconfigured.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "tests/ISFTestSupport.h"
#include "tests/ToolTestSources.h"
#include "tools/palvorin/CaptureSession.h"

namespace {

using tooltest::Bytes;
using tooltest::cScriptedDevice;
using tooltest::NumberedLog;

const Bytes kDisable = {0x73, 0, 0, 0, 0, 0, 0, 0};

struct sCaptured {
    int mResult = -1;
    sISFFile mFile;
    std::vector<Bytes> mLogs;      // log packets of the file, in order
    std::vector<Bytes> mRequests;  // requests of the file (protocol 4 items), in order
    size_t mGaps = 0;
};

sCaptured Capture(cSource& device, sCaptureSetup setup, const std::string& path) {
    setup.mTimeoutMs = 50;
    setup.mRetryMs = 10;
    sCaptured captured;
    cStopSignals signals({SIGINT});
    std::string error;
    EXPECT_TRUE(device.Open(error));
    sRecordingSetup recordingSetup;
    recordingSetup.mInput = "scripted";
    recordingSetup.mOutput = path;
    {
        cRecording recording(recordingSetup);
        EXPECT_TRUE(recording.Open(cItemClock(ITEM_CLOCK_PACKET)));
        {
            cCaptureSession session(setup, device, recording, signals);
            captured.mResult = session.Run();
        }
        recording.Flush();
        EXPECT_EQ(recording.Close(0, nullptr), 0);
    }
    captured.mFile = ReadISFFile(path);
    for (const sISFItem& item : captured.mFile.mItems) {
        const Bytes payload(item.mPayload.begin(), item.mPayload.end());
        if (payload[0] == 0x10 && !(payload[6] == 0xFD && payload[7] == 0x1F)) {
            captured.mLogs.push_back(payload);
        } else if (item.mType == ITEM_TYPE_REQUEST) {
            captured.mRequests.push_back(payload);
        }
    }
    return captured;
}

std::vector<Bytes> Logs(uint32_t count) {
    std::vector<Bytes> logs;
    for (uint32_t i = 0; i < count; ++i) {
        logs.push_back(NumberedLog(0xB0C0, i));
    }
    return logs;
}

size_t Count(const std::vector<Bytes>& packets, const Bytes& packet) {
    return static_cast<size_t>(std::count(packets.begin(), packets.end(), packet));
}

TEST(ToolCapture, ConfiguresRecordsEveryPacketAndTurnsLoggingOffAtTheStop) {
    cScriptedDevice device;
    device.mLogs = Logs(20);
    sCaptureSetup setup;
    std::string error;
    ASSERT_TRUE(ParseLogChoice("default", setup.mChoice, error));
    isftest::cTempDir dir;
    const sCaptured captured = Capture(device, setup, dir.File("out.isf"));
    EXPECT_EQ(captured.mResult, 0);
    EXPECT_TRUE(captured.mFile.Consistent() && captured.mFile.mClosed) << isftest::Problems(captured.mFile);
    EXPECT_EQ(captured.mLogs, device.mLogs);
    // Logging off, debug text silenced, ranges, five masks, event reports on; at the stop event reports
    // off, then logging off: every request the device got is in the file.
    ASSERT_EQ(device.mRequests.size(), 11u);
    EXPECT_EQ(captured.mRequests, device.mRequests);
    EXPECT_EQ(device.mRequests[8], Bytes({0x60, 0x01}));
    EXPECT_EQ(device.mRequests[9], Bytes({0x60, 0x00}));
    EXPECT_EQ(device.mRequests[10], kDisable);
}

TEST(ToolCapture, EveryTryOfARequestIsStored) {
    cScriptedDevice device;
    device.mLogs = Logs(3);
    device.mSilentRequests = 2;  // the first two tries of logging off go unanswered
    isftest::cTempDir dir;
    const sCaptured captured = Capture(device, sCaptureSetup(), dir.File("out.isf"));
    EXPECT_EQ(captured.mResult, 0);
    EXPECT_EQ(captured.mLogs, device.mLogs);
    ASSERT_GE(captured.mRequests.size(), 4u);
    EXPECT_EQ(std::vector<Bytes>(captured.mRequests.begin(), captured.mRequests.begin() + 3),
              std::vector<Bytes>(3, kDisable));
    EXPECT_EQ(captured.mRequests, device.mRequests);
}

TEST(ToolCapture, ALateErrorReplyToAnEarlierTryDoesNotFailTheNextRequest) {
    cScriptedDevice device;
    device.mLogs = Logs(3);
    device.mSilentRequests = 1;
    device.mLateErrorToFirst = true;  // "bad command" to the first try, when the next request is out
    isftest::cTempDir dir;
    const sCaptured captured = Capture(device, sCaptureSetup(), dir.File("out.isf"));
    EXPECT_EQ(captured.mResult, 0);
    EXPECT_EQ(captured.mLogs, device.mLogs);
}

TEST(ToolCapture, ADeviceThatComesBackIsConfiguredAgainAndRecordedInTheSameFile) {
    cScriptedDevice device;
    device.mLogs = Logs(30);
    device.mGoneAfterLogs = 12;
    device.mFailedOpens = 3;
    sCaptureSetup setup;
    setup.mReconnect = true;
    isftest::cTempDir dir;
    const sCaptured captured = Capture(device, setup, dir.File("out.isf"));
    EXPECT_EQ(captured.mResult, 0);
    EXPECT_TRUE(captured.mFile.Consistent() && captured.mFile.mClosed) << isftest::Problems(captured.mFile);
    EXPECT_EQ(captured.mLogs, device.mLogs) << "every packet once, in order";
    EXPECT_EQ(device.mOpens, 1 + 3 + 1);
    // Configured twice (logging off is the first request each time), and logging off at the stop.
    EXPECT_EQ(Count(captured.mRequests, kDisable), 3u);
    EXPECT_EQ(captured.mRequests, device.mRequests);
}

TEST(ToolCapture, ADeviceThatDoesNotComeBackEndsTheCaptureWithTheFileClosed) {
    for (bool reconnect : {false, true}) {
        cScriptedDevice device;
        device.mLogs = Logs(30);
        device.mGoneAfterLogs = 5;
        device.mComesBack = false;
        sCaptureSetup setup;
        setup.mReconnect = reconnect;
        setup.mReconnectSeconds = 0.05;
        isftest::cTempDir dir;
        const sCaptured captured = Capture(device, setup, dir.File("out.isf"));
        EXPECT_EQ(captured.mResult, 1) << reconnect;
        EXPECT_TRUE(captured.mFile.Consistent() && captured.mFile.mClosed)
            << isftest::Problems(captured.mFile);
        EXPECT_EQ(captured.mLogs, std::vector<Bytes>(device.mLogs.begin(), device.mLogs.begin() + 5))
            << reconnect;
        EXPECT_EQ(device.mOpens > 1, reconnect);
    }
}

// A device that takes no requests, and a one-way stream whose end is the end of the capture.
TEST(ToolCapture, ASourceOfOneDirectionIsRecordedUnconfigured) {
    cScriptedDevice device;
    device.mLogs = Logs(10);
    device.mWritable = false;
    isftest::cTempDir dir;
    const sCaptured captured = Capture(device, sCaptureSetup(), dir.File("out.isf"));
    EXPECT_EQ(captured.mResult, 0);
    EXPECT_EQ(device.mWrites, 0);
    EXPECT_TRUE(captured.mRequests.empty());
    EXPECT_EQ(captured.mLogs, device.mLogs);

    tooltest::cChunkSource fifo;
    for (const Bytes& log : Logs(5)) {
        fifo.mChunks.push_back(tooltest::Framed(log));
    }
    const sCaptured streamed = Capture(fifo, sCaptureSetup(), dir.File("fifo.isf"));
    EXPECT_EQ(streamed.mResult, 0);
    EXPECT_TRUE(streamed.mFile.Consistent() && streamed.mFile.mClosed) << isftest::Problems(streamed.mFile);
    EXPECT_TRUE(streamed.mRequests.empty());
    EXPECT_EQ(streamed.mLogs, Logs(5));
}

}  // namespace
