// Log masks: one bit per log item of one equipment. A log code is (equipment << 12) | item, with the
// equipment id 0 to 15 and the item below 4096. Item i is bit (i mod 8) of byte i / 8, bit 0 being the
// least significant; in reversed order it is bit 7 - (i mod 8) instead.
#pragma once

#include <set>

#include "diag/DiagProtocol.h"

const unsigned int MAX_LOG_MASK_BITS = 4096;

// Bytes of a mask of `bitCount` bits (ceil(bitCount / 8), with no overflow for any count).
inline unsigned int LogMaskBytes(unsigned int bitCount) {
    return bitCount / 8 + (bitCount % 8 != 0 ? 1u : 0u);
}

// Zeroes the ceil(bitCount / 8) bytes of `mask` (the caller's) and sets the bits of the codes of
// `equipment` whose item is below `bitCount`. Does nothing for an equipment above 15, a null mask or a
// bit count outside 1..4096. The walk stops at the first code of a higher equipment (or above 0xFFFF).
void BuildLogMaskFromCodes(unsigned char* mask, unsigned int bitCount, eLogEquipID equipment,
                           const std::set<unsigned int>& codes, bool reverse);

// Adds to `codes` (not cleared first) the code of every bit set in the first `bitCount` bits of `mask`,
// which is left unchanged. Does nothing on the same bad arguments as above.
void BuildLogCodesFromMask(const unsigned char* mask, unsigned int bitCount, eLogEquipID equipment,
                           std::set<unsigned int>& codes, bool reverse);

// Reverses the bit order of each of the first `length` bytes of `data` (bit 0 becomes bit 7, ...).
void ReverseBits(unsigned char* data, unsigned int length);
