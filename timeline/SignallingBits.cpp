// LTE RRC messages are unaligned PER: bit 0 is the most significant bit of byte 0, a CHOICE of n
// alternatives takes ceil(log2 n) bits, a SEQUENCE opens with one presence bit per OPTIONAL field. Every
// position below was checked against tshark's full decode of the messages of that kind in real captures.
#include "timeline/SignallingBits.h"

#include "bits/BitParser.h"

namespace {

struct sField {
    uint16_t mFirst;  // bit position, 0 = the most significant bit of byte 0
    uint8_t mWidth;   // 0: the field does not exist
};

// A field that must hold `mValue` for what follows to mean what the table says.
struct sGate {
    sField mField;
    uint8_t mValue;
};

// A CHOICE of message types: the gate (class extension bits) and the type field.
struct sChoice {
    sGate mGate;
    sField mType;
    const eLTERRCKind* mKinds;  // by type value
    size_t mCount;
};

// Each channel's c1 choice (class extension bit 0); UL-DCCH also has the c2 choice (bits 0..1 = 1, 0).
const eLTERRCKind kDLDCCH[] = {
    LTE_RRC_OTHER, LTE_RRC_OTHER, LTE_RRC_OTHER, LTE_RRC_OTHER, LTE_RRC_RECONFIGURATION, LTE_RRC_RELEASE,
    LTE_RRC_OTHER, LTE_RRC_OTHER, LTE_RRC_OTHER, LTE_RRC_OTHER, LTE_RRC_OTHER,           LTE_RRC_OTHER,
    LTE_RRC_OTHER, LTE_RRC_OTHER, LTE_RRC_OTHER, LTE_RRC_OTHER,
};
const eLTERRCKind kDLCCCH[] = {LTE_RRC_REESTABLISHMENT, LTE_RRC_REESTABLISHMENT_REJECT,
                               LTE_RRC_CONNECTION_REJECT, LTE_RRC_CONNECTION_SETUP};
const eLTERRCKind kULCCCH[] = {LTE_RRC_REESTABLISHMENT_REQUEST, LTE_RRC_CONNECTION_REQUEST};
const eLTERRCKind kULDCCH[] = {
    LTE_RRC_OTHER,
    LTE_RRC_OTHER,
    LTE_RRC_RECONFIGURATION_COMPLETE,
    LTE_RRC_REESTABLISHMENT_COMPLETE,
    LTE_RRC_CONNECTION_SETUP_COMPLETE,
    LTE_RRC_OTHER,
    LTE_RRC_OTHER,
    LTE_RRC_OTHER,
    LTE_RRC_OTHER,
    LTE_RRC_OTHER,
    LTE_RRC_OTHER,
    LTE_RRC_OTHER,
    LTE_RRC_OTHER,
    LTE_RRC_OTHER,
    LTE_RRC_OTHER,
    LTE_RRC_OTHER,
};
const eLTERRCKind kULDCCHC2[] = {
    LTE_RRC_OTHER, LTE_RRC_OTHER, LTE_RRC_OTHER,          LTE_RRC_OTHER, LTE_RRC_OTHER, LTE_RRC_OTHER,
    LTE_RRC_OTHER, LTE_RRC_OTHER, LTE_RRC_SCG_FAILURE_NR, LTE_RRC_OTHER, LTE_RRC_OTHER, LTE_RRC_OTHER,
    LTE_RRC_OTHER, LTE_RRC_OTHER, LTE_RRC_OTHER,          LTE_RRC_OTHER,
};

template <size_t N>
constexpr sChoice C1(sField type, const eLTERRCKind (&kinds)[N]) {
    return {{{0, 1}, 0}, type, kinds, N};
}

const struct sChannel {
    uint8_t mChannel;
    sChoice mChoices[2];  // mKinds null: none
} kChannels[] = {
    {OTA_LTE_DL_DCCH, {C1({1, 4}, kDLDCCH), {}}},
    {OTA_LTE_DL_CCCH, {C1({1, 2}, kDLCCCH), {}}},
    {OTA_LTE_UL_CCCH, {C1({1, 1}, kULCCCH), {}}},
    {OTA_LTE_UL_DCCH, {C1({1, 4}, kULDCCH), {{{0, 2}, 2}, {2, 4}, kULDCCHC2, 16}}},
};

// Where a message's facts lie in its release 8 form, which the gates pick (critical extensions: `c1`, then
// the r8 alternative).
const struct sR8Form {
    eLTERRCKind mKind;
    sGate mGates[2];
    sField mFlag;   // reconfiguration: mobility control information; release: redirected carrier info
    sField mCause;  // release cause, re-establishment cause, establishment cause
    sField mCell;   // the physical cell id in a re-establishment request's UE identity
} kForms[] = {
    // transaction id 5..6; presence of measConfig 11, mobilityControlInfo 12, ...
    {LTE_RRC_RECONFIGURATION, {{{7, 1}, 0}, {{8, 3}, 0}}, {12, 1}, {0, 0}, {0, 0}},
    // transaction id 5..6; presence of redirectedCarrierInfo 10, idleModeMobilityControlInfo 11,
    // nonCriticalExtension 12; releaseCause 13..14
    {LTE_RRC_RELEASE, {{{7, 1}, 0}, {{8, 2}, 0}}, {10, 1}, {13, 2}, {0, 0}},
    // UE identity: C-RNTI 3..18, physical cell id 19..27, short MAC-I 28..43; cause 44..45
    {LTE_RRC_REESTABLISHMENT_REQUEST, {{{2, 1}, 0}, {{0, 0}, 0}}, {0, 0}, {44, 2}, {19, 9}},
    // UE identity: choice 3, S-TMSI or random value 4..43; establishment cause 44..46
    {LTE_RRC_CONNECTION_REQUEST, {{{2, 1}, 0}, {{0, 0}, 0}}, {0, 0}, {44, 3}, {0, 0}},
};

// The field's value, false when the message is too short for it.
bool Read(const unsigned char* data, size_t size, sField field, unsigned int& value) {
    if (size > 0xFFFFFFF) {
        size = 0xFFFFFFF;  // the fields lie within the first bytes
    }
    unsigned int position = field.mFirst;
    return GetUnsignedVal(data, position, static_cast<unsigned int>(size * 8), field.mWidth, value, false) ==
           BITS_SUCCESS;
}

bool Passes(const unsigned char* data, size_t size, const sGate& gate) {
    unsigned int value = 0;
    return gate.mField.mWidth == 0 || (Read(data, size, gate.mField, value) && value == gate.mValue);
}

eLTERRCKind KindOf(const sChannel& channel, const unsigned char* data, size_t size) {
    for (const sChoice& choice : channel.mChoices) {
        unsigned int type = 0;
        if (choice.mKinds != nullptr && Passes(data, size, choice.mGate) &&
            Read(data, size, choice.mType, type)) {
            return type < choice.mCount ? choice.mKinds[type] : LTE_RRC_OTHER;
        }
    }
    return size > 0 ? LTE_RRC_OTHER : LTE_RRC_UNREADABLE;
}

// EPS NAS: byte 0 holds the protocol discriminator (low nibble) and the security header type (high nibble).
const unsigned int kEMMDiscriminator = 7;
const size_t kSecurityHeaderSize = 6;  // the header byte, 4 bytes of MAC, 1 byte of sequence number

enum eSecurityHeader : uint8_t {
    HEADER_RESERVED = 0,
    HEADER_PLAIN,
    HEADER_PROTECTED,
    HEADER_CIPHERED,
    HEADER_SR
};
// By security header type: 0 plain; 1 and 3 integrity protected (the plain message follows the header);
// 2 and 4 ciphered; 12 service request; the rest reserved or not for these logs.
const eSecurityHeader kSecurityHeaders[16] = {
    HEADER_PLAIN,    HEADER_PROTECTED, HEADER_CIPHERED, HEADER_PROTECTED, HEADER_CIPHERED, HEADER_RESERVED,
    HEADER_RESERVED, HEADER_RESERVED,  HEADER_RESERVED, HEADER_RESERVED,  HEADER_RESERVED, HEADER_RESERVED,
    HEADER_SR,       HEADER_RESERVED,  HEADER_RESERVED, HEADER_RESERVED,
};

// Message types of plain EMM messages (byte 1); a reject carries its EMM cause in byte 2.
const struct sEMMType {
    uint8_t mType;
    eEMMKind mKind;
    bool mHasCause;
} kEMMTypes[] = {
    {0x41, EMM_ATTACH_REQUEST, false},
    {0x42, EMM_ATTACH_ACCEPT, false},
    {0x44, EMM_ATTACH_REJECT, true},
    {0x45, EMM_DETACH_REQUEST, false},
    {0x46, EMM_DETACH_ACCEPT, false},
    {0x48, EMM_TAU_REQUEST, false},
    {0x49, EMM_TAU_ACCEPT, false},
    {0x4B, EMM_TAU_REJECT, true},
    {0x4C, EMM_EXTENDED_SERVICE_REQUEST, false},
    {0x4E, EMM_SERVICE_REJECT, true},
};
const size_t kEMMTypeAt = 1;
const size_t kEMMCauseAt = 2;

sEMMReading ReadPlainEMM(const unsigned char* data, size_t size) {
    sEMMReading reading;
    if (size <= kEMMTypeAt || (data[0] & 0x0F) != kEMMDiscriminator || (data[0] >> 4) != 0) {
        return reading;
    }
    reading.mKind = EMM_OTHER;
    reading.mMessageType = data[kEMMTypeAt];
    for (const sEMMType& type : kEMMTypes) {
        if (type.mType == reading.mMessageType) {
            reading.mKind = type.mKind;
            if (type.mHasCause && size > kEMMCauseAt) {
                reading.mCause = data[kEMMCauseAt];
            }
        }
    }
    return reading;
}

// EMM causes (the common ones): their names in lower case.
const struct sCause {
    uint8_t mValue;
    const char* mName;
} kEMMCauses[] = {
    {2, "imsi unknown in hss"},
    {3, "illegal ue"},
    {5, "imei not accepted"},
    {6, "illegal me"},
    {7, "eps services not allowed"},
    {8, "eps services and non-eps services not allowed"},
    {9, "ue identity cannot be derived by the network"},
    {10, "implicitly detached"},
    {11, "plmn not allowed"},
    {12, "tracking area not allowed"},
    {13, "roaming not allowed in this tracking area"},
    {14, "eps services not allowed in this plmn"},
    {15, "no suitable cells in tracking area"},
    {16, "msc temporarily not reachable"},
    {17, "network failure"},
    {18, "cs domain not available"},
    {19, "esm failure"},
    {20, "mac failure"},
    {21, "synch failure"},
    {22, "congestion"},
    {23, "ue security capabilities mismatch"},
    {24, "security mode rejected, unspecified"},
    {25, "not authorized for this csg"},
    {26, "non-eps authentication unacceptable"},
    {35, "requested service option not authorized in this plmn"},
    {39, "cs service temporarily not available"},
    {40, "no eps bearer context activated"},
    {42, "severe network failure"},
    {95, "semantically incorrect message"},
    {96, "invalid mandatory information"},
    {97, "message type non-existent or not implemented"},
    {98, "message type not compatible with the protocol state"},
    {99, "information element non-existent or not implemented"},
    {100, "conditional ie error"},
    {101, "message not compatible with the protocol state"},
    {111, "protocol error, unspecified"},
};

template <size_t N>
const char* NameOf(const char* const (&names)[N], uint8_t value) {
    return value < N ? names[value] : nullptr;
}

}  // namespace

sLTERRCReading ReadLTERRC(uint8_t channel, const unsigned char* data, size_t size) {
    sLTERRCReading reading;
    if (data == nullptr) {
        return reading;
    }
    for (const sChannel& row : kChannels) {
        if (row.mChannel == channel) {
            reading.mKind = KindOf(row, data, size);
        }
    }
    for (const sR8Form& form : kForms) {
        if (form.mKind != reading.mKind || !Passes(data, size, form.mGates[0]) ||
            !Passes(data, size, form.mGates[1])) {
            continue;
        }
        unsigned int value = 0;
        if (form.mFlag.mWidth != 0 && Read(data, size, form.mFlag, value)) {
            (form.mKind == LTE_RRC_RELEASE ? reading.mRedirection : reading.mMobility) =
                value != 0 ? BIT_FLAG_SET : BIT_FLAG_CLEAR;
        }
        if (form.mCause.mWidth != 0 && Read(data, size, form.mCause, value)) {
            (form.mKind == LTE_RRC_RELEASE ? reading.mReleaseCause : reading.mCause) =
                static_cast<uint8_t>(value);
        }
        if (form.mCell.mWidth != 0 && Read(data, size, form.mCell, value)) {
            reading.mFailedCell = static_cast<uint16_t>(value);
        }
    }
    return reading;
}

sEMMReading ReadEMM(const unsigned char* data, size_t size) {
    sEMMReading reading;
    if (data == nullptr || size == 0 || (data[0] & 0x0F) != kEMMDiscriminator) {
        return reading;
    }
    switch (kSecurityHeaders[data[0] >> 4]) {
        case HEADER_PLAIN:
            return ReadPlainEMM(data, size);
        case HEADER_PROTECTED:
            return size > kSecurityHeaderSize
                       ? ReadPlainEMM(data + kSecurityHeaderSize, size - kSecurityHeaderSize)
                       : reading;
        case HEADER_CIPHERED:
            reading.mKind = EMM_CIPHERED;
            return reading;
        case HEADER_SR:
            reading.mKind = EMM_SERVICE_REQUEST;
            return reading;
        default:
            return reading;
    }
}

const char* EMMCauseName(uint8_t cause) {
    for (const sCause& entry : kEMMCauses) {
        if (entry.mValue == cause) {
            return entry.mName;
        }
    }
    return nullptr;
}

const char* ReestablishmentCauseName(uint8_t cause) {
    static const char* const kNames[] = {"reconfiguration failure", "handover failure", "other failure"};
    return NameOf(kNames, cause);
}

const char* EstablishmentCauseName(uint8_t cause) {
    static const char* const kNames[] = {
        "emergency", "high priority access",  "mt access",    "mo signalling",
        "mo data",   "delay tolerant access", "mo voice call"};
    return NameOf(kNames, cause);
}

const char* ReleaseCauseName(uint8_t cause) {
    static const char* const kNames[] = {"load balancing tau required", "other", "cs fallback high priority",
                                         "rrc suspend"};
    return NameOf(kNames, cause);
}
