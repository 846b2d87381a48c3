// Numbers of the diagnostic protocol that the packet views share: protocol types of a buffer's payload,
// command codes, subsystem ids, log equipment ids and the largest packet a view builds.
#pragma once

// Protocol tag of a buffer's payload (sSharedBuffer::mProtocol). The item store accepts more values; the
// packet views know only these two.
enum eProtocolType : unsigned int {
    PROTOCOL_DIAG_FROM_DEVICE = 3,  // responses, log packets, subsystem responses
    PROTOCOL_DIAG_TO_DEVICE = 4,    // requests sent to the device
};

// Command code: the first byte of every diagnostic packet.
enum eDiagCommand : unsigned int {
    DIAG_CMD_LOG = 16,
    DIAG_CMD_ERROR_RSP_19 = 19,  // 19 to 24, 66 and 71 are the error responses
    DIAG_CMD_ERROR_RSP_20 = 20,
    DIAG_CMD_ERROR_RSP_21 = 21,
    DIAG_CMD_ERROR_RSP_22 = 22,
    DIAG_CMD_ERROR_RSP_23 = 23,
    DIAG_CMD_ERROR_RSP_24 = 24,
    DIAG_CMD_ERROR_RSP_66 = 66,
    DIAG_CMD_ERROR_RSP_71 = 71,
    DIAG_CMD_SUBSYS_DISPATCH = 75,
    DIAG_CMD_LOG_MASK_EX = 93,
    DIAG_CMD_LOG_CONFIG = 115,
    DIAG_CMD_SUBSYS_DISPATCH_V2 = 128,  // the version whose responses carry a status header
};

// Subsystem id of a subsystem dispatch packet.
enum eDiagSubsysID : unsigned int {
    DIAG_SUBSYS_DEBUG_TRACE = 37,
    DIAG_SUBSYS_NONE = 4294967295u,  // what the accessors answer for an invalid view
};

// Equipment id: the top 4 bits of a 16-bit log code.
enum eLogEquipID : unsigned int {
    LOG_EQUIP_FIRST = 0,
    LOG_EQUIP_EXTENDED_MASK = 1,  // the one equipment the extended log mask carries
    LOG_EQUIP_LAST = 15,
};

// No packet built by a view is larger than this.
const unsigned int MAX_DIAG_PACKET_SIZE = 8208;
