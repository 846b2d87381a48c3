// The process's file-size limit (RLIMIT_FSIZE, `ulimit -f`). Growing a file past it raises SIGXFSZ, which
// ends the process unless it is caught or ignored; the streams check a growth against it first, so that
// the limit is a failed write (EFBIG) and a store status, never the death of the process.
#pragma once

#include <cstdint>

// The largest size a file may grow to, in bytes; all ones when there is no limit.
uint64_t FileSizeLimit();

// True when a file may hold bytes up to `end` (exclusive) without passing the limit.
inline bool WithinFileSizeLimit(uint64_t end) {
    return end <= FileSizeLimit();
}
