// What `palvorin capture --logs` switches on: a comma-separated list of group names and log codes in hex
// (0xB0C0). The groups:
//   default      signalling, measurement and events: what a serial line carries and the tool decodes
//   signalling   every log code whose signalling message the extractor reads (ota/OTAExtractor.h)
//   measurement  every log code the measurement extractor reads (meas/MeasExtractor.h): the serving-cell,
//                measurement and state logs of LTE, NR, WCDMA and GSM
//   events       event reports (command 0x60), where the LTE RRC state comes from (event 1606)
//   lte, nr, gsm, umts, wcdma, nas, rrc   signalling and context logs by technology or layer
//   all          every log item of every equipment id the device reports (far more than 115,200 baud
//                carries)
#pragma once

#include <set>
#include <string>

struct sLogChoice {
    bool mAll = false;              // every item of every equipment id the device reports
    bool mEvents = false;           // event reports on
    std::set<unsigned int> mCodes;  // otherwise these codes
};

// False with the offending word in `error`.
bool ParseLogChoice(const std::string& list, sLogChoice& choice, std::string& error);

// The group names, for the help text.
std::string LogGroupNames();
// The log codes of the measurement group, as "0xB0C1, 0xB0C2, ..." for the help text.
std::string MeasurementCodeNames();
