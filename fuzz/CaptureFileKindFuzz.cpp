// Telling an ISF file from a raw stream by its first bytes (stream/CaptureFileKind.h), on any bytes: never a
// fault, an ISF file exactly when the header magic is there, and a raw stream only when some frame passes
// its check.
#include <cstddef>
#include <cstdint>

#include "fuzz/FuzzSupport.h"
#include "jni/ISFFormat.h"
#include "stream/CaptureFileKind.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const bool magic = size >= ISF_HEADER_SIZE && GetLE(data, ISF_HEADER_SIZE) == ISF_HEADER_MAGIC;
    for (bool whole : {true, false}) {
        const eCaptureFileKind kind = CaptureKindOf(data, size, whole);
        FailIf((kind == CAPTURE_FILE_ISF) != magic || kind == CAPTURE_FILE_UNREADABLE ||
               (kind == CAPTURE_FILE_EMPTY) != (size == 0 && whole));
    }
    return 0;
}
