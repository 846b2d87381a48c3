// A diagnostic port on a USB interface that no serial driver serves (most phones), through libusb-1.0.
// The device is the one named by its ids or its place, or the first with a diagnostic interface; the
// interface the one named or the one the rule of USBDescriptor.h picks. Its kernel driver is detached (and
// given back on Close), the interface claimed, and bulk transfers carry the framed protocol both ways.
// A read waits at most 200 ms at a time (the caller's loop sees stop signals in between). After the
// device went away, Open finds it again by the ids it had.
#pragma once

#include <cstdint>

#include "tools/palvorin/Source.h"

struct libusb_context;
struct libusb_device_handle;

class cUSBSource : public cSource {
public:
    cUSBSource(const sSourceAddress& address, const std::string& name);
    ~cUSBSource() override;

    bool Open(std::string& error) override;
    eSourceRead Read(unsigned char* into, size_t room, size_t& got, int timeoutMs,
                     const sigset_t* waitMask) override;
    bool Write(const unsigned char* data, size_t size, int timeoutMs) override;
    void Close() override;
    bool CanWrite() const override { return true; }

    // What Open chose, for the capture's first line: "1234:5678 Maker Model, interface 0 (bus 1
    // address 5)".
    const std::string& Chosen() const { return mChosen; }

private:
    sSourceAddress mAddress;
    libusb_context* mContext = nullptr;       // owned
    libusb_device_handle* mHandle = nullptr;  // owned while open
    int mInterface = -1;
    uint8_t mIn = 0;
    uint8_t mOut = 0;
    uint16_t mInPacket = 512;
    std::string mChosen;
};

// The udev rule that lets a user open the USB device `ids` ("1234:5678"), as one line.
std::string USBUdevRule(const std::string& ids);
