// What a SOURCE argument of `palvorin capture` and `record` names: a path (a terminal, another character
// device, a FIFO, a socket file or a regular file, told apart when it is opened), "-" for standard input,
// "tcp:HOST:PORT" (HOST a name, an IPv4 address or a bracketed IPv6 address) or a USB device:
// "usb" (the first device with a diagnostic interface), "usb:VID:PID", "usb:VID:PID:INTERFACE" (ids in
// hex, the interface number in decimal) or "usb:BUS.ADDRESS" (decimal, as lsusb shows them).
#pragma once

#include <cstdint>
#include <string>

enum eSourceKind {
    SOURCE_PATH,
    SOURCE_STDIN,
    SOURCE_TCP,
    SOURCE_USB,
};

struct sSourceAddress {
    eSourceKind mKind = SOURCE_PATH;
    std::string mPath;  // SOURCE_PATH
    std::string mHost;  // SOURCE_TCP, without brackets
    uint16_t mPort = 0;
    // SOURCE_USB: a device by its ids (mVendor >= 0), by its place (mBus >= 0), or any (neither).
    int mVendor = -1;
    int mProduct = -1;
    int mInterface = -1;  // -1: the interface the diagnostic rule picks
    int mBus = -1;
    int mAddress = -1;
};

// False with a one-line reason in `error` for a "tcp:" or "usb" argument that does not parse; every other
// argument is a path.
bool ParseSourceAddress(const std::string& text, sSourceAddress& address, std::string& error);
