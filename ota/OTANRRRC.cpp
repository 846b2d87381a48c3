// NR RRC signalling logs (0xB821): a u32 log version, five header layouts and seven PDU numberings. Some
// PDU numbers stand for a bare message (RRCReconfiguration, RadioBearerConfig, UE capabilities) rather
// than a channel. The SFN/slot field is not read: how its bits divide is not known.
#include "ota/OTAFamilies.h"

namespace {

// Bytes 4-5 are the NR RRC release and version, byte 6 the radio bearer id (not read).
//                                 cell chan#  width frame PDU length segment message
const sRRCLayout kLayoutV7 = {7, 9, 4, 0, 17, 22, 0, 24};  // v7-9: u32 NR-ARFCN, 4 bytes SFN/slot, SIB mask
// v12, 14: bytes 9-15 split 4 + 3 by one analyser and 3 + 4 by another; the 3-byte NR-ARFCN is the value
// both give for every valid NR-ARFCN (below 2^22).
const sRRCLayout kLayoutV12 = {7, 9, 3, 0, 16, 21, 0, 23};
const sRRCLayout kLayoutV17 = {7, 17, 4, 0, 24, 29, 0, 31};   // v17: an 8-byte NR cell global id at 9
const sRRCLayout kLayoutV19 = {7, 17, 4, 0, 24, 29, 0, 32};   // v19, 20, 25: 1 unknown byte
const sRRCLayout kLayoutV23 = {7, 17, 4, 0, 24, 29, 34, 35};  // v23, 24, 26, 28: 3 unknown bytes, segment

// PDU number -> message, one numbering a row. v7 and v8 are known to the analysers that read 1-6 and 8-10
// as v9 does (none lists UL-CCCH1 for them); each puts RadioBearerConfig at its own number. From v20 MCCH
// comes in at 5 and moves the numbers after it.
// clang-format off
const sPDUChannel kTableV7[] = {
    {1, OTA_NR_BCCH_BCH}, {2, OTA_NR_BCCH_DL_SCH}, {3, OTA_NR_DL_CCCH}, {4, OTA_NR_DL_DCCH}, {5, OTA_NR_PCCH},
    {6, OTA_NR_UL_CCCH}, {8, OTA_NR_UL_DCCH}, {9, OTA_NR_RRC_RECONFIGURATION},
    {10, OTA_NR_RRC_RECONFIGURATION_COMPLETE}, {24, OTA_NR_RADIO_BEARER_CONFIG}};
const sPDUChannel kTableV8[] = {
    {1, OTA_NR_BCCH_BCH}, {2, OTA_NR_BCCH_DL_SCH}, {3, OTA_NR_DL_CCCH}, {4, OTA_NR_DL_DCCH}, {5, OTA_NR_PCCH},
    {6, OTA_NR_UL_CCCH}, {8, OTA_NR_UL_DCCH}, {9, OTA_NR_RRC_RECONFIGURATION},
    {10, OTA_NR_RRC_RECONFIGURATION_COMPLETE}, {26, OTA_NR_RADIO_BEARER_CONFIG}};
const sPDUChannel kTableV9[] = {
    {1, OTA_NR_BCCH_BCH}, {2, OTA_NR_BCCH_DL_SCH}, {3, OTA_NR_DL_CCCH}, {4, OTA_NR_DL_DCCH}, {5, OTA_NR_PCCH},
    {6, OTA_NR_UL_CCCH}, {7, OTA_NR_UL_CCCH1}, {8, OTA_NR_UL_DCCH}, {9, OTA_NR_RRC_RECONFIGURATION},
    {10, OTA_NR_RRC_RECONFIGURATION_COMPLETE}, {25, OTA_NR_RADIO_BEARER_CONFIG},
    {28, OTA_NR_UE_MRDC_CAPABILITY}, {29, OTA_NR_UE_NR_CAPABILITY}};
const sPDUChannel kTableV14[] = {
    {1, OTA_NR_BCCH_BCH}, {2, OTA_NR_BCCH_DL_SCH}, {3, OTA_NR_DL_CCCH}, {4, OTA_NR_DL_DCCH}, {5, OTA_NR_PCCH},
    {6, OTA_NR_UL_CCCH}, {7, OTA_NR_UL_CCCH1}, {8, OTA_NR_UL_DCCH}, {9, OTA_NR_RRC_RECONFIGURATION},
    {10, OTA_NR_RRC_RECONFIGURATION_COMPLETE}, {28, OTA_NR_RADIO_BEARER_CONFIG},
    {31, OTA_NR_UE_MRDC_CAPABILITY}, {32, OTA_NR_UE_NR_CAPABILITY}, {33, OTA_NR_UE_NR_CAPABILITY}};
const sPDUChannel kTableV17[] = {
    {1, OTA_NR_BCCH_BCH}, {2, OTA_NR_BCCH_DL_SCH}, {3, OTA_NR_DL_CCCH}, {4, OTA_NR_DL_DCCH}, {5, OTA_NR_PCCH},
    {6, OTA_NR_UL_CCCH}, {7, OTA_NR_UL_CCCH1}, {8, OTA_NR_UL_DCCH}, {9, OTA_NR_RRC_RECONFIGURATION},
    {10, OTA_NR_RRC_RECONFIGURATION_COMPLETE}, {29, OTA_NR_RADIO_BEARER_CONFIG}};
const sPDUChannel kTableV20[] = {
    {1, OTA_NR_BCCH_BCH}, {2, OTA_NR_BCCH_DL_SCH}, {3, OTA_NR_DL_CCCH}, {4, OTA_NR_DL_DCCH}, {5, OTA_NR_MCCH},
    {6, OTA_NR_PCCH}, {7, OTA_NR_UL_CCCH}, {8, OTA_NR_UL_CCCH1}, {9, OTA_NR_UL_DCCH},
    {10, OTA_NR_RRC_RECONFIGURATION}, {11, OTA_NR_RRC_RECONFIGURATION_COMPLETE},
    {36, OTA_NR_RADIO_BEARER_CONFIG}};
const sPDUChannel kTableV26[] = {
    {1, OTA_NR_BCCH_BCH}, {2, OTA_NR_BCCH_DL_SCH}, {3, OTA_NR_DL_CCCH}, {4, OTA_NR_DL_DCCH}, {5, OTA_NR_MCCH},
    {6, OTA_NR_PCCH}, {7, OTA_NR_UL_CCCH}, {8, OTA_NR_UL_CCCH1}, {9, OTA_NR_UL_DCCH},
    {11, OTA_NR_RRC_RECONFIGURATION}, {12, OTA_NR_RRC_RECONFIGURATION_COMPLETE},
    {36, OTA_NR_RADIO_BEARER_CONFIG}};
const sPDUChannel kTableV28[] = {
    {1, OTA_NR_BCCH_BCH}, {2, OTA_NR_BCCH_DL_SCH}, {3, OTA_NR_DL_CCCH}, {4, OTA_NR_DL_DCCH}, {5, OTA_NR_MCCH},
    {6, OTA_NR_PCCH}, {7, OTA_NR_UL_CCCH}, {8, OTA_NR_UL_CCCH1}, {9, OTA_NR_UL_DCCH}, {10, OTA_NR_UL_DCCH},
    {11, OTA_NR_RRC_RECONFIGURATION}, {12, OTA_NR_RRC_RECONFIGURATION_COMPLETE},
    {36, OTA_NR_RADIO_BEARER_CONFIG}};
// clang-format on

// Only the versions some analyser lists; the others are refused as unsupported.
const sRRCVersion kVersions[] = {
    {7, 7, &kLayoutV7, {Table(kTableV7), kNoTable}},     {8, 8, &kLayoutV7, {Table(kTableV8), kNoTable}},
    {9, 9, &kLayoutV7, {Table(kTableV9), kNoTable}},     {12, 12, &kLayoutV12, {Table(kTableV9), kNoTable}},
    {14, 14, &kLayoutV12, {Table(kTableV14), kNoTable}}, {17, 17, &kLayoutV17, {Table(kTableV17), kNoTable}},
    {19, 19, &kLayoutV19, {Table(kTableV17), kNoTable}}, {20, 20, &kLayoutV19, {Table(kTableV20), kNoTable}},
    {23, 24, &kLayoutV23, {Table(kTableV20), kNoTable}}, {25, 25, &kLayoutV19, {Table(kTableV17), kNoTable}},
    {26, 26, &kLayoutV23, {Table(kTableV26), kNoTable}}, {28, 28, &kLayoutV23, {Table(kTableV28), kNoTable}},
};

// The handset sends the uplink channels, the reconfiguration's completion and its capabilities.
bool IsUplink(uint8_t message) {
    return message == OTA_NR_UL_CCCH || message == OTA_NR_UL_CCCH1 || message == OTA_NR_UL_DCCH ||
           message == OTA_NR_RRC_RECONFIGURATION_COMPLETE || message == OTA_NR_UE_MRDC_CAPABILITY ||
           message == OTA_NR_UE_NR_CAPABILITY;
}

const sRRCFamily kNRRRC = {OTA_PROTOCOL_NR_RRC, 4, kVersions, sizeof kVersions / sizeof kVersions[0],
                           IsUplink};

}  // namespace

eOTAExtractStatus ExtractNRRRC(const sOTAPayload& payload, sOTAMessage& out, cOTASegments* segments) {
    return ExtractRRC(kNRRRC, payload, out, segments);
}
