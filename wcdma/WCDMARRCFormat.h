// Layout of the WCDMA RRC signalling log (log code 0x412F) and of the SYSTEM INFORMATION fields that the
// system-information reassembler reads (unaligned PER, most significant bit first).
#pragma once

const unsigned int WCDMA_RRC_LOG_CODE = 0x412F;

// Byte offsets in the log packet; the RRC message follows the 4-byte payload header.
const unsigned int RRC_LOG_CODE_OFFSET = 6;      // u16
const unsigned int RRC_CHANNEL_OFFSET = 16;      // u8 channel type
const unsigned int RRC_HEADER_BYTE_OFFSET = 17;  // u8, carried into the rebuilt log as it is
const unsigned int RRC_LENGTH_OFFSET = 18;       // u16 message length in bytes
const unsigned int RRC_MESSAGE_OFFSET = 20;

// Source channel types that carry SYSTEM INFORMATION, and the channel types that mark a rebuilt log.
const unsigned char RRC_CHANNEL_BCCH_BCH = 4;
const unsigned char RRC_CHANNEL_BCCH_FACH = 5;
const int REBUILT_CHANNEL_BCCH_BCH = 254;
const int REBUILT_CHANNEL_BCCH_FACH = 255;

// Where the payload choice starts: after the 11-bit SFN-prime on the BCH, after the 2-bit message type
// on the FACH; the payload's first field follows the 4-bit choice.
const unsigned int BCH_SFN_PRIME_BITS = 11;
const unsigned int FACH_MESSAGE_TYPE_BITS = 2;
const unsigned int PAYLOAD_CHOICE_BITS = 4;
const unsigned int BCH_PAYLOAD_START = BCH_SFN_PRIME_BITS + PAYLOAD_CHOICE_BITS;       // 15
const unsigned int FACH_PAYLOAD_START = FACH_MESSAGE_TYPE_BITS + PAYLOAD_CHOICE_BITS;  // 6

// Field widths of the payload parts.
const unsigned int SIB_TYPE_BITS = 5;
const unsigned int SEGMENT_COUNT_BITS = 4;  // count - 1
const unsigned int SEGMENT_INDEX_BITS = 4;  // index - 1
const unsigned int DATA_LENGTH_BITS = 8;    // length - 1
const unsigned int LIST_COUNT_BITS = 4;     // entries - 1
const unsigned int SEGMENT_DATA_BITS = 222;
const unsigned int COMPLETE_SIB_DATA_BITS = 226;

// Payload choices of a SYSTEM INFORMATION message.
enum ePayloadChoice : unsigned char {
    PAYLOAD_NO_SEGMENT = 0,
    PAYLOAD_FIRST_SEGMENT = 1,
    PAYLOAD_SUBSEQUENT_SEGMENT = 2,
    PAYLOAD_LAST_SEGMENT_SHORT = 3,
    PAYLOAD_LAST_AND_FIRST = 4,
    PAYLOAD_LAST_AND_COMPLETE = 5,
    PAYLOAD_LAST_AND_COMPLETE_AND_FIRST = 6,
    PAYLOAD_COMPLETE_SIB_LIST = 7,
    PAYLOAD_COMPLETE_AND_FIRST = 8,
    PAYLOAD_COMPLETE_SIB = 9,
    PAYLOAD_LAST_SEGMENT = 10,
};

// The rebuilt payload: channel type, header byte, u16 length of what follows, SIB type, then the SIB.
const unsigned int REBUILT_HEADER_BITS = 40;
const unsigned int REBUILT_LENGTH_OFFSET = 2;
const unsigned int REBUILT_SIB_TYPE_OFFSET = 4;
const unsigned int REBUILT_LENGTH_EXCLUDES = 4;  // the length word counts from the SIB type on
