// Splitting text: a command line into arguments, a string into tokens, and a printf-style format into the
// list of arguments it consumes (so that a caller can check them before formatting). None logs; all are
// re-entrant.
#pragma once

#include <string>
#include <vector>

// Appends the arguments of `line` to `arguments`. Arguments are separated by spaces (the byte 0x20 only;
// tabs are ordinary characters). An argument that starts with a double quote runs to the next double
// quote, neither quote included, and may be empty; the next argument may follow the closing quote
// directly. A quote inside an unquoted argument is an ordinary character; there is no escape. A quote
// that is never closed silently ends the parsing, without an argument for it.
void ParseCommandLine(std::string line, std::vector<std::string>& arguments);

// Splits `text` in place at any of the characters of `delimiters` (strtok_r rules: runs of delimiters
// give no empty tokens) and appends a pointer to each token. The pointers point into `text`, which the
// caller keeps alive; each delimiter that ends a token becomes a NUL. A null or empty `delimiters` or
// `text` does nothing.
void ParseTokens(const char* delimiters, char* text, std::vector<char*>& tokens);

// Appends one character per argument that the printf-style `format` consumes: '*' for a star width or
// precision, then the conversion character of each % directive ("%%" consumes nothing; size prefixes
// such as "I64" and "ll" are skipped). Returns whether the format is well formed: false when it ends
// inside a directive, meets a character that cannot follow, or is not NUL-terminated within
// `maxLength` characters (then nothing is appended). `format` must not be null; it is read up to its NUL
// or for at most maxLength + 1 bytes. Whatever was appended before a failure is kept.
bool ParseFormatSpecifier(const char* format, unsigned int maxLength, std::vector<char>& argumentTypes);
