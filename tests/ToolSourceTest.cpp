// The sources of the tool on real system objects: a pseudo-terminal set raw and locked, a TCP connection
// and a socket file both ways, a FIFO read to its writer's end, a regular file, character devices that are
// not terminals, and USB up to its "no device" answer on a machine without the device.
#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <pty.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <termios.h>
#include <unistd.h>

#include <string>

#include "tests/ISFTestSupport.h"
#include "tools/palvorin/PathSource.h"
#include "tools/palvorin/TCPSource.h"
#include "tools/palvorin/USBSource.h"

namespace {

using Bytes = std::vector<unsigned char>;

// Reads from `source` until `want` bytes came or a read answers something else than data or idle.
Bytes ReadSome(cSource& source, size_t want, eSourceRead* last = nullptr) {
    Bytes got;
    unsigned char buffer[4096];
    for (int i = 0; i < 100 && got.size() < want; ++i) {
        size_t n = 0;
        const eSourceRead read = source.Read(buffer, sizeof buffer, n, 50, nullptr);
        got.insert(got.end(), buffer, buffer + n);
        if (last != nullptr) {
            *last = read;
        }
        if (read == SOURCE_END || read == SOURCE_GONE) {
            break;
        }
    }
    return got;
}

// The first answer of `source` that is not SOURCE_IDLE, within `tries` reads of up to 50 ms.
eSourceRead ReadUntilNotIdle(cSource& source, int tries = 100) {
    unsigned char buffer[64];
    for (int i = 0; i < tries; ++i) {
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

// `bytes` written by `source` reach `peer` (a connected socket) untouched, and come back the other way.
void ExpectBothWays(cSource& source, int peer, const Bytes& bytes) {
    ASSERT_TRUE(source.Write(bytes.data(), bytes.size(), 1000));
    Bytes heard(bytes.size());
    ASSERT_EQ(recv(peer, heard.data(), heard.size(), MSG_WAITALL), static_cast<ssize_t>(bytes.size()));
    EXPECT_EQ(heard, bytes);
    ASSERT_EQ(send(peer, bytes.data(), bytes.size(), 0), static_cast<ssize_t>(bytes.size()));
    EXPECT_EQ(ReadSome(source, bytes.size()), bytes);
}

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
        CloseMaster();
        if (mSlave >= 0) {
            close(mSlave);
        }
    }
    void CloseMaster() {
        if (mMaster >= 0) {
            close(mMaster);
            mMaster = -1;
        }
    }
    int mMaster = -1;
    int mSlave = -1;
    std::string mName;
};

TEST(ToolSource, ATerminalIsSetRawLockedAndGivenBackItsSettings) {
    cPty pty;
    {
        cPathSource port(pty.mName, ForCapture());
        std::string error;
        ASSERT_TRUE(port.Open(error)) << error;
        EXPECT_EQ(port.Kind(), PATH_TERMINAL);
        EXPECT_TRUE(port.CanWrite());
        termios now;
        ASSERT_EQ(tcgetattr(pty.mSlave, &now), 0);
        EXPECT_EQ(now.c_lflag & (ICANON | ECHO | ISIG), 0u);
        EXPECT_EQ(now.c_oflag & OPOST, 0u);
        EXPECT_EQ(now.c_cflag & CLOCAL, static_cast<tcflag_t>(CLOCAL));
        EXPECT_EQ(now.c_cflag & CRTSCTS, 0u);
        EXPECT_EQ(cfgetospeed(&now), static_cast<speed_t>(B115200));

        // Bytes both ways, untranslated.
        const Bytes down = {0x7E, 0x0A, 0x0D, 0x03, 0x11, 0x13, 0x7D};
        ASSERT_TRUE(port.Write(down.data(), down.size(), 1000));
        Bytes heard(down.size());
        ASSERT_EQ(read(pty.mMaster, heard.data(), heard.size()), static_cast<ssize_t>(down.size()));
        EXPECT_EQ(heard, down);
        ASSERT_EQ(write(pty.mMaster, down.data(), down.size()), static_cast<ssize_t>(down.size()));
        EXPECT_EQ(ReadSome(port, down.size()), down);

        // A second program is told the port is busy.
        cPathSource second(pty.mName, ForCapture());
        EXPECT_FALSE(second.Open(error));
        EXPECT_EQ(error.find("is busy"), 0u) << error;
        EXPECT_NE(error.find("ModemManager"), std::string::npos) << error;
    }
    termios after;
    ASSERT_EQ(tcgetattr(pty.mSlave, &after), 0);
    EXPECT_NE(after.c_lflag & ICANON, 0u) << "the settings came back";
    EXPECT_EQ(cfgetospeed(&after), static_cast<speed_t>(B9600));
}

TEST(ToolSource, ATerminalForRecordKeepsItsSpeedAndAHangUpIsGone) {
    cPty pty;
    cPathSource port(pty.mName, sSourceOptions());
    std::string error;
    ASSERT_TRUE(port.Open(error)) << error;
    EXPECT_FALSE(port.CanWrite());
    termios now;
    ASSERT_EQ(tcgetattr(pty.mSlave, &now), 0);
    EXPECT_EQ(cfgetospeed(&now), static_cast<speed_t>(B9600));
    EXPECT_EQ(now.c_cflag & CLOCAL, static_cast<tcflag_t>(CLOCAL));
    close(pty.mSlave);
    pty.mSlave = -1;
    pty.CloseMaster();
    EXPECT_EQ(ReadUntilNotIdle(port), SOURCE_GONE);
    EXPECT_FALSE(port.Reason().empty());
}

TEST(ToolSource, OpeningErrorsSayWhatIsWrong) {
    isftest::cTempDir dir;
    const std::string file = dir.File("stream.bin");
    close(open(file.c_str(), O_CREAT | O_WRONLY, 0600));
    const struct {
        std::string mPath;
        sSourceOptions mOptions;
        const char* mError;
    } cases[] = {
        {dir.File("missing"), ForCapture(), "does not exist"},
        {dir.File("missing"), sSourceOptions(), "No such file or directory"},
        {file, ForCapture(), "is a regular file, not a device (palvorin record reads files)"},
        {dir.File(""), ForCapture(), "is a directory"},
        {"/dev/null", ForCapture(4321), ""},  // not a terminal: the speed means nothing
    };
    for (const auto& c : cases) {
        cPathSource source(c.mPath, c.mOptions);
        std::string error;
        EXPECT_EQ(source.Open(error), c.mError[0] == '\0') << c.mPath;
        EXPECT_EQ(error, c.mError) << c.mPath;
    }
    cPty pty;
    cPathSource fast(pty.mName, ForCapture(4321));
    std::string error;
    EXPECT_FALSE(fast.Open(error));
    EXPECT_EQ(error, "unsupported speed 4321");
}

TEST(ToolSource, CharacterDevicesThatAreNotTerminals) {
    cPathSource zeros("/dev/zero", ForCapture());
    std::string error;
    ASSERT_TRUE(zeros.Open(error)) << error;
    EXPECT_EQ(zeros.Kind(), PATH_DEVICE);
    EXPECT_TRUE(zeros.CanWrite());
    const Bytes request = {0x73, 0, 0, 0, 0, 0, 0, 0, 0xDA, 0x81, 0x7E};
    EXPECT_TRUE(zeros.Write(request.data(), request.size(), 100));
    EXPECT_EQ(ReadSome(zeros, 1000), Bytes(4096, 0)) << "one read as large as the buffer";
    cPathSource nothing("/dev/null", sSourceOptions());
    ASSERT_TRUE(nothing.Open(error)) << error;
    EXPECT_EQ(ReadUntilNotIdle(nothing), SOURCE_END);
}

TEST(ToolSource, AFIFOIsReadOnlyAndEndsWithItsWriter) {
    isftest::cTempDir dir;
    const std::string path = dir.File("fifo");
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    cPathSource fifo(path, ForCapture());
    std::string error;
    ASSERT_TRUE(fifo.Open(error)) << "opening waits for no writer: " << error;
    EXPECT_EQ(fifo.Kind(), PATH_FIFO);
    EXPECT_FALSE(fifo.CanWrite());
    EXPECT_EQ(ReadUntilNotIdle(fifo, 3), SOURCE_IDLE) << "no writer yet is not the end";
    const int writer = open(path.c_str(), O_WRONLY);
    ASSERT_GE(writer, 0);
    const Bytes bytes = {1, 2, 3, 0x7E};
    ASSERT_EQ(write(writer, bytes.data(), bytes.size()), 4);
    close(writer);
    eSourceRead last = SOURCE_IDLE;
    EXPECT_EQ(ReadSome(fifo, 100, &last), bytes);
    EXPECT_EQ(last, SOURCE_END);
}

TEST(ToolSource, TCPBothWaysAndTheOtherSideClosing) {
    const int listener = socket(AF_INET, SOCK_STREAM, 0);
    ASSERT_GE(listener, 0);
    sockaddr_in address;
    memset(&address, 0, sizeof address);
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    ASSERT_EQ(bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    ASSERT_EQ(listen(listener, 1), 0);
    socklen_t length = sizeof address;
    ASSERT_EQ(getsockname(listener, reinterpret_cast<sockaddr*>(&address), &length), 0);
    const uint16_t port = ntohs(address.sin_port);

    cTCPSource tcp("127.0.0.1", port, "tcp:127.0.0.1:" + std::to_string(port));
    std::string error;
    ASSERT_TRUE(tcp.Open(error)) << error;
    const int peer = accept(listener, nullptr, nullptr);
    ASSERT_GE(peer, 0);
    const Bytes request = {0x73, 0, 0, 0, 1, 0, 0, 0, 0x61, 0x9D, 0x7E};
    ExpectBothWays(tcp, peer, request);
    close(peer);
    EXPECT_EQ(ReadUntilNotIdle(tcp), SOURCE_END);
    EXPECT_FALSE(tcp.Write(request.data(), request.size(), 100) &&
                 tcp.Write(request.data(), request.size(), 100))
        << "writing to a closed connection fails (and raises no SIGPIPE)";
    close(listener);

    cTCPSource refused("127.0.0.1", port, "refused");
    EXPECT_FALSE(refused.Open(error));
    EXPECT_EQ(error, "cannot connect: Connection refused");
}

TEST(ToolSource, ASocketFileIsConnectedBothWays) {
    isftest::cTempDir dir;
    const std::string path = dir.File("diag.sock");
    const int listener = socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address;
    memset(&address, 0, sizeof address);
    address.sun_family = AF_UNIX;
    strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
    ASSERT_EQ(bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    ASSERT_EQ(listen(listener, 1), 0);
    cPathSource socketFile(path, ForCapture());
    std::string error;
    ASSERT_TRUE(socketFile.Open(error)) << error;
    EXPECT_EQ(socketFile.Kind(), PATH_SOCKET);
    const int peer = accept(listener, nullptr, nullptr);
    ASSERT_GE(peer, 0);
    ExpectBothWays(socketFile, peer, {0x60, 0x01, 0x9B, 0x7B, 0x7E});
    close(peer);
    EXPECT_EQ(ReadUntilNotIdle(socketFile), SOURCE_END);
    close(listener);
}

TEST(ToolSource, USBWithoutTheDeviceSaysSo) {
    // Ids that no device has (0000 is reserved); on a machine with no USB at all the answer is the same.
    sSourceAddress address;
    address.mKind = SOURCE_USB;
    address.mVendor = 0x0000;
    address.mProduct = 0x0001;
    cUSBSource usb(address, "usb:0000:0001");
    std::string error;
    EXPECT_FALSE(usb.Open(error));
    EXPECT_TRUE(error == "no USB device 0000:0001 (palvorin devices lists what there is)" ||
                error.find("cannot use USB") == 0)
        << error;
    size_t got = 0;
    unsigned char byte;
    EXPECT_EQ(usb.Read(&byte, 1, got, 10, nullptr), SOURCE_GONE);
    EXPECT_FALSE(usb.Write(&byte, 1, 10));
    EXPECT_EQ(USBUdevRule("1234:abcd"),
              "SUBSYSTEM==\"usb\", ATTR{idVendor}==\"1234\", ATTR{idProduct}==\"abcd\", MODE=\"0660\", "
              "GROUP=\"plugdev\"");
}

}  // namespace
