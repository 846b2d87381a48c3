// CRC-16/X-25, the frame check sequence of asynchronous HDLC: polynomial x^16 + x^12 + x^5 + 1 processed
// least significant bit first (0x8408 reflected), register starting at 0xFFFF, final XOR 0xFFFF.
#pragma once

#include <cstddef>

// The published 256-entry table of the PPP 16-bit frame check sequence: entry i is the register change
// of the single byte i.
extern const unsigned short CRC_TABLE[256];

// Register value left by a payload followed by its two check bytes when the frame is intact.
const unsigned short CRC_GOOD_RESIDUE = 0xF0B8;

// Folds `length` bytes into the register `crc` (no initial value, no final XOR): the same result as
// crc = (crc >> 8) ^ CRC_TABLE[(crc ^ byte) & 0xFF] for each byte in order, computed several bytes a step.
unsigned short FoldCRC(unsigned short crc, const unsigned char* data, size_t length);

// CRC of floor(bitLength / 8) whole bytes (leftover bits are ignored; below 8 bits the result is 0).
unsigned short CalculateCRC(const unsigned char* data, unsigned int bitLength);

// Writes the CRC of the first `length` bytes after them, low byte first. The caller provides room for
// length + 2 bytes.
void SetCRC(unsigned char* data, unsigned int length);

// True if `length` bytes, a payload followed by its two check bytes, pass the check. Logs
// "Check CRC no data" and answers false for null data or a length of 0.
bool CheckCRC(const unsigned char* data, unsigned int length);
