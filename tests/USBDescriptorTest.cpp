// Finding the diagnostic interface (the rule in tools/palvorin/USBDescriptor.h) in configuration
// descriptors built here as devices report them, and in descriptors damaged at each length check.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include "tools/palvorin/USBDescriptor.h"

namespace {

using Bytes = std::vector<unsigned char>;

const unsigned char kBulk = 2;
const unsigned char kInterrupt = 3;

// A configuration descriptor built descriptor by descriptor; Built() fills in wTotalLength and the
// interface count.
class cConfiguration {
public:
    explicit cConfiguration(unsigned char value = 1) { mBytes = {9, 2, 0, 0, 0, value, 0, 0x80, 250}; }
    cConfiguration& Interface(unsigned char number, unsigned char protocol, unsigned char endpoints,
                              unsigned char cls = 0xFF, unsigned char sub = 0xFF,
                              unsigned char alternate = 0) {
        mBytes.insert(mBytes.end(), {9, 4, number, alternate, endpoints, cls, sub, protocol, 0});
        mInterfaces += alternate == 0 ? 1 : 0;
        return *this;
    }
    cConfiguration& Endpoint(unsigned char address, unsigned char type = kBulk, unsigned int packet = 512) {
        mBytes.insert(mBytes.end(), {7, 5, address, type, static_cast<unsigned char>(packet),
                                     static_cast<unsigned char>(packet >> 8), 0});
        return *this;
    }
    // A class-specific descriptor (a functional descriptor of a communications interface, say).
    cConfiguration& Other(unsigned char length) {
        mBytes.push_back(length);
        mBytes.push_back(0x24);
        mBytes.insert(mBytes.end(), length - 2, 0x11);
        return *this;
    }
    Bytes Built() const {
        Bytes bytes = mBytes;
        bytes[2] = static_cast<unsigned char>(bytes.size());
        bytes[3] = static_cast<unsigned char>(bytes.size() >> 8);
        bytes[4] = mInterfaces;
        return bytes;
    }

private:
    Bytes mBytes;
    unsigned char mInterfaces = 0;
};

// A phone in its diagnostic mode: the diagnostic port (protocol 0x30, SuperSpeed packets) between a debug
// bridge (another subclass), a network and an AT-command port (an interrupt endpoint besides the bulk
// pair); a mass-storage interface at the end.
Bytes Phone() {
    return cConfiguration()
        .Interface(0, 0x01, 2, 0xFF, 0x42)
        .Endpoint(0x01)
        .Endpoint(0x81)
        .Interface(1, 0xFF, 3)
        .Endpoint(0x82, kInterrupt, 8)
        .Endpoint(0x83)
        .Endpoint(0x02)
        .Interface(2, 0x30, 2)
        .Other(5)
        .Endpoint(0x84, kBulk, 1024)
        .Endpoint(0x03)
        .Interface(3, 0x00, 3, 0xFF, 0x00)
        .Endpoint(0x85, kInterrupt, 10)
        .Endpoint(0x86)
        .Endpoint(0x04)
        .Interface(4, 0x50, 2, 0x08, 0x06)
        .Endpoint(0x87)
        .Endpoint(0x05)
        .Built();
}

Bytes Patched(Bytes bytes, size_t at, unsigned char value) {
    bytes[at] = value;
    return bytes;
}

// "N read:" (after "damaged, " when refused), then the candidates best first as "number.alternate in/out
// packet".
std::string Chosen(const Bytes& bytes) {
    std::vector<sUSBInterface> interfaces;
    const bool whole = ReadUSBInterfaces(bytes.empty() ? nullptr : bytes.data(), bytes.size(), interfaces);
    std::string text = (whole ? "" : "damaged, ") + std::to_string(interfaces.size()) + " read:";
    for (const sUSBInterface& i : DiagCandidates(interfaces)) {
        char one[40];
        snprintf(one, sizeof one, " %u.%u %02x/%02x %u", i.mNumber, i.mAlternate, i.mIn, i.mOut, i.mInPacket);
        text += one;
    }
    return text;
}

TEST(USBDescriptor, TheChosenInterfaceOfEachConfiguration) {
    const Bytes phone = Phone();
    // Up to the diagnostic port's first endpoint: wTotalLength promises more than there is.
    const Bytes cut(phone.begin(), phone.begin() + 9 + 9 + 14 + 9 + 21 + 9 + 5 + 7);
    const struct {
        const char* mName;
        Bytes mBytes;
        const char* mChosen;
    } cases[] = {
        {"the phone", phone, "5 read: 2.0 84/03 1024"},
        {"protocol 0x30 ranks before a lower number",
         cConfiguration()
             .Interface(0, 0xFF, 2)
             .Endpoint(0x81)
             .Endpoint(0x01)
             .Interface(3, 0x30, 2)
             .Endpoint(0x82)
             .Endpoint(0x02)
             .Built(),
         "2 read: 3.0 82/02 512 0.0 81/01 512"},
        {"then the lowest number; OUT first, full-speed packets",
         cConfiguration()
             .Interface(5, 0xFF, 2)
             .Endpoint(0x81)
             .Endpoint(0x01)
             .Interface(1, 0xFF, 2)
             .Endpoint(0x02, kBulk, 64)
             .Endpoint(0x82, kBulk, 64)
             .Built(),
         "2 read: 1.0 82/02 64 5.0 81/01 512"},
        {"an alternate setting; high-bandwidth bits above the packet size",
         cConfiguration()
             .Interface(2, 0x30, 0)
             .Interface(2, 0x30, 2, 0xFF, 0xFF, 1)
             .Endpoint(0x81, kBulk, 0x1A00)
             .Endpoint(0x01)
             .Built(),
         "2 read: 2.1 81/01 512"},
        {"two bulk IN", cConfiguration().Interface(0, 0x30, 2).Endpoint(0x81).Endpoint(0x82).Built(),
         "1 read:"},
        {"endpoint 0 as a bulk OUT",
         cConfiguration().Interface(0, 0x30, 2).Endpoint(0x81).Endpoint(0x00).Built(), "1 read:"},
        {"a bulk IN alone", cConfiguration().Interface(0, 0x30, 1).Endpoint(0x81).Built(), "1 read:"},
        {"protocol 0x01", cConfiguration().Interface(0, 0x01, 2).Endpoint(0x81).Endpoint(0x01).Built(),
         "1 read:"},
        {"class 0x0A", cConfiguration().Interface(0, 0x30, 2, 0x0A).Endpoint(0x81).Endpoint(0x01).Built(),
         "1 read:"},
        {"no interface, wTotalLength 9", cConfiguration().Built(), "0 read:"},
        {"wTotalLength 8", Patched(phone, 2, 8), "damaged, 0 read:"},
        {"cut in the diagnostic port", cut, "damaged, 3 read:"},
        {"8 bytes", Bytes(phone.begin(), phone.begin() + 8), "damaged, 0 read:"},
        {"nothing", Bytes(), "damaged, 0 read:"},
        {"a device descriptor", Patched(phone, 1, 1), "damaged, 0 read:"},
        {"a descriptor of length 1", Patched(phone, 9, 1), "damaged, 0 read:"},
        {"a descriptor of length 2",
         cConfiguration().Other(2).Interface(0, 0x30, 2).Endpoint(0x81).Endpoint(0x01).Built(),
         "1 read: 0.0 81/01 512"},
        {"the last descriptor one byte past the end", Patched(phone, phone.size() - 7, 8),
         "damaged, 5 read: 2.0 84/03 1024"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(Chosen(c.mBytes), c.mChosen) << c.mName;
    }
}

TEST(USBDescriptor, TheActiveConfigurationAmongAllOfADevicesDescriptors) {
    // The device descriptor (18 bytes) and two configurations, as the system keeps them.
    Bytes all = {18, 1, 0x00, 0x02, 0, 0, 0, 64, 0x34, 0x12, 0x78, 0x56, 0, 1, 1, 2, 3, 2};
    const Bytes first = cConfiguration(1).Interface(0, 0x50, 0, 0x08, 0x06).Built();
    const Bytes second = Patched(Phone(), 5, 2);
    all.insert(all.end(), first.begin(), first.end());
    all.insert(all.end(), second.begin(), second.end());
    size_t start = 0;
    size_t length = 0;
    ASSERT_TRUE(FindUSBConfiguration(all.data(), all.size(), 2, start, length));
    EXPECT_EQ(start, 18 + first.size());
    EXPECT_EQ(length, second.size());
    ASSERT_TRUE(FindUSBConfiguration(all.data(), all.size(), 1, start, length));
    EXPECT_EQ(start, 18u);
    EXPECT_FALSE(FindUSBConfiguration(all.data(), all.size(), 3, start, length));
    EXPECT_FALSE(FindUSBConfiguration(all.data(), all.size() - 1, 2, start, length))
        << "the second cut short";
    EXPECT_FALSE(FindUSBConfiguration(all.data(), 17, 1, start, length));
}

}  // namespace
