#include "jni/ISFFileIdentity.h"

#include <sys/stat.h>

sFileIdentity FileIdentityOf(const char* path) {
    sFileIdentity identity;
    struct stat status;
    if (path != nullptr && stat(path, &status) == 0) {
        identity.mKnown = true;
        identity.mDevice = static_cast<uint64_t>(status.st_dev);
        identity.mInode = static_cast<uint64_t>(status.st_ino);
    }
    return identity;
}
