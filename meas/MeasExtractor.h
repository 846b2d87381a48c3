// Extraction of radio measurements, cell information and RRC states from the modem's measurement, cell
// and state logs (LTE, NR, WCDMA, GSM) and from event reports: the log code and its payload version pick
// a layout, the layout gives the fields, and the facts of each format's conversions turn them into dBm
// and dB. Packets inside the multi-SIM wrapper (command 0x98) are read inside it.
//
// Stateless between packets and allocation-free: one sMeasLog record, which the caller keeps and reuses,
// receives what a packet says. Not thread-safe per record; any number of extractors may run at once.
#pragma once

#include <cstddef>
#include <cstdint>

#include "Shared/SharedBuffer.h"
#include "meas/MeasRecords.h"

enum eMeasStatus : uint8_t {
    MEAS_OK = 0,               // the record holds what the log says
    MEAS_NOT_MEASUREMENT,      // not a log packet or event report, or a code that carries no measurement
    MEAS_UNSUPPORTED_VERSION,  // a measurement log code whose version has no known layout
    MEAS_BAD_LENGTH,           // length fields disagree with the payload, or the payload is cut
    MEAS_STATUS_COUNT,
};

// A short fixed name of each status ("not a measurement log", "unknown version", "failed length check").
const char* MeasStatusName(eMeasStatus status);

// A short fixed name of the kind of log a code carries, e.g. "LTE serving cell info", "LTE MIB",
// "LTE serving cell measurement", "NR searcher measurements", "WCDMA RRC state"; null for a code the
// extractor does not read.
const char* MeasLogName(uint16_t logCode);

// True for the codes the extractor reads (to choose what a capture switches on).
bool IsMeasurementLogCode(uint16_t logCode);

class cMeasExtractor {
public:
    // Reads the `size` bytes of a diagnostic packet (a log packet or an event report, or one inside a
    // multi-SIM wrapper; the caller keeps them). On MEAS_OK `out` holds what the log says; otherwise it is
    // cleared but for what the header and wrapper gave (mLogCode, mTimestamp, mSubscription) and
    // mLogVersion where the payload has one. Never reads outside the `size` bytes.
    eMeasStatus Extract(const unsigned char* packet, size_t size, sMeasLog& out) const;
    // The same for a buffer the caller keeps (its mSize bytes).
    eMeasStatus Extract(const sSharedBuffer* packet, sMeasLog& out) const;
};
