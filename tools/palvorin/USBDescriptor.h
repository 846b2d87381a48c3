// Finding a USB device's diagnostic interface in its configuration descriptor, from the raw bytes the
// device gives (or the system's copy of them): the part of USB capture that reads bytes from outside,
// kept free of any USB library so that it is tested on built descriptors and fuzzed.
//
// The rule: a vendor-specific interface (class 0xFF, subclass 0xFF, protocol 0x30 or 0xFF) with exactly
// two endpoints, one bulk IN and one bulk OUT. Protocol 0x30 ranks first, then the lowest interface
// number. The network and AT-command ports of the same devices are vendor-specific too but carry an
// interrupt endpoint besides their bulk pair; a debug bridge has another subclass.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

const uint8_t USB_CLASS_VENDOR = 0xFF;
const uint8_t USB_DIAG_SUBCLASS = 0xFF;
const uint8_t USB_DIAG_PROTOCOL = 0x30;
const uint8_t USB_VENDOR_PROTOCOL = 0xFF;

// One interface descriptor (one alternate setting) and a summary of its endpoints.
struct sUSBInterface {
    uint8_t mNumber = 0;
    uint8_t mAlternate = 0;
    uint8_t mClass = 0;
    uint8_t mSubClass = 0;
    uint8_t mProtocol = 0;
    uint8_t mIn = 0;  // address of the first bulk IN endpoint, 0 when there is none
    uint8_t mOut = 0;
    uint16_t mInPacket = 0;  // its largest packet
    uint16_t mOutPacket = 0;
    unsigned int mBulkIn = 0;  // endpoint descriptors of each kind
    unsigned int mBulkOut = 0;
    unsigned int mOtherEndpoints = 0;
};

// Every interface descriptor of the configuration descriptor in `bytes` (`size` of them: the 9-byte
// configuration descriptor, then its interface, endpoint and other descriptors, wTotalLength in all), in
// order. False when the bytes are not a configuration descriptor, or one of its descriptors is shorter
// than 2 bytes or runs past wTotalLength or the bytes; what was read before the fault is in `found`.
bool ReadUSBInterfaces(const unsigned char* bytes, size_t size, std::vector<sUSBInterface>& found);

// Exactly one bulk IN and one bulk OUT endpoint, and no other.
bool HasBulkPair(const sUSBInterface& interface);
// The rule above.
bool IsDiagCandidate(const sUSBInterface& interface);
// The candidates among `interfaces`, best first.
std::vector<sUSBInterface> DiagCandidates(const std::vector<sUSBInterface>& interfaces);

// The configuration descriptor with value `value` in a copy of all of a device's descriptors (the 18-byte
// device descriptor, then each configuration descriptor with its wTotalLength bytes, as Linux keeps them
// in sysfs): its offset and length in `bytes`. False when there is none or the bytes are malformed first.
bool FindUSBConfiguration(const unsigned char* bytes, size_t size, uint8_t value, size_t& start,
                          size_t& length);
