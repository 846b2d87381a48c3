// The log codes that `palvorin capture --logs` switches on, by technology: a comma-separated list of group
// names (lte, nr, gsm, umts, wcdma, nas, rrc, all) and log codes in hex (0xB0C0).
#pragma once

#include <set>
#include <string>

struct sLogChoice {
    bool mAll = false;              // every item of every equipment id the device reports
    std::set<unsigned int> mCodes;  // otherwise these codes
};

// False with the offending word in `error`.
bool ParseLogChoice(const std::string& list, sLogChoice& choice, std::string& error);

// The group names, for the help text.
std::string LogGroupNames();
