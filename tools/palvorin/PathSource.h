// A source named by a path, told apart when it is opened:
//   a terminal (a serial port such as /dev/ttyUSB0): read and written raw (8N1, no echo, no line
//     editing, no translation, no flow control, modem-control lines ignored), at the speed given or the
//     one it has, and given back its settings on Close;
//   another character device (a modem's diagnostic device that is not a terminal): no terminal settings;
//   a FIFO: read only (it carries one direction);
//   a socket file: connected as a Unix stream socket (a local diagnostic router);
//   a regular file: read only, to its end.
// Everything is opened non-blocking (opening never waits for a carrier or a FIFO's writer) and without
// becoming the controlling terminal. For capture the device is opened for writing too and for this
// program alone (flock, and TIOCEXCL on a terminal), so that a second program is told it is busy.
#pragma once

#include <termios.h>

#include "tools/palvorin/FdSource.h"

enum ePathKind {
    PATH_NONE,
    PATH_TERMINAL,
    PATH_DEVICE,
    PATH_FIFO,
    PATH_SOCKET,
    PATH_FILE,
};

class cPathSource : public cFdSource {
public:
    cPathSource(const std::string& path, const sSourceOptions& options);
    ~cPathSource() override;

    bool Open(std::string& error) override;
    void Close() override;
    // What the path turned out to be at the last Open.
    ePathKind Kind() const { return mKind; }

protected:
    eSourceRead AtEnd() override;

private:
    bool OpenSocket(std::string& error);
    bool SetUpTerminal(std::string& error);

    std::string mPath;
    sSourceOptions mOptions;
    ePathKind mKind = PATH_NONE;
    termios mSaved;
    bool mChanged = false;
};

// The termios speed constant of `baud` bits per second; false for a rate the system has no constant for.
bool SerialSpeed(unsigned int baud, speed_t& speed);
