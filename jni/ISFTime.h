// Item times: FILETIME (100 ns since 1601, the store's clock) and the diagnostic timestamp that log
// packets carry (CDMA system time: upper 48 bits count 1.25 ms periods since 1980-01-06 00:00 UTC, lower
// 16 bits the fraction of a period in 1/49152 units). No leap-second correction either way.
#pragma once

#include "jni/ISFFormat.h"

// Converts a FILETIME to the diagnostic format. 0 before 1980-01-06.
void FiletimeToCDMA(FILETIME time, unsigned long long& out);

// The inverse of FiletimeToCDMA: the latest FILETIME that FiletimeToCDMA maps to `cdma` or below, so
// that a FILETIME converted there and back is unchanged, and a finer diagnostic time is cut to its 100 ns
// step. A fraction above the largest that FiletimeToCDMA writes (49148) gives the period's last step.
FILETIME CDMAToFiletime(unsigned long long cdma);

// The clock as a FILETIME (0 if the clock cannot be read).
FILETIME CurrentFiletime();
