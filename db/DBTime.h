// Times of the campaign database as SQLite stores them: ISO 8601 text in UTC with milliseconds,
// "YYYY-MM-DDTHH:MM:SS.mmmZ", fixed width, so that text order is time order and SQLite's date functions read
// it.
#pragma once

#include <cstddef>
#include <cstdint>

const size_t kDBTimeTextSize = 24;  // "2020-01-01T00:00:00.000Z", no terminating NUL

// Writes the kDBTimeTextSize characters of `ms` (milliseconds since 1970-01-01 UTC, years 0 to 9999) to
// `out`. False outside those years (nothing written).
bool FormatDBTime(int64_t ms, char* out);
// Reads the text FormatDBTime writes (exactly `size` characters). False for anything else.
bool ParseDBTime(const char* text, size_t size, int64_t& ms);
