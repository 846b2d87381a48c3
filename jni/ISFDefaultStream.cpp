#include "jni/ISFDefaultStream.h"

#include "jni/ISFFileStream.h"

cISFStreamFactory& DefaultISFStreams() {
    static cISFFileStreamFactory streams;  // the production stream: this line picks it
    return streams;
}
