#include "jni/ISFDefaultStream.h"

#include "jni/ISFMappedStream.h"

cISFStreamFactory& DefaultISFStreams() {
    static cISFMappedStreamFactory streams;  // the production stream: this line picks it
    return streams;
}
