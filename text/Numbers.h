// Text to integers with strict checks, and integers to decimal text. Every function returns true on
// success and writes its output only then; none logs. All are re-entrant (errno is per thread).
//
// The number must be followed by the end of the text or by white space; only that one character is
// looked at, so "12 apples" parses as 12. Leading white space is skipped.
#pragma once

// Hexadecimal text: after leading white space and one optional sign, "0x" or "0X". In base 16 or for
// hexadecimal text in base 0, a negative number is refused and the value is read as unsigned 64 bits,
// of which the low 32 bits are stored as a non-negative number (0 to 4294967295); above 64 bits, or a
// result whose low 32 bits are all ones with a range error, is refused. Other text is read as a signed
// 64-bit number, refused when it overflows.
//
// errno is deliberately not cleared before the signed conversion: a stale range error together with a
// result at the 64-bit limit is refused.
bool StringToLONG(const char* text, int base, long& value);

// A negative number is refused. The value is read as unsigned 64 bits and its low 32 bits are stored:
// the number wraps above 4294967295 (deliberate: the checks keep the form they have with a 32-bit long),
// so "4294967296" gives 0. Refused when the low 32 bits are all ones with a range error.
bool StringToULONG(const char* text, int base, unsigned int& value);

// As StringToLONG in 64 bits: hexadecimal text gives the unsigned 64-bit bit pattern as it is, so
// "0xFFFFFFFFFFFFFFFF" gives -1.
bool StringToLONGLONG(const char* text, int base, long long& value);

// A negative number is refused; overflow of 64 bits is refused.
bool StringToULONGLONG(const char* text, int base, unsigned long long& value);

// Base 0 (decimal, octal after a leading 0, hexadecimal after 0x) through the StringTo... function of
// the type's width, then a range check. char and short (plain char is unsigned 8-bit): hexadecimal text
// may fill the whole unsigned width (0 to 0xFF, 0 to 0xFFFF), other text the signed range; the low bits
// are stored. int: the signed 32-bit range, so hexadecimal text above 0x7FFFFFFF is refused (the
// asymmetry with char and short is deliberate). The unsigned 8- and 16-bit types: their range. The others:
// whatever their StringTo... function accepts. There is deliberately no overload for unsigned long.
bool FromString(const char* text, char& value);
bool FromString(const char* text, unsigned char& value);
bool FromString(const char* text, short& value);
bool FromString(const char* text, unsigned short& value);
bool FromString(const char* text, int& value);
bool FromString(const char* text, unsigned int& value);
bool FromString(const char* text, long& value);
bool FromString(const char* text, long long& value);
bool FromString(const char* text, unsigned long long& value);

// Decimal text of `value` into `text`, which holds at least 63 bytes or the longest number of the type
// and its NUL. A char is printed as its unsigned byte (0 to 255). A null `text` gives false; a formatting
// failure leaves an empty string and gives false.
bool ToString(char value, char* text);
bool ToString(unsigned char value, char* text);
bool ToString(short value, char* text);
bool ToString(unsigned short value, char* text);
bool ToString(int value, char* text);
bool ToString(unsigned int value, char* text);
bool ToString(long value, char* text);
bool ToString(long long value, char* text);
bool ToString(unsigned long long value, char* text);
