// Live capture against a device acted out in memory (ToolTestSources.h): every try of a request is in the
// file, a late error reply to an earlier try does not fail the next request, and a device that does not
// come back within the reconnect time ends the capture with the file closed.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/ISFTestSupport.h"
#include "tests/ToolTestSources.h"
#include "tools/palvorin/CaptureSession.h"

namespace {

using tooltest::Bytes;
using tooltest::cScriptedDevice;

struct sCaptured {
    int mResult = -1;
    std::vector<Bytes> mLogs;      // log packets of the file, in order
    std::vector<Bytes> mRequests;  // requests of the file, in order
};

// Captures from `device`, streaming `logs` numbered log packets, into a file that must be closed and
// consistent.
sCaptured Capture(cScriptedDevice& device, uint32_t logs, sCaptureSetup setup = sCaptureSetup()) {
    for (uint32_t i = 0; i < logs; ++i) {
        device.mLogs.push_back(tooltest::NumberedLog(0xB0C0, i));
    }
    setup.mTimeoutMs = 50;
    setup.mRetryMs = 10;
    sCaptured captured;
    cStopSignals signals({SIGINT});
    std::string error;
    EXPECT_TRUE(device.Open(error));
    isftest::cTempDir dir;
    sRecordingSetup recordingSetup;
    recordingSetup.mInput = "scripted";
    recordingSetup.mOutput = dir.File("out.isf");
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
    const sISFFile file = ReadISFFile(recordingSetup.mOutput);
    EXPECT_TRUE(file.Consistent() && file.mClosed) << isftest::Problems(file);
    for (const sISFItem& item : file.mItems) {
        const Bytes payload(item.mPayload.begin(), item.mPayload.end());
        if (payload[0] == 0x10 && !(payload[6] == 0xFD && payload[7] == 0x1F)) {
            captured.mLogs.push_back(payload);
        } else if (item.mType == ITEM_TYPE_REQUEST) {
            captured.mRequests.push_back(payload);
        }
    }
    return captured;
}

TEST(ToolCapture, EveryTryOfARequestIsStored) {
    cScriptedDevice device;
    device.mSilentRequests = 2;  // the first two tries of logging off go unanswered
    const sCaptured captured = Capture(device, 3);
    EXPECT_EQ(captured.mResult, 0);
    EXPECT_EQ(captured.mLogs, device.mLogs);
    const Bytes disable = {0x73, 0, 0, 0, 0, 0, 0, 0};
    ASSERT_GE(captured.mRequests.size(), 4u);
    EXPECT_EQ(std::vector<Bytes>(captured.mRequests.begin(), captured.mRequests.begin() + 3),
              std::vector<Bytes>(3, disable));
    EXPECT_EQ(captured.mRequests, device.mRequests);
}

TEST(ToolCapture, ALateErrorReplyToAnEarlierTryDoesNotFailTheNextRequest) {
    cScriptedDevice device;
    device.mSilentRequests = 1;
    device.mLateErrorToFirst = true;  // "bad command" to the first try, when the next request is out
    const sCaptured captured = Capture(device, 3);
    EXPECT_EQ(captured.mResult, 0);
    EXPECT_EQ(captured.mLogs, device.mLogs);
}

TEST(ToolCapture, ADeviceThatDoesNotComeBackEndsTheCaptureWithTheFileClosed) {
    cScriptedDevice device;
    device.mGoneAfterLogs = 5;
    sCaptureSetup setup;
    setup.mReconnect = true;
    setup.mReconnectSeconds = 0.05;
    const sCaptured captured = Capture(device, 30, setup);
    EXPECT_EQ(captured.mResult, 1);
    EXPECT_EQ(captured.mLogs, std::vector<Bytes>(device.mLogs.begin(), device.mLogs.begin() + 5));
    EXPECT_GT(device.mOpens, 1);
}

}  // namespace
