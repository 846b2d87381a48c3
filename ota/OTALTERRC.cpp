// LTE RRC signalling logs (0xB0C0): five header layouts and four PDU numberings (plus two NB-IoT ones),
// chosen by the u8 log version. Payload offsets; the message runs from its offset to the end and its u16
// length must say so.
#include "ota/OTAFamilies.h"

namespace {

// Layouts by version group. Bytes 1-2 (and 3-4 from v25) are the RRC release and version, not read.
//                                  cell  chan#  width  frame  PDU  length  segment  message
const sRRCLayout kLayoutV2 = {4, 6, 2, 8, 10, 11, 0, 13};   // v2-4
const sRRCLayout kLayoutV5 = {4, 6, 2, 8, 10, 15, 0, 17};   // v5-7: a 4-byte SIB mask before the length
const sRRCLayout kLayoutV8 = {4, 6, 4, 10, 12, 17, 0, 19};  // v8-24: the EARFCN widens to 32 bits
// v25-29: NR release and version bytes at 3-4 move everything by 2. One reading splits bytes 8-13 as a u16
// EARFCN and a u32 frame instead; the u32 EARFCN is the one published test vectors decode sensibly.
const sRRCLayout kLayoutV25 = {6, 8, 4, 12, 14, 19, 0, 21};
const sRRCLayout kLayoutV30 = {6, 8, 4, 12, 14, 19, 23, 24};  // v30+: 2 unknown bytes, a segment number

// PDU number -> channel, the four numberings in use, and the NB-IoT numbers that go with C and with D.
const sPDUChannel kTableA[] = {{1, OTA_LTE_BCCH_BCH}, {2, OTA_LTE_BCCH_DL_SCH}, {3, OTA_LTE_MCCH},
                               {4, OTA_LTE_PCCH},     {5, OTA_LTE_DL_CCCH},     {6, OTA_LTE_DL_DCCH},
                               {7, OTA_LTE_UL_CCCH},  {8, OTA_LTE_UL_DCCH}};
const sPDUChannel kTableB[] = {{8, OTA_LTE_BCCH_BCH}, {9, OTA_LTE_BCCH_DL_SCH}, {10, OTA_LTE_MCCH},
                               {11, OTA_LTE_PCCH},    {12, OTA_LTE_DL_CCCH},    {13, OTA_LTE_DL_DCCH},
                               {14, OTA_LTE_UL_CCCH}, {15, OTA_LTE_UL_DCCH}};
const sPDUChannel kTableC[] = {{1, OTA_LTE_BCCH_BCH}, {2, OTA_LTE_BCCH_DL_SCH}, {4, OTA_LTE_MCCH},
                               {5, OTA_LTE_PCCH},     {6, OTA_LTE_DL_CCCH},     {7, OTA_LTE_DL_DCCH},
                               {8, OTA_LTE_UL_CCCH},  {9, OTA_LTE_UL_DCCH}};
const sPDUChannel kTableD[] = {{1, OTA_LTE_BCCH_BCH}, {3, OTA_LTE_BCCH_DL_SCH}, {6, OTA_LTE_MCCH},
                               {7, OTA_LTE_PCCH},     {8, OTA_LTE_DL_CCCH},     {9, OTA_LTE_DL_DCCH},
                               {10, OTA_LTE_UL_CCCH}, {11, OTA_LTE_UL_DCCH}};
const sPDUChannel kNBOfC[] = {{54, OTA_LTE_BCCH_BCH_NB}, {55, OTA_LTE_BCCH_DL_SCH_NB},
                              {56, OTA_LTE_PCCH_NB},     {57, OTA_LTE_DL_CCCH_NB},
                              {58, OTA_LTE_DL_DCCH_NB},  {59, OTA_LTE_UL_CCCH_NB},
                              {61, OTA_LTE_UL_DCCH_NB}};
const sPDUChannel kNBOfD[] = {{45, OTA_LTE_BCCH_BCH_NB}, {46, OTA_LTE_BCCH_DL_SCH_NB},
                              {47, OTA_LTE_PCCH_NB},     {48, OTA_LTE_DL_CCCH_NB},
                              {49, OTA_LTE_DL_DCCH_NB},  {50, OTA_LTE_UL_CCCH_NB},
                              {52, OTA_LTE_UL_DCCH_NB}};

// Versions and their numbering. Most versions are read the same way by every analyser that knows them.
// Some are known to one analyser only (5, 10, 11, 17, 18, 21, 23, 28, 32 and later); such a version is
// taken only where that analyser's numbering is the one the listed versions on both sides of it use
// (5 between 4 and 6: A; 28 between 27 and 29: D; 32 and later after 30 and 31: D, with the NB numbers).
// Where they disagree (10 and 11 sit between two B versions but are read as A; 17, 18, 21 and 23 lie
// where the numbering changes) the numbering is a guess, so those versions, like 0 and 1, which nobody
// lists, are refused as unsupported rather than exported under a possibly wrong channel.
const sRRCVersion kVersions[] = {
    {2, 4, &kLayoutV2, {Table(kTableA), kNoTable}},
    {5, 7, &kLayoutV5, {Table(kTableA), kNoTable}},
    {8, 8, &kLayoutV8, {Table(kTableA), kNoTable}},
    {9, 9, &kLayoutV8, {Table(kTableB), kNoTable}},
    {12, 12, &kLayoutV8, {Table(kTableB), kNoTable}},
    {13, 13, &kLayoutV8, {Table(kTableA), kNoTable}},
    {14, 16, &kLayoutV8, {Table(kTableC), kNoTable}},
    {19, 19, &kLayoutV8, {Table(kTableD), Table(kNBOfD)}},
    {20, 20, &kLayoutV8, {Table(kTableC), Table(kNBOfC)}},
    {22, 22, &kLayoutV8, {Table(kTableA), kNoTable}},
    {24, 24, &kLayoutV8, {Table(kTableC), Table(kNBOfC)}},
    {25, 25, &kLayoutV25, {Table(kTableC), Table(kNBOfC)}},
    {26, 29, &kLayoutV25, {Table(kTableD), Table(kNBOfD)}},
    {30, 255, &kLayoutV30, {Table(kTableD), Table(kNBOfD)}},
};

bool IsUplink(uint8_t channel) {
    return channel == OTA_LTE_UL_CCCH || channel == OTA_LTE_UL_DCCH || channel == OTA_LTE_UL_CCCH_NB ||
           channel == OTA_LTE_UL_DCCH_NB;
}

const sRRCFamily kLTERRC = {OTA_PROTOCOL_LTE_RRC, 1, kVersions, sizeof kVersions / sizeof kVersions[0],
                            IsUplink};

}  // namespace

eOTAExtractStatus ExtractLTERRC(const sOTAPayload& payload, sOTAMessage& out, cOTASegments* segments) {
    return ExtractRRC(kLTERRC, payload, out, segments);
}
