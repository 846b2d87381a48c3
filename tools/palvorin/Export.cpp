#include "tools/palvorin/Export.h"

#include <arpa/inet.h>
#include <osmocom/core/gsmtap.h>

#include <cstring>

namespace {

// Tags of an exported-PDU record: u16 tag, u16 length, value padded to 4 bytes (big-endian numbers).
const uint16_t kTagEnd = 0;
const uint16_t kTagDissectorName = 12;
const uint16_t kTagDissectorTableName = 14;
const uint16_t kTagDissectorTableValue = 32;  // u32 key into the named table
const uint16_t kTagProtocolColumn = 33;       // text of the Protocol column
const uint16_t kTagDirection = 35;            // u32: 0 sent (uplink), 1 received (downlink)

// How the message bytes become a GSM Um payload.
enum eUmFraming : uint8_t {
    UM_AS_LOGGED,  // BCCH/CCCH: the logged message already starts with its L2 pseudo-length; RACH as is
    UM_LAPDM,      // dedicated channels: a LAPDm UI frame header (address, control, length) first
    UM_SACCH,      // the SACCH's 2-byte L1 header, then the LAPDm header
    UM_RLCMAC,     // GPRS control block: a MAC header byte first
};

struct sGSMChannel {
    uint8_t mSubType;
    eUmFraming mFraming;
};

// GSM RR channel values 0-8 (eOTAGSMChannel). Dedicated signalling goes as the LAPDm frame the message
// travels in, so that the analyser shows the channel and decodes the L3 message through LAPDm like a
// frame on the air; the log names SDCCH without saying /4 or /8, hence plain SDCCH. FACCH is the traffic
// channel's own sub-type (GSMTAP names TCH/F and FACCH/F with one number), not its SACCH.
const sGSMChannel kGSMChannels[] = {
    {GSMTAP_CHANNEL_SDCCH, UM_LAPDM},                        // DCCH
    {GSMTAP_CHANNEL_BCCH, UM_AS_LOGGED},                     // BCCH
    {GSMTAP_CHANNEL_RACH, UM_AS_LOGGED},                     // RACH
    {GSMTAP_CHANNEL_CCCH, UM_AS_LOGGED},                     // CCCH (PCH and AGCH)
    {GSMTAP_CHANNEL_ACCH | GSMTAP_CHANNEL_SDCCH, UM_SACCH},  // SACCH
    {GSMTAP_CHANNEL_SDCCH, UM_LAPDM},                        // SDCCH
    {GSMTAP_CHANNEL_FACCH_F, UM_LAPDM},                      // FACCH/F
    {GSMTAP_CHANNEL_FACCH_H, UM_LAPDM},                      // FACCH/H
    {GSMTAP_CHANNEL_RACH, UM_AS_LOGGED},                     // RACH without delay
};
// A LAPDm length indicator has 6 bits: a longer message goes as bare layer 3 over Abis instead.
const size_t kLAPDmMaxLength = 63;

// UMTS RRC channels 0-8 (eOTAWCDMAChannel).
const uint8_t kWCDMAChannels[] = {
    GSMTAP_RRC_SUB_UL_CCCH_Message, GSMTAP_RRC_SUB_UL_DCCH_Message,  GSMTAP_RRC_SUB_DL_CCCH_Message,
    GSMTAP_RRC_SUB_DL_DCCH_Message, GSMTAP_RRC_SUB_BCCH_BCH_Message, GSMTAP_RRC_SUB_BCCH_FACH_Message,
    GSMTAP_RRC_SUB_PCCH_Message,    GSMTAP_RRC_SUB_MCCH_Message,     GSMTAP_RRC_SUB_MSCH_Message};
static_assert(sizeof kWCDMAChannels == OTA_WCDMA_SIB, "one sub-type a WCDMA channel");

// The SIB-Type enumeration (values 0-30) in order; 31, the extension type, has no sub-type (the block
// type is not given).
const uint8_t kWCDMABlocks[] = {
    GSMTAP_RRC_SUB_MasterInformationBlock, GSMTAP_RRC_SUB_SysInfoType1,    GSMTAP_RRC_SUB_SysInfoType2,
    GSMTAP_RRC_SUB_SysInfoType3,           GSMTAP_RRC_SUB_SysInfoType4,    GSMTAP_RRC_SUB_SysInfoType5,
    GSMTAP_RRC_SUB_SysInfoType6,           GSMTAP_RRC_SUB_SysInfoType7,    GSMTAP_RRC_SUB_SysInfoType8,
    GSMTAP_RRC_SUB_SysInfoType9,           GSMTAP_RRC_SUB_SysInfoType10,   GSMTAP_RRC_SUB_SysInfoType11,
    GSMTAP_RRC_SUB_SysInfoType12,          GSMTAP_RRC_SUB_SysInfoType13,   GSMTAP_RRC_SUB_SysInfoType13_1,
    GSMTAP_RRC_SUB_SysInfoType13_2,        GSMTAP_RRC_SUB_SysInfoType13_3, GSMTAP_RRC_SUB_SysInfoType13_4,
    GSMTAP_RRC_SUB_SysInfoType14,          GSMTAP_RRC_SUB_SysInfoType15,   GSMTAP_RRC_SUB_SysInfoType15_1,
    GSMTAP_RRC_SUB_SysInfoType15_2,        GSMTAP_RRC_SUB_SysInfoType15_3, GSMTAP_RRC_SUB_SysInfoType16,
    GSMTAP_RRC_SUB_SysInfoType17,          GSMTAP_RRC_SUB_SysInfoType15_4, GSMTAP_RRC_SUB_SysInfoType18,
    GSMTAP_RRC_SUB_SysInfoTypeSB1,         GSMTAP_RRC_SUB_SysInfoTypeSB2,  GSMTAP_RRC_SUB_SysInfoType15_5,
    GSMTAP_RRC_SUB_SysInfoType5bis};

struct sLTEChannel {
    uint8_t mSubType;
    const char* mDissector;
};

// LTE RRC channels in eOTALTERRCChannel order.
const sLTEChannel kLTEChannels[] = {
    {GSMTAP_LTE_RRC_SUB_BCCH_BCH_Message, "lte_rrc.bcch_bch"},
    {GSMTAP_LTE_RRC_SUB_BCCH_DL_SCH_Message, "lte_rrc.bcch_dl_sch"},
    {GSMTAP_LTE_RRC_SUB_MCCH_Message, "lte_rrc.mcch"},
    {GSMTAP_LTE_RRC_SUB_PCCH_Message, "lte_rrc.pcch"},
    {GSMTAP_LTE_RRC_SUB_DL_CCCH_Message, "lte_rrc.dl_ccch"},
    {GSMTAP_LTE_RRC_SUB_DL_DCCH_Message, "lte_rrc.dl_dcch"},
    {GSMTAP_LTE_RRC_SUB_UL_CCCH_Message, "lte_rrc.ul_ccch"},
    {GSMTAP_LTE_RRC_SUB_UL_DCCH_Message, "lte_rrc.ul_dcch"},
    {GSMTAP_LTE_RRC_SUB_BCCH_BCH_Message_NB, "lte_rrc.bcch_bch.nb"},
    {GSMTAP_LTE_RRC_SUB_BCCH_DL_SCH_Message_NB, "lte_rrc.bcch_dl_sch.nb"},
    {GSMTAP_LTE_RRC_SUB_PCCH_Message_NB, "lte_rrc.pcch.nb"},
    {GSMTAP_LTE_RRC_SUB_DL_CCCH_Message_NB, "lte_rrc.dl_ccch.nb"},
    {GSMTAP_LTE_RRC_SUB_DL_DCCH_Message_NB, "lte_rrc.dl_dcch.nb"},
    {GSMTAP_LTE_RRC_SUB_UL_CCCH_Message_NB, "lte_rrc.ul_ccch.nb"},
    {GSMTAP_LTE_RRC_SUB_UL_DCCH_Message_NB, "lte_rrc.ul_dcch.nb"},
};
static_assert(sizeof kLTEChannels / sizeof kLTEChannels[0] == OTA_LTE_UL_DCCH_NB + 1, "one row a channel");

// NR RRC messages in eOTANRRRCMessage order. RRCReconfigurationComplete has no dissector of its own: it
// goes inside a UL-DCCH message (kNRCompleteChoice).
const char* const kNRMessages[] = {"nr-rrc.bcch.bch",    "nr-rrc.bcch.dl.sch", "nr-rrc.dl.ccch",
                                   "nr-rrc.dl.dcch",     "nr-rrc.mcch",        "nr-rrc.pcch",
                                   "nr-rrc.ul.ccch",     "nr-rrc.ul.ccch1",    "nr-rrc.ul.dcch",
                                   "nr-rrc.rrc_reconf",  "nr-rrc.ul.dcch",     "nr-rrc.radiobearerconfig",
                                   "nr-rrc.ue_mrdc_cap", "nr-rrc.ue_nr_cap"};
static_assert(sizeof kNRMessages / sizeof kNRMessages[0] == OTA_NR_UE_NR_CAPABILITY + 1,
              "one name a message");
// UL-DCCH-Message: choice c1 (1 bit 0), then alternative 1 of 16, rrcReconfigurationComplete (4 bits 0001).
const unsigned char kNRCompleteChoice = 0x01;
const unsigned int kNRCompleteChoiceBits = 5;

// How one message goes out: GSMTAP (type, sub-type, payload framing) and/or a dissector by name.
struct sRoute {
    bool mGSMTAP = false;
    uint8_t mType = 0;
    uint8_t mSubType = 0;
    eUmFraming mFraming = UM_AS_LOGGED;
    const char* mDissector = nullptr;
    bool mNRComplete = false;
};

sRoute RouteOf(const sOTAMessage& message) {
    sRoute route;
    const uint8_t channel = message.mChannel;
    switch (message.mProtocol) {
        case OTA_PROTOCOL_GSM_RR:
            if (channel < sizeof kGSMChannels / sizeof kGSMChannels[0]) {
                route.mGSMTAP = true;
                route.mType = GSMTAP_TYPE_UM;
                route.mSubType = kGSMChannels[channel].mSubType;
                route.mFraming = kGSMChannels[channel].mFraming;
                if (route.mFraming != UM_AS_LOGGED && message.mLength > kLAPDmMaxLength) {
                    route.mType = GSMTAP_TYPE_ABIS;
                    route.mSubType = GSMTAP_CHANNEL_UNKNOWN;
                    route.mFraming = UM_AS_LOGGED;
                }
            }
            break;
        case OTA_PROTOCOL_GPRS_MAC:
            route.mGSMTAP = true;
            route.mType = GSMTAP_TYPE_UM;
            route.mSubType = GSMTAP_CHANNEL_PACCH;
            route.mFraming = UM_RLCMAC;
            break;
        case OTA_PROTOCOL_GSM_L3:
            // Abis carries a bare layer-3 message, which the analyser decodes as DTAP (MM, CC, GMM, SM...).
            route.mGSMTAP = true;
            route.mType = GSMTAP_TYPE_ABIS;
            route.mSubType = GSMTAP_CHANNEL_UNKNOWN;
            break;
        case OTA_PROTOCOL_WCDMA_RRC:
            if (channel < sizeof kWCDMAChannels) {
                route.mGSMTAP = true;
                route.mSubType = kWCDMAChannels[channel];
            } else if (channel == OTA_WCDMA_SIB && message.mSIBType < sizeof kWCDMABlocks) {
                route.mGSMTAP = true;
                route.mSubType = kWCDMABlocks[message.mSIBType];
            } else if (channel == OTA_WCDMA_SIB && message.mSIBType == OTA_WCDMA_SIB11BIS) {
                route.mGSMTAP = true;
                route.mSubType = GSMTAP_RRC_SUB_SysInfoType11bis;
            } else if (channel == OTA_WCDMA_SIB && message.mSIBType == OTA_WCDMA_SIB19) {
                route.mGSMTAP = true;
                route.mSubType = GSMTAP_RRC_SUB_SysInfoType19;
            }
            route.mType = GSMTAP_TYPE_UMTS_RRC;
            break;
        case OTA_PROTOCOL_LTE_RRC:
            if (channel < sizeof kLTEChannels / sizeof kLTEChannels[0]) {
                route.mGSMTAP = true;
                route.mType = GSMTAP_TYPE_LTE_RRC;
                route.mSubType = kLTEChannels[channel].mSubType;
                route.mDissector = kLTEChannels[channel].mDissector;
            }
            break;
        case OTA_PROTOCOL_LTE_NAS:
            route.mGSMTAP = true;
            route.mType = GSMTAP_TYPE_LTE_NAS;
            route.mSubType = message.mSecurityProtected ? GSMTAP_LTE_NAS_SEC_HEADER : GSMTAP_LTE_NAS_PLAIN;
            break;
        case OTA_PROTOCOL_NR_RRC:
            if (channel < sizeof kNRMessages / sizeof kNRMessages[0]) {
                route.mDissector = kNRMessages[channel];
                route.mNRComplete = channel == OTA_NR_RRC_RECONFIGURATION_COMPLETE;
            }
            break;
        case OTA_PROTOCOL_NR_NAS:
            route.mDissector = "nas-5gs";
            break;
        case OTA_PROTOCOL_NONE:
            break;
    }
    return route;
}

bool FitsARFCN(const sOTAMessage& message) {
    return (message.mContext & OTA_HAS_CHANNEL_NUMBER) == 0 || message.mChannelNumber <= GSMTAP_ARFCN_MASK;
}

void Append(std::vector<unsigned char>& out, const unsigned char* data, size_t size) {
    if (size != 0) {
        out.insert(out.end(), data, data + size);
    }
}

// The message bytes as the route's decoder expects them.
void AppendPayload(const sRoute& route, const sOTAMessage& message, std::vector<unsigned char>& out) {
    const unsigned char* data = message.mData;
    const size_t size = data != nullptr ? message.mLength : 0;
    if (route.mNRComplete) {
        // The choice bits first, then the message shifted behind them.
        unsigned int carry = kNRCompleteChoice;
        for (size_t i = 0; i < size; ++i) {
            out.push_back(static_cast<unsigned char>((carry << (8 - kNRCompleteChoiceBits)) |
                                                     (data[i] >> kNRCompleteChoiceBits)));
            carry = data[i] & ((1u << kNRCompleteChoiceBits) - 1);
        }
        out.push_back(static_cast<unsigned char>(carry << (8 - kNRCompleteChoiceBits)));
        return;
    }
    // LAPDm: SAPI 0 address, UI control, length indicator with the EL bit (no more octets follow).
    const unsigned char lapdm[] = {0x01, 0x03, static_cast<unsigned char>((size << 2) | 1)};
    switch (route.mFraming) {
        case UM_SACCH:
            out.push_back(0x00);  // L1 header: power level, timing advance (not logged)
            out.push_back(0x00);
            Append(out, lapdm, sizeof lapdm);
            break;
        case UM_LAPDM:
            Append(out, lapdm, sizeof lapdm);
            break;
        case UM_RLCMAC:
            out.push_back(0x40);  // MAC header: payload type "control block without optional octets"
            break;
        case UM_AS_LOGGED:
            break;
    }
    Append(out, data, size);
}

void PutTag(std::vector<unsigned char>& out, uint16_t tag, const void* value, uint16_t size) {
    const uint16_t padded = static_cast<uint16_t>((size + 3) & ~3u);
    const uint16_t header[2] = {htons(tag), htons(padded)};
    Append(out, reinterpret_cast<const unsigned char*>(header), sizeof header);
    Append(out, static_cast<const unsigned char*>(value), size);
    out.insert(out.end(), padded - size, 0);
}

void PutTag(std::vector<unsigned char>& out, uint16_t tag, const char* text) {
    PutTag(out, tag, text, static_cast<uint16_t>(strlen(text)));
}

void PutTag(std::vector<unsigned char>& out, uint16_t tag, uint32_t value) {
    const uint32_t big = htonl(value);
    PutTag(out, tag, &big, sizeof big);
}

void AppendGSMTAP(const sRoute& route, const sOTAMessage& message, std::vector<unsigned char>& out) {
    gsmtap_hdr header;
    memset(&header, 0, sizeof header);
    header.version = GSMTAP_VERSION;
    header.hdr_len = sizeof header / 4;
    header.type = route.mType;
    header.sub_type = route.mSubType;
    uint16_t arfcn = 0;
    if ((message.mContext & OTA_HAS_CHANNEL_NUMBER) != 0 && message.mChannelNumber <= GSMTAP_ARFCN_MASK) {
        arfcn = static_cast<uint16_t>(message.mChannelNumber);
    }
    if (message.mDirection == OTA_DIRECTION_UPLINK) {
        arfcn |= GSMTAP_ARFCN_F_UPLINK;
    }
    header.arfcn = htons(arfcn);
    if ((message.mContext & OTA_HAS_FRAME) != 0) {
        header.frame_number = htonl(message.mFrame);
    }
    Append(out, reinterpret_cast<const unsigned char*>(&header), sizeof header);
    AppendPayload(route, message, out);
}

}  // namespace

bool BuildGSMTAPPacket(const sOTAMessage& message, std::vector<unsigned char>& out) {
    out.clear();
    const sRoute route = RouteOf(message);
    if (!route.mGSMTAP || (route.mDissector != nullptr && !FitsARFCN(message))) {
        return false;
    }
    AppendGSMTAP(route, message, out);
    return true;
}

eExportRoute BuildExportRecord(const sOTAMessage& message, std::vector<unsigned char>& out) {
    out.clear();
    const sRoute route = RouteOf(message);
    if (route.mGSMTAP && (route.mDissector == nullptr || FitsARFCN(message))) {
        // The tags that hand a record to GSMTAP's UDP port are the same for every GSMTAP record.
        static const std::vector<unsigned char> kGSMTAPTags = [] {
            std::vector<unsigned char> tags;
            PutTag(tags, kTagDissectorTableName, "udp.port");
            PutTag(tags, kTagDissectorTableValue, uint32_t{GSMTAP_UDP_PORT});
            PutTag(tags, kTagEnd, nullptr, 0);
            return tags;
        }();
        out.assign(kGSMTAPTags.begin(), kGSMTAPTags.end());
        AppendGSMTAP(route, message, out);
        return EXPORT_GSMTAP;
    }
    if (route.mDissector == nullptr) {
        return EXPORT_NONE;
    }
    PutTag(out, kTagDissectorName, route.mDissector);
    if (message.mProtocol == OTA_PROTOCOL_NR_RRC) {
        // The dissectors of bare NR RRC messages (RRCReconfiguration...) leave the column empty.
        PutTag(out, kTagProtocolColumn, "NR RRC");
    }
    if (message.mDirection != OTA_DIRECTION_UNKNOWN) {
        PutTag(out, kTagDirection, uint32_t{message.mDirection == OTA_DIRECTION_UPLINK ? 0u : 1u});
    }
    PutTag(out, kTagEnd, nullptr, 0);
    AppendPayload(route, message, out);
    return EXPORT_DISSECTOR;
}
