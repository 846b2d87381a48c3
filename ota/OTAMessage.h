// Signalling messages carried by over-the-air log packets: what one message is (protocol, channel or
// message kind, direction), where its bytes are, and the radio context its log gives. The extractor
// (ota/OTAExtractor.h) fills one of these records from a log packet; exporters and viewers read it.
#pragma once

#include <cstddef>
#include <cstdint>

// How the message bytes are to be decoded.
enum eOTAProtocol : uint8_t {
    OTA_PROTOCOL_NONE = 0,
    OTA_PROTOCOL_GSM_RR,     // GSM RR layer 3 (channel: eOTAGSMChannel); BCCH/CCCH keep the L2 pseudo-length
    OTA_PROTOCOL_GPRS_MAC,   // GPRS RLC/MAC control message (channel: log channel value, bit 7 removed)
    OTA_PROTOCOL_GSM_L3,     // bare GSM/UMTS layer-3 NAS message: MM, CC, SS, SMS, GMM, SM (channel 0)
    OTA_PROTOCOL_WCDMA_RRC,  // channel: eOTAWCDMAChannel
    OTA_PROTOCOL_LTE_RRC,    // channel: eOTALTERRCChannel
    OTA_PROTOCOL_LTE_NAS,    // EPS NAS (channel: eOTANASKind)
    OTA_PROTOCOL_NR_RRC,     // channel: eOTANRRRCMessage
    OTA_PROTOCOL_NR_NAS,     // 5GS NAS (channel: eOTANASKind)
};

enum eOTADirection : uint8_t {
    OTA_DIRECTION_UNKNOWN = 0,
    OTA_DIRECTION_UPLINK,    // from the handset to the network
    OTA_DIRECTION_DOWNLINK,  // from the network to the handset
};

// GSM RR channel values of the 0x512F / 0x5B2F logs (byte 0, bits 0-6).
enum eOTAGSMChannel : uint8_t {
    OTA_GSM_DCCH = 0,
    OTA_GSM_BCCH = 1,
    OTA_GSM_RACH = 2,
    OTA_GSM_CCCH = 3,
    OTA_GSM_SACCH = 4,
    OTA_GSM_SDCCH = 5,
    OTA_GSM_FACCH_F = 6,
    OTA_GSM_FACCH_H = 7,
    OTA_GSM_RACH_NO_DELAY = 8,
};

// WCDMA RRC channels: the 0x412F channel types 0-8 (the newer layout's 0x80-0x88 with bit 7 removed), and
// OTA_WCDMA_SIB for one system-information block (rebuilt from segments, or a logged extension/decoded SIB),
// whose SIB-Type value is in sOTAMessage::mSIBType.
enum eOTAWCDMAChannel : uint8_t {
    OTA_WCDMA_UL_CCCH = 0,
    OTA_WCDMA_UL_DCCH = 1,
    OTA_WCDMA_DL_CCCH = 2,
    OTA_WCDMA_DL_DCCH = 3,
    OTA_WCDMA_BCCH_BCH = 4,
    OTA_WCDMA_BCCH_FACH = 5,
    OTA_WCDMA_PCCH = 6,
    OTA_WCDMA_MCCH = 7,
    OTA_WCDMA_MSCH = 8,
    OTA_WCDMA_SIB = 9,
};

// sOTAMessage::mSIBType of OTA_WCDMA_SIB: the SIB-Type enumeration of the RRC standard (0 MIB, 1-18 ...,
// 30 SIB5bis, 31 the extension type, whose block type is not given), and two extension blocks that the
// newer 0x412F layout names.
const uint8_t OTA_WCDMA_SIB_EXTENSION_TYPE = 31;
const uint8_t OTA_WCDMA_SIB11BIS = 66;
const uint8_t OTA_WCDMA_SIB19 = 67;

// LTE RRC logical channels (the message's top-level ASN.1 type), whatever PDU-number table the log version
// uses.
enum eOTALTERRCChannel : uint8_t {
    OTA_LTE_BCCH_BCH = 0,
    OTA_LTE_BCCH_DL_SCH,
    OTA_LTE_MCCH,
    OTA_LTE_PCCH,
    OTA_LTE_DL_CCCH,
    OTA_LTE_DL_DCCH,
    OTA_LTE_UL_CCCH,
    OTA_LTE_UL_DCCH,
    OTA_LTE_BCCH_BCH_NB,
    OTA_LTE_BCCH_DL_SCH_NB,
    OTA_LTE_PCCH_NB,
    OTA_LTE_DL_CCCH_NB,
    OTA_LTE_DL_DCCH_NB,
    OTA_LTE_UL_CCCH_NB,
    OTA_LTE_UL_DCCH_NB,
};

// NR RRC messages: a logical channel, or a bare message the log carries outside any channel.
enum eOTANRRRCMessage : uint8_t {
    OTA_NR_BCCH_BCH = 0,
    OTA_NR_BCCH_DL_SCH,
    OTA_NR_DL_CCCH,
    OTA_NR_DL_DCCH,
    OTA_NR_MCCH,
    OTA_NR_PCCH,
    OTA_NR_UL_CCCH,
    OTA_NR_UL_CCCH1,
    OTA_NR_UL_DCCH,
    OTA_NR_RRC_RECONFIGURATION,
    OTA_NR_RRC_RECONFIGURATION_COMPLETE,
    OTA_NR_RADIO_BEARER_CONFIG,
    OTA_NR_UE_MRDC_CAPABILITY,
    OTA_NR_UE_NR_CAPABILITY,
};

// NAS sub-layer as the log code names it (LTE: EMM/ESM; NR: 5GMM/5GSM).
enum eOTANASKind : uint8_t {
    OTA_NAS_MOBILITY = 0,  // EMM, 5GMM
    OTA_NAS_SESSION = 1,   // ESM, 5GSM
};

// Which radio-context fields of a record hold a value.
const uint8_t OTA_HAS_CHANNEL_NUMBER = 1;  // mChannelNumber
const uint8_t OTA_HAS_CELL = 2;            // mCell
const uint8_t OTA_HAS_FRAME = 4;           // mFrame and mSubFrame

struct sOTAMessage {
    eOTAProtocol mProtocol = OTA_PROTOCOL_NONE;
    uint8_t mChannel = 0;  // meaning set by mProtocol (see eOTAProtocol)
    eOTADirection mDirection = OTA_DIRECTION_UNKNOWN;
    bool mSecurityProtected = false;  // NAS: logged under a security-protected code
    uint8_t mSIBType = 0;             // WCDMA OTA_WCDMA_SIB: the SIB-Type value

    uint16_t mLogCode = 0;       // code of the log packet the message came from (inside any wrapper)
    uint32_t mLogVersion = 0;    // version field of the log payload, where the layout has one
    uint64_t mTimestamp = 0;     // the log header's diagnostic timestamp (ISFTime.h converts it)
    uint32_t mSubscription = 0;  // 1-based SIM of a multi-SIM wrapper or dual-SIM log; 0: not given

    // Radio context, valid where mContext says so.
    uint8_t mContext = 0;         // OTA_HAS_* bits
    uint32_t mChannelNumber = 0;  // ARFCN, UARFCN, EARFCN or NR-ARFCN as the log gives it
    uint16_t mCell = 0;           // LTE/NR physical cell id, WCDMA primary scrambling code
    uint16_t mFrame = 0;          // system frame number (LTE: the logged value >> 4)
    uint8_t mSubFrame = 0;        // LTE sub-frame (the logged value & 0xF), NR slot

    // The message bytes. Not owned: they point into the packet handed to the extractor (valid while its
    // caller keeps that packet) or, for a message joined from segments, into the extractor (valid until
    // its next call).
    const unsigned char* mData = nullptr;
    size_t mLength = 0;
};
