// The USB devices attached, through libusb-1.0, each with its interfaces read from the raw configuration
// descriptor (USBDescriptor.h). Linux keeps a copy of every device's descriptors in sysfs that anyone may
// read, so the interfaces of a device show without the right to open it; where that copy is missing the
// device is opened and asked for its descriptor.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tools/palvorin/USBDescriptor.h"

struct libusb_context;
struct libusb_device;

struct sUSBDevice {
    libusb_device* mDevice = nullptr;  // a reference of the list it came from
    int mBus = 0;
    int mAddress = 0;
    uint16_t mVendor = 0;
    uint16_t mProduct = 0;
    std::string mSysfsName;  // "1-4.2"; empty when the device has no place in sysfs
    std::string mMaker;      // the device's own strings, where the system has them
    std::string mModel;
    uint8_t mConfiguration = 0;              // the active configuration's value; 0: none
    bool mInterfacesRead = false;            // false: the descriptors could not be read
    std::vector<sUSBInterface> mInterfaces;  // every interface of the active configuration
};

// The devices of `context` with their interfaces. Holds a reference to each device until destroyed.
class cUSBDeviceList {
public:
    // False with a reason in `error` when USB cannot be listed at all.
    bool Load(libusb_context* context, std::string& error);
    ~cUSBDeviceList();
    std::vector<sUSBDevice> mDevices;

private:
    libusb_device** mList = nullptr;
};

// The driver the system has bound to interface `number` of `device` ("option", "usbfs", ...), or "".
std::string USBInterfaceDriver(const sUSBDevice& device, uint8_t number);
// "1234:5678" in hex.
std::string USBIds(uint16_t vendor, uint16_t product);
