// ParseFormatSpecifier (see text/Parsing.h): a state machine over character classes.
#include <cstddef>

#include "text/Parsing.h"

namespace {

enum eFormatState : unsigned char {
    STATE_NORMAL,     // ordinary text
    STATE_PERCENT,    // just after '%'
    STATE_FLAG,       // in the flags
    STATE_WIDTH,      // in the width
    STATE_DOT,        // just after the precision's '.'
    STATE_PRECISION,  // in the precision
    STATE_SIZE,       // in a size prefix
    STATE_TYPE,       // a conversion character just ended the directive
    STATE_INVALID,
};

enum eCharClass : unsigned char {
    CLASS_OTHER,
    CLASS_PERCENT,
    CLASS_DOT,
    CLASS_STAR,
    CLASS_ZERO,
    CLASS_DIGIT,
    CLASS_FLAG,
    CLASS_SIZE,
    CLASS_TYPE,
};

// Characters 0x20 to 0x78 have a class of their own; all others are CLASS_OTHER.
const unsigned char kFirstClassified = 0x20;
const unsigned char kLastClassified = 0x78;

struct sClassTable {
    unsigned char mClass[kLastClassified - kFirstClassified + 1];
};

constexpr void Mark(sClassTable& table, const char* characters, eCharClass charClass) {
    for (; *characters != '\0'; ++characters) {
        table.mClass[static_cast<unsigned char>(*characters) - kFirstClassified] = charClass;
    }
}

constexpr sClassTable BuildClassTable() {
    sClassTable table{};  // CLASS_OTHER everywhere
    Mark(table, "%", CLASS_PERCENT);
    Mark(table, ".", CLASS_DOT);
    Mark(table, "*", CLASS_STAR);
    Mark(table, "0", CLASS_ZERO);
    Mark(table, "123456789", CLASS_DIGIT);
    Mark(table, " #+-", CLASS_FLAG);
    Mark(table, "FILNhlw", CLASS_SIZE);
    Mark(table, "CEGSXZcdefgiopsux", CLASS_TYPE);
    return table;
}

constexpr sClassTable kClasses = BuildClassTable();

// kNextState[class][state]: the state after a character of that class.
const eFormatState N = STATE_NORMAL, P = STATE_PERCENT, F = STATE_FLAG, W = STATE_WIDTH, D = STATE_DOT,
                   R = STATE_PRECISION, S = STATE_SIZE, T = STATE_TYPE, X = STATE_INVALID;
const eFormatState kNextState[9][9] = {
    // state:  N  P  F  W  D  R  S  T  X
    /* other   */ {N, X, X, X, X, X, X, N, N},
    /* percent */ {P, N, X, X, X, X, X, P, N},
    /* dot     */ {N, D, D, D, X, X, X, N, N},
    /* star    */ {N, W, W, X, R, X, X, N, N},
    /* zero    */ {N, F, F, W, R, R, X, N, N},
    /* digit   */ {N, W, W, W, R, R, X, N, N},
    /* flag    */ {N, F, F, X, X, X, X, N, N},
    /* size    */ {N, S, S, S, S, S, S, N, N},
    /* type    */ {N, T, T, T, T, T, T, N, N},
};

unsigned char ClassOf(unsigned char c) {
    if (c < kFirstClassified || c > kLastClassified) {
        return CLASS_OTHER;
    }
    return kClasses.mClass[c - kFirstClassified];
}

bool IsIntegerConversion(char c) {
    return c == 'X' || c == 'd' || c == 'i' || c == 'o' || c == 'u' || c == 'x';
}

}  // namespace

bool ParseFormatSpecifier(const char* format, unsigned int maxLength, std::vector<char>& argumentTypes) {
    size_t length = 0;
    while (length < maxLength && format[length] != '\0') {
        ++length;
    }
    if (format[length] != '\0') {
        return false;  // not terminated within maxLength characters
    }

    eFormatState state = STATE_NORMAL;
    for (size_t i = 0; state != STATE_INVALID && format[i] != '\0'; ++i) {
        const char c = format[i];
        state = kNextState[ClassOf(static_cast<unsigned char>(c))][state];
        if ((state == STATE_WIDTH || state == STATE_PRECISION) && c == '*') {
            argumentTypes.push_back('*');  // a star width or precision consumes an argument
        }
        if (state == STATE_SIZE) {
            const char next = format[i + 1];
            if (c == 'I') {
                if ((next == '3' && format[i + 2] == '2') || (next == '6' && format[i + 2] == '4')) {
                    i += 2;
                } else if (!IsIntegerConversion(next)) {
                    state = STATE_NORMAL;  // "I" alone is not a size prefix
                }
            } else if (c == 'l' && next == 'l') {
                ++i;
            }
        }
        if (state == STATE_TYPE) {
            argumentTypes.push_back(c);
        }
    }
    return state == STATE_NORMAL || state == STATE_TYPE;
}
