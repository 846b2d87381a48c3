// Finding the diagnostic interface in a USB configuration descriptor, on descriptor bytes built here as a
// device reports them: a phone whose diagnostic interface sits among several vendor-specific ones, phones
// with two candidates and with none, and damaged descriptors.
#include <gtest/gtest.h>

#include <vector>

#include "tools/palvorin/USBDescriptor.h"

namespace {

using Bytes = std::vector<unsigned char>;

const unsigned char kBulk = 2;
const unsigned char kInterrupt = 3;

// A configuration descriptor built descriptor by descriptor; Bytes() fills in wTotalLength and the
// interface count.
class cConfiguration {
public:
    explicit cConfiguration(unsigned char value = 1) { mBytes = {9, 2, 0, 0, 0, value, 0, 0x80, 250}; }
    cConfiguration& Interface(unsigned char number, unsigned char cls, unsigned char sub,
                              unsigned char protocol, unsigned char endpoints, unsigned char alternate = 0) {
        mBytes.insert(mBytes.end(), {9, 4, number, alternate, endpoints, cls, sub, protocol, 0});
        if (alternate == 0) {
            ++mInterfaces;
        }
        return *this;
    }
    cConfiguration& Endpoint(unsigned char address, unsigned char type, unsigned int packet = 512) {
        mBytes.insert(mBytes.end(), {7, 5, address, type, static_cast<unsigned char>(packet),
                                     static_cast<unsigned char>(packet >> 8), 0});
        return *this;
    }
    // A class-specific descriptor (a functional descriptor of a communications interface, say).
    cConfiguration& Other(unsigned char type, unsigned char length) {
        mBytes.push_back(length);
        mBytes.push_back(type);
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

// A phone in its diagnostic mode: the diagnostic port (protocol 0x30) between a debug bridge, a network
// port and an AT-command port, which are vendor-specific too; a mass-storage interface at the end.
Bytes PhoneWithDiagAmongOthers() {
    return cConfiguration()
        .Interface(0, 0xFF, 0x42, 0x01, 2)  // debug bridge: another subclass
        .Endpoint(0x01, kBulk)
        .Endpoint(0x81, kBulk)
        .Interface(1, 0xFF, 0xFF, 0xFF, 3)  // network port: an interrupt endpoint besides the bulk pair
        .Endpoint(0x82, kInterrupt, 8)
        .Endpoint(0x83, kBulk)
        .Endpoint(0x02, kBulk)
        .Interface(2, 0xFF, 0xFF, 0x30, 2)  // the diagnostic port, at SuperSpeed: 1024-byte packets
        .Other(0x24, 5)
        .Endpoint(0x84, kBulk, 1024)
        .Endpoint(0x03, kBulk)
        .Interface(3, 0xFF, 0x00, 0x00, 3)  // AT-command port
        .Endpoint(0x85, kInterrupt, 10)
        .Endpoint(0x86, kBulk)
        .Endpoint(0x04, kBulk)
        .Interface(4, 0x08, 0x06, 0x50, 2)  // mass storage
        .Endpoint(0x87, kBulk)
        .Endpoint(0x05, kBulk)
        .Built();
}

std::vector<unsigned int> CandidateNumbers(const Bytes& bytes) {
    std::vector<sUSBInterface> interfaces;
    EXPECT_TRUE(ReadUSBInterfaces(bytes.data(), bytes.size(), interfaces));
    std::vector<unsigned int> numbers;
    for (const sUSBInterface& interface : DiagCandidates(interfaces)) {
        numbers.push_back(interface.mNumber);
    }
    return numbers;
}

TEST(USBDescriptor, ThePhonesDiagnosticInterfaceAmongSeveralVendorSpecificOnes) {
    const Bytes bytes = PhoneWithDiagAmongOthers();
    std::vector<sUSBInterface> interfaces;
    ASSERT_TRUE(ReadUSBInterfaces(bytes.data(), bytes.size(), interfaces));
    ASSERT_EQ(interfaces.size(), 5u);
    const std::vector<sUSBInterface> candidates = DiagCandidates(interfaces);
    ASSERT_EQ(candidates.size(), 1u);
    const sUSBInterface& diag = candidates[0];
    EXPECT_EQ(diag.mNumber, 2);
    EXPECT_EQ(diag.mProtocol, 0x30);
    EXPECT_EQ(diag.mIn, 0x84);
    EXPECT_EQ(diag.mOut, 0x03);
    EXPECT_EQ(diag.mInPacket, 1024);
    EXPECT_EQ(interfaces[1].mOtherEndpoints, 1u);
    EXPECT_TRUE(HasBulkPair(interfaces[0])) << "a bulk pair, but another subclass";
    EXPECT_FALSE(IsDiagCandidate(interfaces[0]));
}

TEST(USBDescriptor, TwoCandidatesRankProtocol30FirstThenTheLowestNumber) {
    const struct {
        const char* mName;
        Bytes mBytes;
        std::vector<unsigned int> mOrder;
    } cases[] = {
        {"protocol 0xFF below protocol 0x30",
         cConfiguration()
             .Interface(0, 0xFF, 0xFF, 0xFF, 2)
             .Endpoint(0x81, kBulk)
             .Endpoint(0x01, kBulk)
             .Interface(3, 0xFF, 0xFF, 0x30, 2)
             .Endpoint(0x82, kBulk)
             .Endpoint(0x02, kBulk)
             .Built(),
         {3, 0}},
        {"two of protocol 0xFF",
         cConfiguration()
             .Interface(5, 0xFF, 0xFF, 0xFF, 2)
             .Endpoint(0x81, kBulk, 64)
             .Endpoint(0x01, kBulk, 64)
             .Interface(1, 0xFF, 0xFF, 0xFF, 2)
             .Endpoint(0x82, kBulk)
             .Endpoint(0x02, kBulk)
             .Built(),
         {1, 5}},
        // Full-speed packets (64 bytes), the OUT endpoint first.
        {"one of protocol 0xFF",
         cConfiguration()
             .Interface(0, 0xFF, 0xFF, 0xFF, 2)
             .Endpoint(0x01, kBulk, 64)
             .Endpoint(0x81, kBulk, 64)
             .Built(),
         {0}},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(CandidateNumbers(c.mBytes), c.mOrder) << c.mName;
    }
}

TEST(USBDescriptor, PhonesWithoutADiagnosticInterface) {
    const struct {
        const char* mName;
        Bytes mBytes;
    } cases[] = {
        {"only network and AT ports", cConfiguration()
                                          .Interface(0, 0xFF, 0xFF, 0xFF, 3)
                                          .Endpoint(0x81, kInterrupt, 8)
                                          .Endpoint(0x82, kBulk)
                                          .Endpoint(0x01, kBulk)
                                          .Interface(1, 0xFF, 0x42, 0x01, 2)
                                          .Endpoint(0x83, kBulk)
                                          .Endpoint(0x02, kBulk)
                                          .Built()},
        {"two bulk IN endpoints", cConfiguration()
                                      .Interface(0, 0xFF, 0xFF, 0x30, 2)
                                      .Endpoint(0x81, kBulk)
                                      .Endpoint(0x82, kBulk)
                                      .Built()},
        {"endpoint 0 described as a bulk OUT", cConfiguration()
                                                   .Interface(0, 0xFF, 0xFF, 0x30, 2)
                                                   .Endpoint(0x81, kBulk)
                                                   .Endpoint(0x00, kBulk)
                                                   .Built()},
        {"a bulk IN alone", cConfiguration().Interface(0, 0xFF, 0xFF, 0x30, 1).Endpoint(0x81, kBulk).Built()},
        {"another protocol", cConfiguration()
                                 .Interface(0, 0xFF, 0xFF, 0x01, 2)
                                 .Endpoint(0x81, kBulk)
                                 .Endpoint(0x01, kBulk)
                                 .Built()},
        {"a communications class modem", cConfiguration()
                                             .Interface(0, 0x02, 0x02, 0x01, 1)
                                             .Other(0x24, 5)
                                             .Endpoint(0x81, kInterrupt, 16)
                                             .Interface(1, 0x0A, 0x00, 0x00, 2)
                                             .Endpoint(0x82, kBulk)
                                             .Endpoint(0x01, kBulk)
                                             .Built()},
        {"no interface at all", cConfiguration().Built()},
    };
    for (const auto& c : cases) {
        EXPECT_TRUE(CandidateNumbers(c.mBytes).empty()) << c.mName;
    }
}

TEST(USBDescriptor, AnAlternateSettingIsAnInterfaceOfItsOwn) {
    // Setting 0 has no endpoints; setting 1 carries the bulk pair.
    const Bytes bytes = cConfiguration()
                            .Interface(2, 0xFF, 0xFF, 0x30, 0)
                            .Interface(2, 0xFF, 0xFF, 0x30, 2, 1)
                            .Endpoint(0x81, kBulk)
                            .Endpoint(0x01, kBulk)
                            .Built();
    std::vector<sUSBInterface> interfaces;
    ASSERT_TRUE(ReadUSBInterfaces(bytes.data(), bytes.size(), interfaces));
    const std::vector<sUSBInterface> candidates = DiagCandidates(interfaces);
    ASSERT_EQ(candidates.size(), 1u);
    EXPECT_EQ(candidates[0].mAlternate, 1);
}

TEST(USBDescriptor, DamagedDescriptorsAreReadUpToTheFault) {
    const Bytes good = PhoneWithDiagAmongOthers();
    std::vector<sUSBInterface> interfaces;
    EXPECT_FALSE(ReadUSBInterfaces(good.data(), 8, interfaces))
        << "shorter than the configuration descriptor";
    EXPECT_FALSE(ReadUSBInterfaces(nullptr, 0, interfaces));
    Bytes device = good;
    device[1] = 1;
    EXPECT_FALSE(ReadUSBInterfaces(device.data(), device.size(), interfaces)) << "not a configuration";

    // Cut inside the diagnostic interface's endpoints: wTotalLength promises more than there is.
    const size_t cut = 9 + 9 + 14 + 9 + 21 + 9 + 5 + 7;  // up to the diagnostic port's first endpoint
    interfaces.clear();
    EXPECT_FALSE(ReadUSBInterfaces(good.data(), cut, interfaces));
    ASSERT_EQ(interfaces.size(), 3u);
    EXPECT_FALSE(IsDiagCandidate(interfaces[2])) << "one endpoint of two seen";

    // A descriptor of length 0 or 1 would never end; one longer than what is left runs past the end.
    for (unsigned char length : {0, 1, 200}) {
        Bytes broken = good;
        broken[9] = length;
        interfaces.clear();
        EXPECT_FALSE(ReadUSBInterfaces(broken.data(), broken.size(), interfaces)) << int(length);
        EXPECT_TRUE(interfaces.empty()) << int(length);
    }
    // wTotalLength below the configuration descriptor's own length.
    Bytes small = good;
    small[2] = 4;
    small[3] = 0;
    EXPECT_FALSE(ReadUSBInterfaces(small.data(), small.size(), interfaces));
}

TEST(USBDescriptor, TheActiveConfigurationAmongAllOfADevicesDescriptors) {
    // The device descriptor (18 bytes) and two configurations, as the system keeps them.
    Bytes all = {18, 1, 0x00, 0x02, 0, 0, 0, 64, 0x34, 0x12, 0x78, 0x56, 0, 1, 1, 2, 3, 2};
    const Bytes first = cConfiguration(1).Interface(0, 0x08, 0x06, 0x50, 0).Built();
    const Bytes second = PhoneWithDiagAmongOthers();
    Bytes secondAsTwo = second;
    secondAsTwo[5] = 2;
    all.insert(all.end(), first.begin(), first.end());
    all.insert(all.end(), secondAsTwo.begin(), secondAsTwo.end());
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
