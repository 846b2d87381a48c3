#include "jni/ISFFileLimit.h"

#include <sys/resource.h>

uint64_t FileSizeLimit() {
    rlimit limit;
    if (getrlimit(RLIMIT_FSIZE, &limit) != 0 || limit.rlim_cur == RLIM_INFINITY) {
        return ~0ULL;
    }
    return static_cast<uint64_t>(limit.rlim_cur);
}
