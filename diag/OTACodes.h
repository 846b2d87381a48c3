// The log codes of over-the-air signalling logs, by technology.
#pragma once

enum eOTATechnology : unsigned int {
    OTA_NONE,  // not an OTA log code
    OTA_CDMA,
    OTA_CDMA1XEV,
    OTA_GSM,
    OTA_UMTS,
    OTA_WCDMA,
    OTA_UMB,
    OTA_WLAN,
    OTA_UNCLASSIFIED,  // accepted with no payload check and an empty OTA type
};

// Codes named by the payload checks and the extractions.
const unsigned int OTA_CDMA_4100 = 0x1004;
const unsigned int OTA_CDMA_4103 = 0x1007;
const unsigned int OTA_CDMA_4310 = 0x10D6;
const unsigned int OTA_CDMA_4311 = 0x10D7;
const unsigned int OTA_CDMA_4312 = 0x10D8;
const unsigned int OTA_CDMA_5000 = 0x1388;
const unsigned int OTA_CDMA_5001 = 0x1389;
const unsigned int OTA_CDMA_5003 = 0x138B;
const unsigned int OTA_CDMA_5004 = 0x138C;
const unsigned int OTA_CDMA_5005 = 0x138D;
const unsigned int OTA_1XEV_4229 = 0x1085;
const unsigned int OTA_1XEV_4230 = 0x1086;
const unsigned int OTA_UMTS_28986 = 0x713A;
const unsigned int OTA_UMTS_31546 = 0x7B3A;
const unsigned int OTA_WCDMA_RRC = 0x412F;

// The technology of `logCode`, OTA_NONE for a code that is not accepted (5002 deliberately among them).
eOTATechnology OTATechnologyOf(unsigned int logCode);
