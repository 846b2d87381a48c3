#include "tools/palvorin/USBDescriptor.h"

#include <algorithm>

namespace {

const uint8_t kTypeDevice = 1;
const uint8_t kTypeConfiguration = 2;
const uint8_t kTypeInterface = 4;
const uint8_t kTypeEndpoint = 5;
const size_t kDeviceSize = 18;
const size_t kConfigurationSize = 9;
const size_t kInterfaceSize = 9;
const size_t kEndpointSize = 7;
const uint8_t kDirectionIn = 0x80;
const uint8_t kNumberMask = 0x0F;
const uint8_t kTransferMask = 0x03;
const uint8_t kTransferBulk = 0x02;

unsigned int U16(const unsigned char* at) {
    return static_cast<unsigned int>(at[0]) | static_cast<unsigned int>(at[1]) << 8;
}

void AddEndpoint(sUSBInterface& interface, const unsigned char* endpoint) {
    const uint8_t address = endpoint[2];
    // Endpoint 0 is the control endpoint of every device and never described: such a descriptor is not
    // one of the bulk pair.
    const bool bulk = (endpoint[3] & kTransferMask) == kTransferBulk && (address & kNumberMask) != 0;
    const uint16_t packet = static_cast<uint16_t>(U16(endpoint + 4) & 0x7FF);
    if (!bulk) {
        ++interface.mOtherEndpoints;
    } else if ((address & kDirectionIn) != 0) {
        if (interface.mBulkIn++ == 0) {
            interface.mIn = address;
            interface.mInPacket = packet;
        }
    } else if (interface.mBulkOut++ == 0) {
        interface.mOut = address;
        interface.mOutPacket = packet;
    }
}

unsigned int Rank(const sUSBInterface& interface) {
    return interface.mProtocol == USB_DIAG_PROTOCOL ? 0 : 1;
}

}  // namespace

bool ReadUSBInterfaces(const unsigned char* bytes, size_t size, std::vector<sUSBInterface>& found) {
    if (bytes == nullptr || size < kConfigurationSize || bytes[0] < kConfigurationSize ||
        bytes[1] != kTypeConfiguration) {
        return false;
    }
    const size_t total = U16(bytes + 2);
    const size_t end = std::min(total, size);
    bool whole = total <= size && total >= bytes[0];
    sUSBInterface* current = nullptr;
    size_t at = bytes[0];
    while (at < end) {
        if (end - at < 2 || bytes[at] < 2 || bytes[at] > end - at) {
            whole = false;
            break;
        }
        const size_t length = bytes[at];
        const uint8_t type = bytes[at + 1];
        if (type == kTypeInterface && length >= kInterfaceSize) {
            sUSBInterface interface;
            interface.mNumber = bytes[at + 2];
            interface.mAlternate = bytes[at + 3];
            interface.mClass = bytes[at + 5];
            interface.mSubClass = bytes[at + 6];
            interface.mProtocol = bytes[at + 7];
            found.push_back(interface);
            current = &found.back();
        } else if (type == kTypeEndpoint && length >= kEndpointSize && current != nullptr) {
            AddEndpoint(*current, bytes + at);
        }
        at += length;
    }
    return whole;
}

bool HasBulkPair(const sUSBInterface& interface) {
    return interface.mBulkIn == 1 && interface.mBulkOut == 1 && interface.mOtherEndpoints == 0;
}

bool IsDiagCandidate(const sUSBInterface& interface) {
    return interface.mClass == USB_CLASS_VENDOR && interface.mSubClass == USB_DIAG_SUBCLASS &&
           (interface.mProtocol == USB_DIAG_PROTOCOL || interface.mProtocol == USB_VENDOR_PROTOCOL) &&
           HasBulkPair(interface);
}

std::vector<sUSBInterface> DiagCandidates(const std::vector<sUSBInterface>& interfaces) {
    std::vector<sUSBInterface> candidates;
    for (const sUSBInterface& interface : interfaces) {
        if (IsDiagCandidate(interface)) {
            candidates.push_back(interface);
        }
    }
    std::stable_sort(candidates.begin(), candidates.end(),
                     [](const sUSBInterface& a, const sUSBInterface& b) {
                         return Rank(a) != Rank(b) ? Rank(a) < Rank(b) : a.mNumber < b.mNumber;
                     });
    return candidates;
}

bool FindUSBConfiguration(const unsigned char* bytes, size_t size, uint8_t value, size_t& start,
                          size_t& length) {
    if (bytes == nullptr || size < kDeviceSize || bytes[0] != kDeviceSize || bytes[1] != kTypeDevice) {
        return false;
    }
    size_t at = kDeviceSize;
    while (size - at >= kConfigurationSize) {
        const size_t total = U16(bytes + at + 2);
        if (bytes[at + 1] != kTypeConfiguration || total < kConfigurationSize || total > size - at) {
            return false;
        }
        if (bytes[at + 5] == value) {
            start = at;
            length = total;
            return true;
        }
        at += total;
    }
    return false;
}
