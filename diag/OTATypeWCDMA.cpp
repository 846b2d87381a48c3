// OTA type of WCDMA RRC signalling logs: the channel type, then the choice of the RRC message read from
// its first bits, most significant bit first as packed encoding rules lay them out.
#include "bits/BitParser.h"
#include "diag/DiagLog.h"
#include "diag/OTACodes.h"

namespace {

// Payload: 0: channel type; 1: not read; 2: 16-bit length of the RRC message; 4: the message.
const unsigned int CHANNEL_TYPE_OFFSET = 0;
const unsigned int MESSAGE_LENGTH_OFFSET = 2;
const unsigned int MESSAGE_OFFSET = 4;
// Bytes of the message that the choices below may read: up to bit 41 (the 5 bits after the 37 of the
// integrity check info).
const unsigned int MESSAGE_HEAD_SIZE = 6;

// Where the message choice of an uplink or downlink dedicated or common channel message lies: after the
// 1-bit flag of the integrity check info, or after the flag and the 36 bits of the info when it is there.
const unsigned int CHOICE_AFTER_FLAG = 1;
const unsigned int CHOICE_AFTER_INTEGRITY_INFO = 37;
// BCCH-BCH: the message choice follows the 11-bit system frame number.
const unsigned int BCH_CHOICE_POSITION = 11;

// Moves the reader to `position`, never past its end.
void SetPosition(cBitParser& reader, unsigned int position) {
    reader.mBitPos = position < reader.mBitLength ? position : reader.mBitLength;
}

// Moves to the message choice past the integrity check info (its presence flag, and the info when
// present); false when the flag cannot be read.
bool SkipIntegrityCheckInfo(cBitParser& reader) {
    unsigned char present = 0;
    if (reader.Get(1, present) != BITS_SUCCESS) {
        return false;
    }
    SetPosition(reader, present != 0 ? CHOICE_AFTER_INTEGRITY_INFO : CHOICE_AFTER_FLAG);
    return true;
}

// Pushes the next `width` bits when they can be read; a failed read pushes nothing.
void PushField(cBitParser& reader, unsigned int width, std::vector<unsigned int>& type) {
    unsigned char field = 0;
    if (reader.Get(width, field) == BITS_SUCCESS) {
        type.push_back(field);
    }
}

}  // namespace

std::vector<unsigned int> sDiagOTALog::GetOTATypeWCDMA(unsigned int logCode, const unsigned char* payload,
                                                       unsigned int length) const {
    if (!IsValid() || OTATechnologyOf(logCode) != OTA_WCDMA) {
        return {};
    }
    const sBoundedBytes bytes = Readable(payload, length);
    const unsigned int channelType = bytes.At(CHANNEL_TYPE_OFFSET);
    std::vector<unsigned int> type = {channelType};
    // No choice read here reaches past bit 41 of the message: the reader works on a copy of its first
    // bytes, zero past what may be read, with the length the message's own field gives, as it would over
    // a buffer with a zeroed tail.
    unsigned char head[MESSAGE_HEAD_SIZE];
    for (unsigned int i = 0; i < MESSAGE_HEAD_SIZE; ++i) {
        head[i] = static_cast<unsigned char>(bytes.At(MESSAGE_OFFSET + i));
    }
    cBitParser reader(head, bytes.U16(MESSAGE_LENGTH_OFFSET) * 8);
    reader.mLSBFirst = false;
    switch (channelType) {
        case 0:  // UL-CCCH
            if (SkipIntegrityCheckInfo(reader)) {
                PushField(reader, 2, type);
            }
            break;
        case 1:  // UL-DCCH
        case 3:  // DL-DCCH
            if (SkipIntegrityCheckInfo(reader)) {
                PushField(reader, 5, type);
            }
            break;
        case 2:  // DL-CCCH
            if (SkipIntegrityCheckInfo(reader)) {
                PushField(reader, 3, type);
            }
            break;
        case 4:  // BCCH-BCH
            SetPosition(reader, BCH_CHOICE_POSITION);
            PushField(reader, 4, type);
            break;
        case 5: {  // BCCH-FACH: a 2-bit choice, or 0 and a 4-bit extension choice
            unsigned char choice = 0;
            if (reader.Get(2, choice) != BITS_SUCCESS) {
                break;
            }
            if (choice != 0) {
                type.push_back(choice);
                break;
            }
            unsigned char extension = 0;
            if (reader.Get(4, extension) == BITS_SUCCESS) {
                type.push_back(0);
                type.push_back(extension);
            }
            break;
        }
        case 6:  // PCCH
            PushField(reader, 1, type);
            break;
        case 7:
            PushField(reader, 4, type);
            break;
        case 8:
            PushField(reader, 2, type);
            break;
        case 9:
        case 254:  // the system-information blocks rebuilt from segments
        case 255:
            // The whole first byte of the message, read like the other choices so that an empty message
            // gives no value.
            PushField(reader, 8, type);
            break;
        default:
            break;
    }
    return type;
}
