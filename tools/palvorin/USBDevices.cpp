#include "tools/palvorin/USBDevices.h"

#include <libusb.h>
#include <limits.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <iterator>

namespace {

const char kSysfs[] = "/sys/bus/usb/devices/";
const int kMaxPorts = 8;  // depth of the USB tree

std::string FirstLine(const std::string& path) {
    std::ifstream file(path);
    std::string line;
    std::getline(file, line);
    return line;
}

std::vector<unsigned char> FileBytes(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return std::vector<unsigned char>((std::istreambuf_iterator<char>(file)),
                                      std::istreambuf_iterator<char>());
}

// The configuration descriptor of `device` asked of the device itself: needs the right to open it.
std::vector<unsigned char> AskConfiguration(libusb_device* device, uint8_t value) {
    std::vector<unsigned char> bytes;
    libusb_device_descriptor descriptor;
    if (libusb_get_device_descriptor(device, &descriptor) != 0) {
        return bytes;
    }
    int index = -1;
    for (uint8_t i = 0; i < descriptor.bNumConfigurations && index < 0; ++i) {
        libusb_config_descriptor* configuration = nullptr;
        if (libusb_get_config_descriptor(device, i, &configuration) == 0) {
            index = configuration->bConfigurationValue == value ? i : -1;
            libusb_free_config_descriptor(configuration);
        }
    }
    libusb_device_handle* handle = nullptr;
    if (index < 0 || libusb_open(device, &handle) != 0) {
        return bytes;
    }
    unsigned char head[9];
    if (libusb_get_descriptor(handle, LIBUSB_DT_CONFIG, static_cast<uint8_t>(index), head, sizeof head) ==
        static_cast<int>(sizeof head)) {
        bytes.resize(static_cast<size_t>(head[2] | head[3] << 8));
        const int got = libusb_get_descriptor(handle, LIBUSB_DT_CONFIG, static_cast<uint8_t>(index),
                                              bytes.data(), static_cast<int>(bytes.size()));
        bytes.resize(got > 0 ? static_cast<size_t>(got) : 0);
    }
    libusb_close(handle);
    return bytes;
}

void ReadInterfaces(sUSBDevice& entry) {
    if (!entry.mSysfsName.empty()) {
        const std::vector<unsigned char> all = FileBytes(kSysfs + entry.mSysfsName + "/descriptors");
        size_t start = 0;
        size_t length = 0;
        if (FindUSBConfiguration(all.data(), all.size(), entry.mConfiguration, start, length)) {
            entry.mInterfacesRead = ReadUSBInterfaces(all.data() + start, length, entry.mInterfaces);
            return;
        }
    }
    const std::vector<unsigned char> bytes = AskConfiguration(entry.mDevice, entry.mConfiguration);
    entry.mInterfacesRead =
        !bytes.empty() && ReadUSBInterfaces(bytes.data(), bytes.size(), entry.mInterfaces);
}

}  // namespace

bool cUSBDeviceList::Load(libusb_context* context, std::string& error) {
    const ssize_t count = libusb_get_device_list(context, &mList);
    if (count < 0) {
        error = libusb_strerror(static_cast<int>(count));
        mList = nullptr;
        return false;
    }
    for (ssize_t i = 0; i < count; ++i) {
        sUSBDevice entry;
        entry.mDevice = mList[i];
        libusb_device_descriptor descriptor;
        if (libusb_get_device_descriptor(entry.mDevice, &descriptor) != 0 ||
            descriptor.bDeviceClass == LIBUSB_CLASS_HUB) {
            continue;
        }
        entry.mBus = libusb_get_bus_number(entry.mDevice);
        entry.mAddress = libusb_get_device_address(entry.mDevice);
        entry.mVendor = descriptor.idVendor;
        entry.mProduct = descriptor.idProduct;
        uint8_t ports[kMaxPorts];
        const int depth = libusb_get_port_numbers(entry.mDevice, ports, kMaxPorts);
        if (depth > 0) {
            entry.mSysfsName = std::to_string(entry.mBus) + "-";
            for (int port = 0; port < depth; ++port) {
                entry.mSysfsName += (port == 0 ? "" : ".") + std::to_string(ports[port]);
            }
            entry.mMaker = FirstLine(kSysfs + entry.mSysfsName + "/manufacturer");
            entry.mModel = FirstLine(kSysfs + entry.mSysfsName + "/product");
        }
        libusb_config_descriptor* configuration = nullptr;
        if (libusb_get_active_config_descriptor(entry.mDevice, &configuration) == 0) {
            entry.mConfiguration = configuration->bConfigurationValue;
            libusb_free_config_descriptor(configuration);
            ReadInterfaces(entry);
        }
        mDevices.push_back(entry);
    }
    return true;
}

cUSBDeviceList::~cUSBDeviceList() {
    if (mList != nullptr) {
        libusb_free_device_list(mList, 1);
    }
}

std::string USBInterfaceDriver(const sUSBDevice& device, uint8_t number) {
    if (device.mSysfsName.empty()) {
        return "";
    }
    const std::string link = kSysfs + device.mSysfsName + ":" + std::to_string(device.mConfiguration) + "." +
                             std::to_string(number) + "/driver";
    char target[PATH_MAX];
    const ssize_t length = readlink(link.c_str(), target, sizeof target - 1);
    if (length <= 0) {
        return "";
    }
    const std::string path(target, static_cast<size_t>(length));
    const size_t slash = path.rfind('/');
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

std::string USBIds(uint16_t vendor, uint16_t product) {
    char ids[16];
    snprintf(ids, sizeof ids, "%04x:%04x", vendor, product);
    return ids;
}
