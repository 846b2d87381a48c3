// The events of the cell timeline: the names of the events table's "event" column, and what each detail
// holds. Radio events come from the first bits of LTE RRC messages, NAS outcomes from EPS mobility-management
// messages (timeline/SignallingBits.h), RRC states from state logs and event reports or, without them, from
// the RRC messages. Cause names are in lower case; "cause 99" stands alone where a value has no name.
#pragma once

// RRC connection (technology lte).
// UL-CCCH connection request; detail "cause mo data" (establishment cause).
const char kEventRRCConnectionRequest[] = "rrc_connection_request";
// DL-CCCH connection setup.
const char kEventRRCConnectionSetup[] = "rrc_connection_setup";
// DL-CCCH connection reject.
const char kEventRRCConnectionReject[] = "rrc_connection_reject";
// DL-DCCH connection release; detail "cause other", with ", redirected" for a release with redirected
// carrier information.
const char kEventRRCConnectionRelease[] = "rrc_connection_release";
// RRC state changes (idle or connected), once per change; detail: what told it ("state CONNECTED", the
// state a log or event report gave, or the message: "rrc_connection_setup_complete", ...).
const char kEventRRCConnected[] = "rrc_connected";
const char kEventRRCIdle[] = "rrc_idle";

// Mobility (technology lte).
// A reconfiguration with mobility control information, reported when its outcome is known, at the time
// of the command; detail "pci 328 earfcn 2300 -> pci 370 earfcn 2300" (the cell of the reconfiguration
// complete that followed), "... -> re-establishment" (a re-establishment request followed instead), or
// "... -> unknown" (neither was logged).
const char kEventHandover[] = "handover";
// A re-establishment request whose cause is a handover failure; detail "pci 193" (the cell where it failed).
const char kEventHandoverFailure[] = "handover_failure";
// UL-CCCH re-establishment request (after a radio-link, handover or reconfiguration failure); detail "cause
// other failure, pci 193": the cause and the cell where the failure happened.
const char kEventReestablishmentRequest[] = "reestablishment_request";
// DL-CCCH re-establishment and re-establishment reject.
const char kEventReestablishment[] = "reestablishment";
const char kEventReestablishmentReject[] = "reestablishment_reject";
// UL-DCCH SCG failure information NR: the NR leg of an EN-DC connection failed (technology nr).
const char kEventSCGFailure[] = "scg_failure";

// EPS mobility management (technology lte). Rejects: detail "cause 15 (no suitable cells in tracking area)".
const char kEventAttachRequest[] = "attach_request";
const char kEventAttachAccept[] = "attach_accept";
const char kEventAttachReject[] = "attach_reject";
// Detail "from the ue" or "from the network".
const char kEventDetachRequest[] = "detach_request";
const char kEventDetachAccept[] = "detach_accept";
const char kEventTAURequest[] = "tau_request";
const char kEventTAUAccept[] = "tau_accept";
const char kEventTAUReject[] = "tau_reject";
// Detail "extended" for an extended service request.
const char kEventServiceRequest[] = "service_request";
const char kEventServiceReject[] = "service_reject";
// A ciphered EMM message that no plain copy follows or precedes: what it was cannot be told; detail
// "ciphered, uplink" or "ciphered, downlink".
const char kEventEMMUnknown[] = "emm_unknown";
