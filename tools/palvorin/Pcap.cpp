// palvorin pcap: the over-the-air logs of an ISF file as GSMTAP packets in UDP over IPv4 (raw IP link
// type), which packet analysers decode by the UDP port. WCDMA RRC logs are exported by channel type, and
// the system-information blocks that the reassembly rebuilt by their block type; everything else is
// counted as skipped.

#include <errno.h>
#include <pcap/pcap.h>

#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "diag/OTACodes.h"
#include "tools/ISFReader.h"
#include "tools/palvorin/Commands.h"
#include "tools/palvorin/GSMTAPFormat.h"
#include "tools/palvorin/ItemInfo.h"
#include "tools/palvorin/Problems.h"

namespace {

const unsigned int kIPv4HeaderSize = 20;
const unsigned int kUDPHeaderSize = 8;
const unsigned int kLogPayloadAt = 16;  // start of a log packet's payload
// WCDMA RRC log payload: channel type, header byte, u16 message length, message.
const unsigned int kRRCMessageAt = 4;
const unsigned char kRebuiltFromBCH = 254;
const unsigned char kRebuiltFromFACH = 255;
const uint64_t kMsFrom1601To1970 = FILETIME_UNIX_EPOCH / FILETIME_UNITS_PER_MS;

// RRC channel types 0..8 of a WCDMA RRC log, in order.
const uint8_t kChannelSubTypes[] = {GSMTAP_RRC_UL_CCCH, GSMTAP_RRC_UL_DCCH,  GSMTAP_RRC_DL_CCCH,
                                    GSMTAP_RRC_DL_DCCH, GSMTAP_RRC_BCCH_BCH, GSMTAP_RRC_BCCH_FACH,
                                    GSMTAP_RRC_PCCH,    GSMTAP_RRC_MCCH,     GSMTAP_RRC_MSCH};

// The SIB-Type enumeration (values 0..29) in order; 30 (SIB 5bis) follows, 31 is the extension type.
const uint8_t kSIBSubTypes[] = {
    GSMTAP_RRC_MIB,     GSMTAP_RRC_SIB1,    GSMTAP_RRC_SIB2,    GSMTAP_RRC_SIB3,  GSMTAP_RRC_SIB4,
    GSMTAP_RRC_SIB5,    GSMTAP_RRC_SIB6,    GSMTAP_RRC_SIB7,    GSMTAP_RRC_SIB8,  GSMTAP_RRC_SIB9,
    GSMTAP_RRC_SIB10,   GSMTAP_RRC_SIB11,   GSMTAP_RRC_SIB12,   GSMTAP_RRC_SIB13, GSMTAP_RRC_SIB13_1,
    GSMTAP_RRC_SIB13_2, GSMTAP_RRC_SIB13_3, GSMTAP_RRC_SIB13_4, GSMTAP_RRC_SIB14, GSMTAP_RRC_SIB15,
    GSMTAP_RRC_SIB15_1, GSMTAP_RRC_SIB15_2, GSMTAP_RRC_SIB15_3, GSMTAP_RRC_SIB16, GSMTAP_RRC_SIB17,
    GSMTAP_RRC_SIB15_4, GSMTAP_RRC_SIB18,   GSMTAP_RRC_SB1,     GSMTAP_RRC_SB2,   GSMTAP_RRC_SIB15_5,
    GSMTAP_RRC_SIB5BIS};
const unsigned int kSIBTypeCount = sizeof kSIBSubTypes / sizeof kSIBSubTypes[0];

const char* const kChannelNames[] = {"UL-CCCH",   "UL-DCCH", "DL-CCCH", "DL-DCCH", "BCCH-BCH",
                                     "BCCH-FACH", "PCCH",    "MCCH",    "MSCH"};
const char* const kSIBNames[] = {
    "MasterInformationBlock", "SysInfoType1",    "SysInfoType2",    "SysInfoType3",   "SysInfoType4",
    "SysInfoType5",           "SysInfoType6",    "SysInfoType7",    "SysInfoType8",   "SysInfoType9",
    "SysInfoType10",          "SysInfoType11",   "SysInfoType12",   "SysInfoType13",  "SysInfoType13-1",
    "SysInfoType13-2",        "SysInfoType13-3", "SysInfoType13-4", "SysInfoType14",  "SysInfoType15",
    "SysInfoType15-1",        "SysInfoType15-2", "SysInfoType15-3", "SysInfoType16",  "SysInfoType17",
    "SysInfoType15-4",        "SysInfoType18",   "SysInfoTypeSB1",  "SysInfoTypeSB2", "SysInfoType15-5",
    "SysInfoType5bis"};
static_assert(sizeof kChannelNames / sizeof kChannelNames[0] == sizeof kChannelSubTypes,
              "one name a channel");
static_assert(sizeof kSIBNames / sizeof kSIBNames[0] == kSIBTypeCount, "one name a block type");

const char* TechnologyName(eOTATechnology technology) {
    switch (technology) {
        case OTA_CDMA:
            return "CDMA";
        case OTA_CDMA1XEV:
            return "CDMA 1xEV";
        case OTA_GSM:
            return "GSM";
        case OTA_UMTS:
            return "UMTS NAS";
        case OTA_WCDMA:
            return "WCDMA";
        case OTA_UMB:
            return "UMB";
        case OTA_WLAN:
            return "WLAN";
        default:
            return "over-the-air without a technology";
    }
}

void PutBE(unsigned char* out, uint32_t value, unsigned int size) {
    for (unsigned int i = 0; i < size; ++i) {
        out[i] = static_cast<unsigned char>(value >> (8 * (size - 1 - i)));
    }
}

// IPv4 (loopback to loopback) and UDP headers, the GSMTAP header, then the RRC bytes.
// Into `packet`, which keeps its allocation from one packet to the next.
void Packet(std::vector<unsigned char>& packet, uint8_t subType, const unsigned char* data, size_t size) {
    packet.assign(kIPv4HeaderSize + kUDPHeaderSize + GSMTAP_HEADER_SIZE + size, 0);
    unsigned char* ip = packet.data();
    ip[0] = 0x45;  // version 4, 5 words
    PutBE(ip + 2, static_cast<uint32_t>(packet.size()), 2);
    ip[8] = 64;  // time to live
    ip[9] = 17;  // UDP
    PutBE(ip + 12, 0x7F000001, 4);
    PutBE(ip + 16, 0x7F000001, 4);
    uint32_t sum = 0;
    for (unsigned int i = 0; i < kIPv4HeaderSize; i += 2) {
        sum += (uint32_t{ip[i]} << 8) | ip[i + 1];
    }
    while (sum > 0xFFFF) {
        sum = (sum & 0xFFFF) + (sum >> 16);
    }
    PutBE(ip + 10, ~sum & 0xFFFF, 2);
    unsigned char* udp = ip + kIPv4HeaderSize;
    PutBE(udp, GSMTAP_PORT, 2);
    PutBE(udp + 2, GSMTAP_PORT, 2);
    PutBE(udp + 4, static_cast<uint32_t>(kUDPHeaderSize + GSMTAP_HEADER_SIZE + size), 2);  // checksum 0: none
    unsigned char* gsmtap = udp + kUDPHeaderSize;
    gsmtap[GSMTAP_AT_VERSION] = GSMTAP_HEADER_VERSION;
    gsmtap[GSMTAP_AT_WORDS] = GSMTAP_HEADER_WORDS;
    gsmtap[GSMTAP_AT_TYPE] = GSMTAP_TYPE_UMTS_RRC_MESSAGE;
    gsmtap[GSMTAP_AT_SUB_TYPE] = subType;
    if (size != 0) {
        memcpy(gsmtap + GSMTAP_HEADER_SIZE, data, size);
    }
}

class cExport {
public:
    // What an item becomes: a sub-type and the RRC bytes, or a reason to skip it.
    bool Choose(const sISFItem& item, uint8_t& subType, const char*& name, const unsigned char*& data,
                size_t& size) {
        const sPacketInfo info = DescribePacket(item.mPayload.data(), item.mPayload.size(), false);
        if (!info.mIsOTA) {
            return false;
        }
        const eOTATechnology technology = OTATechnologyOf(info.mLogCode);
        if (technology != OTA_WCDMA) {
            ++mSkipped[std::string(TechnologyName(technology)) + " logs (no export for this technology yet)"];
            return false;
        }
        // A valid WCDMA view has the 4-byte payload header and a message length that matches the payload.
        const unsigned char* payload = item.mPayload.data() + kLogPayloadAt;
        const unsigned int channel = payload[0];
        const size_t length = item.mPayload.size() - kLogPayloadAt - kRRCMessageAt;
        data = payload + kRRCMessageAt;
        if (channel < sizeof kChannelSubTypes) {
            subType = kChannelSubTypes[channel];
            name = kChannelNames[channel];
            size = length;
            return true;
        }
        if (channel == kRebuiltFromBCH || channel == kRebuiltFromFACH) {
            if (length == 0) {
                ++mSkipped["rebuilt blocks without a block type"];
                return false;
            }
            const unsigned int sibType = data[0];
            if (sibType >= kSIBTypeCount) {
                ++mSkipped["rebuilt blocks of the extension type (31)"];
                return false;
            }
            subType = kSIBSubTypes[sibType];
            name = kSIBNames[sibType];
            ++data;
            size = length - 1;
            return true;
        }
        ++mSkipped["WCDMA RRC logs of channel type " + std::to_string(channel)];
        return false;
    }

    std::map<std::string, uint64_t> mSkipped;
};

// Writes each exported item as the reader finds it; the output file is created with the first item, so a
// file that cannot be read leaves none.
class cPcapItems : public cISFVisitor {
public:
    explicit cPcapItems(const std::string& output) : mOutput(output) {}
    ~cPcapItems() {
        if (mDumper != nullptr) {
            pcap_dump_close(mDumper);
        }
        if (mDead != nullptr) {
            pcap_close(mDead);
        }
    }
    cPcapItems(const cPcapItems&) = delete;
    cPcapItems& operator=(const cPcapItems&) = delete;

    bool Start() {
        if (mDead != nullptr) {
            return mDumper != nullptr;
        }
        mDead = pcap_open_dead(DLT_RAW, 65535);
        if (mDead == nullptr) {
            fprintf(stderr, "palvorin: cannot set up the pcap writer\n");
            return false;
        }
        // Written in 1 MB pieces: the export is often as large as the file it comes from.
        FILE* file = fopen(mOutput.c_str(), "wb");
        if (file == nullptr) {
            fprintf(stderr, "palvorin: cannot write %s: %s\n", mOutput.c_str(), strerror(errno));
            return false;
        }
        setvbuf(file, nullptr, _IOFBF, 1 << 20);
        mDumper = pcap_dump_fopen(mDead, file);
        if (mDumper == nullptr) {
            fprintf(stderr, "palvorin: cannot write %s: %s\n", mOutput.c_str(), pcap_geterr(mDead));
            fclose(file);
            return false;
        }
        return true;
    }
    // Flushes and closes the output; false when writing failed.
    bool Finish() {
        const bool written = pcap_dump_flush(mDumper) == 0 && !ferror(pcap_dump_file(mDumper));
        pcap_dump_close(mDumper);
        mDumper = nullptr;
        return written;
    }

    bool Item(const sISFItem& item) override {
        if (mDumper == nullptr && !Start()) {
            mFailed = true;
            return false;
        }
        uint8_t subType = 0;
        const char* name = nullptr;
        const unsigned char* data = nullptr;
        size_t size = 0;
        if (!mExporter.Choose(item, subType, name, data, size)) {
            return true;
        }
        std::vector<unsigned char>& packet = mPacket;
        Packet(packet, subType, data, size);
        pcap_pkthdr header;
        const uint64_t unixMs = item.mTimeMs > kMsFrom1601To1970 ? item.mTimeMs - kMsFrom1601To1970 : 0;
        header.ts.tv_sec = static_cast<time_t>(unixMs / 1000);
        header.ts.tv_usec = static_cast<suseconds_t>((unixMs % 1000) * 1000);
        header.caplen = header.len = static_cast<bpf_u_int32>(packet.size());
        pcap_dump(reinterpret_cast<u_char*>(mDumper), &header, packet.data());
        ++mExported;
        ++mBySubType[subType];
        mSubTypeNames[subType] = name;
        return true;
    }
    void Problem(const std::string& text) override { mProblems.Add(text); }

    cExport mExporter;
    uint64_t mExported = 0;
    uint64_t mBySubType[256] = {};  // by GSMTAP sub-type, each of which has one name
    const char* mSubTypeNames[256] = {};
    std::vector<unsigned char> mPacket;
    sProblemList mProblems;
    bool mFailed = false;

private:
    const std::string& mOutput;
    pcap_t* mDead = nullptr;
    pcap_dumper_t* mDumper = nullptr;
};

}  // namespace

int RunPcap(const std::string& input, const std::string& output) {
    cISFReader reader;
    if (!reader.Open(input)) {
        fprintf(stderr, "palvorin: %s\n", reader.Error().c_str());
        return 1;
    }
    cPcapItems items(output);
    const sISFSummary file = reader.Walk(items);
    if (items.mFailed) {
        return 1;
    }
    if (file.mItems == 0 && file.mProblems != 0) {
        ReportProblems(input, items.mProblems);
        return 1;
    }
    if (!items.Start()) {
        return 1;
    }
    if (!items.Finish()) {
        fprintf(stderr, "palvorin: writing %s failed\n", output.c_str());
        return 1;
    }
    printf("exported %" PRIu64 " packets from %s into %s (GSMTAP, UDP port %u)\n", items.mExported,
           input.c_str(), output.c_str(), GSMTAP_PORT);
    for (unsigned int subType = 0; subType < 256; ++subType) {
        if (items.mBySubType[subType] != 0) {
            printf("  %-24s (UMTS RRC sub-type %2u) %" PRIu64 "\n", items.mSubTypeNames[subType], subType,
                   items.mBySubType[subType]);
        }
    }
    for (const auto& entry : items.mExporter.mSkipped) {
        printf("  skipped %" PRIu64 " %s\n", entry.second, entry.first.c_str());
    }
    ReportProblems(input, items.mProblems);
    return 0;
}
