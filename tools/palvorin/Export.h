// A signalling message (ota/OTAMessage.h) as bytes a stock packet analyser decodes without plug-ins.
//
// GSMTAP version 2 carries what it has a type for: GSM Um (GSM RR, GPRS RLC/MAC), Abis (bare GSM/UMTS NAS),
// UMTS RRC, LTE RRC and LTE NAS, with the direction in the uplink flag and the channel number and frame
// number in their fields. It has no NR type and a 14-bit ARFCN field, so NR RRC, NR NAS and LTE RRC on an
// EARFCN above 16383 go without it, straight to the analyser's dissector for the message, named in an
// exported-PDU record (pcap link type 252, LINKTYPE_WIRESHARK_UPPER_PDU). In a pcap file every message is
// such a record, so one file has one link type: GSMTAP packets are handed to the dissector of GSMTAP's UDP
// port, the others to the dissector named for their channel, with a direction tag.
#pragma once

#include <cstdint>
#include <vector>

#include "ota/OTAMessage.h"

// The pcap link type of the records BuildExportRecord writes.
const int EXPORT_LINK_TYPE = 252;

// The GSMTAP version 2 header and the payload of `message`, as sent in a UDP datagram to port 4729 (replaces
// `out`). False, with `out` empty, when version 2 cannot carry the message: no type for its protocol or
// channel, or a channel number above 16383 on a protocol that has another way out (LTE RRC). A channel
// number that does not fit where there is no other way is written as 0.
bool BuildGSMTAPPacket(const sOTAMessage& message, std::vector<unsigned char>& out);

enum eExportRoute : uint8_t {
    EXPORT_NONE = 0,   // nothing decodes the message (e.g. a WCDMA block of the extension SIB type)
    EXPORT_GSMTAP,     // a GSMTAP packet handed to the GSMTAP dissector
    EXPORT_DISSECTOR,  // the message bytes handed to the dissector named for its channel
};

// One pcap record body for link type 252 (replaces `out`; empty for EXPORT_NONE).
eExportRoute BuildExportRecord(const sOTAMessage& message, std::vector<unsigned char>& out);
