// A serial device for the diagnostic link, opened for this program alone (flock and TIOCEXCL), read and
// written raw: 8 data bits, no parity, one stop bit, no echo, no line editing, no CR/LF translation, no
// flow-control characters or lines, modem-control lines ignored. The descriptor is non-blocking. The
// device's former settings come back on destruction.
#pragma once

#include <termios.h>

#include <cstddef>
#include <string>

class cSerialPort {
public:
    cSerialPort() {}
    ~cSerialPort();

    // False with a one-line reason in `error` ("does not exist", "is not a terminal", "is busy", ...).
    bool Open(const std::string& path, unsigned int baud, std::string& error);
    int Fd() const { return mFd; }
    // Writes all `size` bytes within `timeoutMs`; false (errno set) when the device refuses or stays full.
    bool WriteAll(const unsigned char* data, size_t size, int timeoutMs);

    cSerialPort(const cSerialPort&) = delete;
    cSerialPort& operator=(const cSerialPort&) = delete;

private:
    int mFd = -1;
    termios mSaved;
    bool mChanged = false;
};

// The termios speed constant of `baud` bits per second; false for a rate the system has no constant for.
bool SerialSpeed(unsigned int baud, speed_t& speed);
