// The tool's path sources on real system objects: a pseudo-terminal set raw for capture and given back its
// settings, kept as it is for record and gone at its hang-up, and paths that cannot be captured from.
// TCP, socket files, FIFOs and USB without a device are driven end to end in tests/tool.
#include <gtest/gtest.h>

#include <pty.h>
#include <termios.h>
#include <unistd.h>

#include <cstring>
#include <string>

#include "tests/ISFTestSupport.h"
#include "tools/palvorin/PathSource.h"
#include "tools/palvorin/USBSource.h"

namespace {

// The first answer of `source` that is not SOURCE_IDLE, within 100 reads of up to 50 ms.
eSourceRead ReadUntilNotIdle(cSource& source) {
    unsigned char buffer[64];
    for (int i = 0; i < 100; ++i) {
        size_t n = 0;
        const eSourceRead read = source.Read(buffer, sizeof buffer, n, 50, nullptr);
        if (read != SOURCE_IDLE) {
            return read;
        }
    }
    return SOURCE_IDLE;
}

sSourceOptions ForCapture(unsigned int baud = 115200) {
    sSourceOptions options;
    options.mBaud = baud;
    options.mForCapture = true;
    return options;
}

// A pseudo-terminal in cooked mode at 9600 baud.
class cPty {
public:
    cPty() {
        termios cooked;
        memset(&cooked, 0, sizeof cooked);
        cooked.c_lflag = ICANON | ECHO;
        cooked.c_oflag = OPOST | ONLCR;
        cooked.c_cflag = CS8 | CREAD | HUPCL;
        cfsetspeed(&cooked, B9600);
        EXPECT_EQ(openpty(&mMaster, &mSlave, nullptr, &cooked, nullptr), 0);
        mName = ttyname(mSlave);
    }
    ~cPty() {
        close(mMaster);
        close(mSlave);
    }
    termios Now() const {
        termios now;
        EXPECT_EQ(tcgetattr(mSlave, &now), 0);
        return now;
    }
    int mMaster = -1;
    int mSlave = -1;
    std::string mName;
};

TEST(ToolSource, ATerminalIsSetRawForCaptureAndGivenBackItsSettings) {
    cPty pty;
    {
        cPathSource port(pty.mName, ForCapture());
        std::string error;
        ASSERT_TRUE(port.Open(error)) << error;
        EXPECT_EQ(port.Kind(), PATH_TERMINAL);
        EXPECT_TRUE(port.CanWrite());
        const termios now = pty.Now();
        EXPECT_EQ(now.c_lflag & (ICANON | ECHO | ISIG), 0u);
        EXPECT_EQ(now.c_oflag & OPOST, 0u);
        EXPECT_EQ(now.c_cflag & (CLOCAL | CRTSCTS), static_cast<tcflag_t>(CLOCAL));
        EXPECT_EQ(cfgetospeed(&now), static_cast<speed_t>(B115200));
    }
    const termios after = pty.Now();
    EXPECT_NE(after.c_lflag & ICANON, 0u) << "the settings came back";
    EXPECT_EQ(cfgetospeed(&after), static_cast<speed_t>(B9600));
}

TEST(ToolSource, ATerminalForRecordKeepsItsSpeedAndAHangUpIsGone) {
    cPty pty;
    cPathSource port(pty.mName, sSourceOptions());
    std::string error;
    ASSERT_TRUE(port.Open(error)) << error;
    EXPECT_FALSE(port.CanWrite());
    const termios now = pty.Now();
    EXPECT_EQ(cfgetospeed(&now), static_cast<speed_t>(B9600));
    EXPECT_EQ(now.c_cflag & CLOCAL, static_cast<tcflag_t>(CLOCAL));
    close(pty.mSlave);
    close(pty.mMaster);
    pty.mSlave = pty.mMaster = -1;
    EXPECT_EQ(ReadUntilNotIdle(port), SOURCE_GONE);
    EXPECT_FALSE(port.Reason().empty());
}

TEST(ToolSource, OpeningErrorsSayWhatIsWrong) {
    isftest::cTempDir dir;
    cPty pty;
    const struct {
        std::string mPath;
        sSourceOptions mOptions;
        const char* mError;
    } cases[] = {
        {dir.File(""), ForCapture(), "is a directory"},
        {"/dev/null", ForCapture(4321), ""},  // not a terminal: the speed means nothing
        {pty.mName, ForCapture(4321), "unsupported speed 4321"},
    };
    for (const auto& c : cases) {
        cPathSource source(c.mPath, c.mOptions);
        std::string error;
        EXPECT_EQ(source.Open(error), c.mError[0] == '\0') << c.mPath;
        EXPECT_EQ(error, c.mError) << c.mPath;
    }
    cPathSource nothing("/dev/null", sSourceOptions());
    std::string error;
    ASSERT_TRUE(nothing.Open(error)) << error;
    EXPECT_EQ(nothing.Kind(), PATH_DEVICE);
    EXPECT_EQ(ReadUntilNotIdle(nothing), SOURCE_END);
}

TEST(ToolSource, TheUdevRuleOfAUSBDevice) {
    EXPECT_EQ(USBUdevRule("1234:abcd"),
              "SUBSYSTEM==\"usb\", ATTR{idVendor}==\"1234\", ATTR{idProduct}==\"abcd\", MODE=\"0660\", "
              "GROUP=\"plugdev\"");
}

}  // namespace
