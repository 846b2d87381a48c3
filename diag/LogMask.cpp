#include "diag/LogMask.h"

#include <cstring>

namespace {

const unsigned int ITEM_BITS = 12;
const unsigned int ITEM_MASK = 0xFFF;
const unsigned int MAX_LOG_CODE = 0xFFFF;

bool AreUsableArguments(const void* mask, unsigned int bitCount, eLogEquipID equipment) {
    return equipment <= LOG_EQUIP_LAST && mask != nullptr && bitCount != 0 && bitCount <= MAX_LOG_MASK_BITS;
}

}  // namespace

void BuildLogMaskFromCodes(unsigned char* mask, unsigned int bitCount, eLogEquipID equipment,
                           const std::set<unsigned int>& codes, bool reverse) {
    if (!AreUsableArguments(mask, bitCount, equipment)) {
        return;
    }
    const unsigned int bytes = LogMaskBytes(bitCount);
    memset(mask, 0, bytes);
    for (unsigned int code : codes) {
        // The set is sorted: past the wanted equipment no code of it can follow, and nothing above 0xFFFF
        // is a log code.
        const unsigned int codeEquipment = (code >> ITEM_BITS) & 0xF;
        if (codeEquipment > equipment || code > MAX_LOG_CODE) {
            break;
        }
        const unsigned int item = code & ITEM_MASK;
        if (codeEquipment == equipment && item < bitCount) {
            mask[item / 8] |= static_cast<unsigned char>(1u << (item % 8));
        }
    }
    if (reverse) {
        ReverseBits(mask, bytes);
    }
}

void BuildLogCodesFromMask(const unsigned char* mask, unsigned int bitCount, eLogEquipID equipment,
                           std::set<unsigned int>& codes, bool reverse) {
    if (!AreUsableArguments(mask, bitCount, equipment)) {
        return;
    }
    unsigned char copy[MAX_LOG_MASK_BITS / 8 + 1];
    const unsigned int bytes = LogMaskBytes(bitCount);
    memcpy(copy, mask, bytes);
    if (reverse) {
        ReverseBits(copy, bytes);
    }
    const unsigned int base = (equipment & 0xF) << ITEM_BITS;
    for (unsigned int item = 0; item < bitCount; ++item) {
        if ((copy[item / 8] >> (item % 8)) & 1) {
            codes.insert(codes.end(), base | item);  // ascending, so each insert lands at the end
        }
    }
}

void ReverseBits(unsigned char* data, unsigned int length) {
    // Eight bytes per step: the same three swaps as below, on every byte of a word at once (no bit
    // crosses a byte boundary).
    unsigned int i = 0;
    for (; i + 8 <= length; i += 8) {
        unsigned long long w;
        memcpy(&w, data + i, 8);
        w = ((w >> 4) & 0x0F0F0F0F0F0F0F0Full) | ((w & 0x0F0F0F0F0F0F0F0Full) << 4);
        w = ((w >> 2) & 0x3333333333333333ull) | ((w & 0x3333333333333333ull) << 2);
        w = ((w >> 1) & 0x5555555555555555ull) | ((w & 0x5555555555555555ull) << 1);
        memcpy(data + i, &w, 8);
    }
    for (; i < length; ++i) {
        unsigned int b = data[i];
        b = ((b & 0xF0) >> 4) | ((b & 0x0F) << 4);
        b = ((b & 0xCC) >> 2) | ((b & 0x33) << 2);
        b = ((b & 0xAA) >> 1) | ((b & 0x55) << 1);
        data[i] = static_cast<unsigned char>(b);
    }
}
