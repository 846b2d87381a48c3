// The times of a campaign database read back from a worker's SQLite file (db/DBTime.h): any text either
// fails or reads as a time that formats back to the same text; any time in range formats to a text that
// reads back as that time.
#include <cstdint>
#include <cstring>

#include "db/DBTime.h"
#include "fuzz/FuzzSupport.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const auto* text = reinterpret_cast<const char*>(data);
    int64_t ms = 0;
    char formatted[kDBTimeTextSize];
    if (ParseDBTime(text, size, ms)) {
        FailIf(!FormatDBTime(ms, formatted) || memcmp(formatted, text, kDBTimeTextSize) != 0);
    }
    if (size >= sizeof(int64_t)) {
        memcpy(&ms, data, sizeof ms);
        int64_t back = 0;
        FailIf(FormatDBTime(ms, formatted) && (!ParseDBTime(formatted, kDBTimeTextSize, back) || back != ms));
    }
    return 0;
}
