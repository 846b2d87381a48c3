// GSMTAP pseudo-header carried in UDP: the numbers of the GSMTAP protocol (header layout, UDP port, the
// UMTS RRC type and its sub-types), as packet analysers decode them. Only what the pcap export needs.
#pragma once

#include <cstdint>

const uint16_t GSMTAP_PORT = 4729;  // UDP destination port analysers recognise
const uint8_t GSMTAP_HEADER_VERSION = 2;
const uint8_t GSMTAP_HEADER_WORDS = 4;  // header length in 32-bit words
const unsigned int GSMTAP_HEADER_SIZE = 16;
const uint8_t GSMTAP_TYPE_UMTS_RRC_MESSAGE = 0x0C;

// Byte offsets of the header fields (16-bit and 32-bit fields are big-endian).
const unsigned int GSMTAP_AT_VERSION = 0;
const unsigned int GSMTAP_AT_WORDS = 1;
const unsigned int GSMTAP_AT_TYPE = 2;
const unsigned int GSMTAP_AT_SUB_TYPE = 12;

// Sub-types of the UMTS RRC type: one per RRC channel message and per system-information block.
enum eGSMTAPRRCSubType : uint8_t {
    GSMTAP_RRC_DL_DCCH = 0,
    GSMTAP_RRC_UL_DCCH = 1,
    GSMTAP_RRC_DL_CCCH = 2,
    GSMTAP_RRC_UL_CCCH = 3,
    GSMTAP_RRC_PCCH = 4,
    GSMTAP_RRC_BCCH_FACH = 7,
    GSMTAP_RRC_BCCH_BCH = 8,
    GSMTAP_RRC_MCCH = 9,
    GSMTAP_RRC_MSCH = 10,
    GSMTAP_RRC_MIB = 16,
    GSMTAP_RRC_SIB1 = 17,
    GSMTAP_RRC_SIB2 = 18,
    GSMTAP_RRC_SIB3 = 19,
    GSMTAP_RRC_SIB4 = 20,
    GSMTAP_RRC_SIB5 = 21,
    GSMTAP_RRC_SIB5BIS = 22,
    GSMTAP_RRC_SIB6 = 23,
    GSMTAP_RRC_SIB7 = 24,
    GSMTAP_RRC_SIB8 = 25,
    GSMTAP_RRC_SIB9 = 26,
    GSMTAP_RRC_SIB10 = 27,
    GSMTAP_RRC_SIB11 = 28,
    GSMTAP_RRC_SIB12 = 30,
    GSMTAP_RRC_SIB13 = 31,
    GSMTAP_RRC_SIB13_1 = 32,
    GSMTAP_RRC_SIB13_2 = 33,
    GSMTAP_RRC_SIB13_3 = 34,
    GSMTAP_RRC_SIB13_4 = 35,
    GSMTAP_RRC_SIB14 = 36,
    GSMTAP_RRC_SIB15 = 37,
    GSMTAP_RRC_SIB15_1 = 39,
    GSMTAP_RRC_SIB15_2 = 41,
    GSMTAP_RRC_SIB15_3 = 44,
    GSMTAP_RRC_SIB15_4 = 46,
    GSMTAP_RRC_SIB15_5 = 47,
    GSMTAP_RRC_SIB16 = 51,
    GSMTAP_RRC_SIB17 = 52,
    GSMTAP_RRC_SIB18 = 53,
    GSMTAP_RRC_SB1 = 58,
    GSMTAP_RRC_SB2 = 59,
};
