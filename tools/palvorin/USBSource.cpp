#include "tools/palvorin/USBSource.h"

#include <libusb.h>

#include <algorithm>

#include "tools/palvorin/USBDevices.h"

namespace {

const int kReadSliceMs = 200;
const size_t kLargestRead = 64 * 1024;

const char kRule[] = "(class ff, subclass ff, protocol 30 or ff, with one bulk IN and one bulk OUT endpoint)";

bool Matches(const sSourceAddress& address, const sUSBDevice& device) {
    return (address.mVendor < 0 ||
            (device.mVendor == address.mVendor && device.mProduct == address.mProduct)) &&
           (address.mBus < 0 || (device.mBus == address.mBus && device.mAddress == address.mAddress));
}

// The interface of `device` to use: the one `address` names if it has a bulk pair, else the best candidate.
bool PickInterface(const sSourceAddress& address, const sUSBDevice& device, sUSBInterface& chosen) {
    if (address.mInterface >= 0) {
        for (const sUSBInterface& interface : device.mInterfaces) {
            if (interface.mNumber == address.mInterface && HasBulkPair(interface)) {
                chosen = interface;
                return true;
            }
        }
        return false;
    }
    const std::vector<sUSBInterface> candidates = DiagCandidates(device.mInterfaces);
    if (candidates.empty()) {
        return false;
    }
    chosen = candidates.front();
    return true;
}

std::string Describe(const sUSBDevice& device) {
    std::string text = USBIds(device.mVendor, device.mProduct);
    const std::string names =
        device.mMaker + (device.mMaker.empty() || device.mModel.empty() ? "" : " ") + device.mModel;
    if (!names.empty()) {
        text += " " + names;
    }
    return text;
}

std::string Place(const sUSBDevice& device) {
    return "bus " + std::to_string(device.mBus) + " address " + std::to_string(device.mAddress);
}

}  // namespace

std::string USBUdevRule(const std::string& ids) {
    const size_t colon = ids.find(':');
    return "SUBSYSTEM==\"usb\", ATTR{idVendor}==\"" + ids.substr(0, colon) + "\", ATTR{idProduct}==\"" +
           ids.substr(colon + 1) + "\", MODE=\"0660\", GROUP=\"plugdev\"";
}

cUSBSource::cUSBSource(const sSourceAddress& address, const std::string& name) : mAddress(address) {
    mName = name;
}

cUSBSource::~cUSBSource() {
    Close();
    if (mContext != nullptr) {
        libusb_exit(mContext);
    }
}

void cUSBSource::Close() {
    if (mHandle != nullptr) {
        libusb_release_interface(mHandle, mInterface);
        libusb_close(mHandle);  // the kernel driver detached at Open comes back
        mHandle = nullptr;
    }
}

bool cUSBSource::Open(std::string& error) {
    Close();
    if (mContext == nullptr) {
        const int status = libusb_init(&mContext);
        if (status != 0) {
            mContext = nullptr;
            error = std::string("cannot use USB: ") + libusb_strerror(status);
            return false;
        }
    }
    cUSBDeviceList list;
    if (!list.Load(mContext, error)) {
        error = "cannot list the USB devices: " + error;
        return false;
    }
    const sUSBDevice* device = nullptr;
    const sUSBDevice* without = nullptr;  // a matching device without a usable interface
    sUSBInterface interface;
    for (const sUSBDevice& candidate : list.mDevices) {
        if (!Matches(mAddress, candidate)) {
            continue;
        }
        if (PickInterface(mAddress, candidate, interface)) {
            device = &candidate;
            break;
        }
        without = without != nullptr ? without : &candidate;
    }
    if (device == nullptr) {
        const std::string which =
            mAddress.mVendor >= 0 ? " " + USBIds(static_cast<uint16_t>(mAddress.mVendor),
                                                 static_cast<uint16_t>(mAddress.mProduct))
            : mAddress.mBus >= 0
                ? " at bus " + std::to_string(mAddress.mBus) + " address " + std::to_string(mAddress.mAddress)
                : "";
        if (without == nullptr) {
            error = mAddress.mVendor < 0 && mAddress.mBus < 0
                        ? std::string("no USB device with a diagnostic interface ") + kRule +
                              ": is the phone plugged in, with its diagnostic port switched on? (palvorin "
                              "devices "
                              "lists what there is)"
                        : "no USB device" + which + " (palvorin devices lists what there is)";
        } else if (!without->mInterfacesRead) {
            error = "cannot read the descriptors of USB device " + Describe(*without) + " (" +
                    Place(*without) + "): run as root, or add the udev rule " +
                    USBUdevRule(USBIds(without->mVendor, without->mProduct));
        } else if (mAddress.mInterface >= 0) {
            error = "USB device " + Describe(*without) + " has no interface " +
                    std::to_string(mAddress.mInterface) + " with one bulk IN and one bulk OUT endpoint";
        } else {
            error = "USB device " + Describe(*without) + " has no diagnostic interface " + kRule +
                    "; name one with usb:" + USBIds(without->mVendor, without->mProduct) + ":INTERFACE";
        }
        return false;
    }
    const std::string ids = USBIds(device->mVendor, device->mProduct);
    int status = libusb_open(device->mDevice, &mHandle);
    if (status != 0) {
        mHandle = nullptr;
        error =
            status == LIBUSB_ERROR_ACCESS
                ? "no permission to open USB device " + ids + " (" + Place(*device) +
                      "): add the udev rule " + USBUdevRule(ids) +
                      " to /etc/udev/rules.d/51-palvorin.rules, run sudo udevadm control --reload-rules && "
                      "sudo udevadm trigger, and be in group plugdev (or run as root)"
                : "cannot open USB device " + ids + ": " + libusb_strerror(status);
        return false;
    }
    libusb_set_auto_detach_kernel_driver(mHandle, 1);
    status = libusb_claim_interface(mHandle, interface.mNumber);
    if (status == 0 && interface.mAlternate != 0) {
        status = libusb_set_interface_alt_setting(mHandle, interface.mNumber, interface.mAlternate);
    }
    if (status != 0) {
        libusb_close(mHandle);
        mHandle = nullptr;
        error = status == LIBUSB_ERROR_BUSY
                    ? "interface " + std::to_string(interface.mNumber) + " of USB device " + ids +
                          " is busy: another program holds it (ModemManager often does: sudo systemctl stop "
                          "ModemManager)"
                    : "cannot claim interface " + std::to_string(interface.mNumber) + " of USB device " +
                          ids + ": " + libusb_strerror(status);
        return false;
    }
    mInterface = interface.mNumber;
    mIn = interface.mIn;
    mOut = interface.mOut;
    mInPacket = interface.mInPacket != 0 ? interface.mInPacket : 512;
    mChosen =
        Describe(*device) + ", interface " + std::to_string(interface.mNumber) + " (" + Place(*device) + ")";
    // Found again by these after the device went away and came back at another address.
    mAddress.mVendor = device->mVendor;
    mAddress.mProduct = device->mProduct;
    mAddress.mInterface = interface.mNumber;
    mAddress.mBus = mAddress.mAddress = -1;
    return true;
}

eSourceRead cUSBSource::Read(unsigned char* into, size_t room, size_t& got, int timeoutMs, const sigset_t*) {
    got = 0;
    if (mHandle == nullptr) {
        mReason = "not open";
        return SOURCE_GONE;
    }
    // Whole packets, so that the device never sends more than the transfer takes.
    size_t length = std::min(room, kLargestRead);
    if (length >= mInPacket) {
        length -= length % mInPacket;
    }
    const int wait = timeoutMs < 0 ? kReadSliceMs : std::max(1, std::min(timeoutMs, kReadSliceMs));
    int transferred = 0;
    const int status = libusb_bulk_transfer(mHandle, mIn, into, static_cast<int>(length), &transferred,
                                            static_cast<unsigned int>(wait));
    if (transferred > 0) {
        got = static_cast<size_t>(transferred);
        return SOURCE_DATA;
    }
    switch (status) {
        case 0:
        case LIBUSB_ERROR_TIMEOUT:
        case LIBUSB_ERROR_INTERRUPTED:
            return SOURCE_IDLE;
        case LIBUSB_ERROR_PIPE:
            libusb_clear_halt(mHandle, mIn);
            return SOURCE_IDLE;
        case LIBUSB_ERROR_OVERFLOW:
            // More than the read could take (only when less room than one packet was offered): that
            // packet is lost, and its frame counts as bad; the device itself is fine.
            return SOURCE_IDLE;
        case LIBUSB_ERROR_NO_DEVICE:
            mReason = "unplugged";
            return SOURCE_GONE;
        default:
            mReason = libusb_strerror(status);
            return SOURCE_GONE;
    }
}

bool cUSBSource::Write(const unsigned char* data, size_t size, int timeoutMs) {
    if (mHandle == nullptr) {
        mReason = "not open";
        return false;
    }
    size_t done = 0;
    while (done < size) {
        int transferred = 0;
        const int status = libusb_bulk_transfer(mHandle, mOut, const_cast<unsigned char*>(data + done),
                                                static_cast<int>(size - done), &transferred,
                                                static_cast<unsigned int>(std::max(1, timeoutMs)));
        done += transferred > 0 ? static_cast<size_t>(transferred) : 0;
        if (status != 0 && done < size) {
            mReason = std::string("cannot write: ") +
                      (status == LIBUSB_ERROR_NO_DEVICE ? "unplugged" : libusb_strerror(status));
            return false;
        }
    }
    return true;
}
