// The GSMTAP encapsulation of live capture. Until the over-the-air message extraction and its GSMTAP
// export join the tool, this one covers the LTE NAS logs alone: their payload is a version byte, three
// release bytes and the NAS message to the end, sent as GSMTAP version 2 type 0x12 (LTE NAS), sub-type 0
// for the plain codes and 1 for the security-protected ones. Replacing the function below by the export's
// encapsulation is the one change live GSMTAP needs to cover every technology.

#include "diag/WireFormat.h"
#include "tools/palvorin/GSMTAPFormat.h"
#include "tools/palvorin/GSMTAPSender.h"

namespace {

const unsigned int kLogHeaderSize = 16;
const unsigned int kNASMessageAt = kLogHeaderSize + 4;
const uint8_t kGSMTAPTypeLTENAS = 0x12;

// LTE NAS over-the-air codes: 0 plain, 1 security-protected, -1 none.
int NASSubType(unsigned int code) {
    switch (code) {
        case 0xB0E2:
        case 0xB0E3:
        case 0xB0EC:
        case 0xB0ED:
            return 0;
        case 0xB0E0:
        case 0xB0E1:
        case 0xB0EA:
        case 0xB0EB:
            return 1;
        default:
            return -1;
    }
}

void EncapsulateLTENAS(const unsigned char* packet, size_t size, GSMTAPDatagrams& datagrams) {
    if (size <= kNASMessageAt || packet[0] != 0x10 || ReadU16(packet + 2) + 4u != size) {
        return;
    }
    const int subType = NASSubType(ReadU16(packet + 6));
    if (subType < 0) {
        return;
    }
    std::vector<unsigned char> datagram(GSMTAP_HEADER_SIZE, 0);
    datagram[GSMTAP_AT_VERSION] = GSMTAP_HEADER_VERSION;
    datagram[GSMTAP_AT_WORDS] = GSMTAP_HEADER_WORDS;
    datagram[GSMTAP_AT_TYPE] = kGSMTAPTypeLTENAS;
    datagram[GSMTAP_AT_SUB_TYPE] = static_cast<unsigned char>(subType);
    datagram.insert(datagram.end(), packet + kNASMessageAt, packet + size);
    datagrams.push_back(std::move(datagram));
}

}  // namespace

GSMTAPEncapsulation LiveGSMTAPEncapsulation() {
    return EncapsulateLTENAS;
}
