// Arbitrary SYSTEM INFORMATION messages wrapped in 0x412F logs, fed in sequence to one accumulator. Each
// log lives in an exactly sized array (no guard tail), so that any read past it is caught; every rebuilt
// log must validate as a log packet carrying the call's timestamp; the leak check covers the rest.
//
// Input: records of [control byte][message length n][n message bytes]. Control bit 0: BCCH-FACH (channel
// type 5) instead of BCCH-BCH (4); bits 1-2: header byte; bit 7: the length word one more than n.
#include <algorithm>
#include <cstdint>
#include <cstring>

#include "diag/DiagLog.h"
#include "fuzz/FuzzSupport.h"
#include "wcdma/WCDMARRCAccumulator.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    cWCDMARRCAccumulator accumulator;
    unsigned long long timestamp = 0;
    for (size_t offset = 0; offset + 2 <= size; ++timestamp) {
        const unsigned int control = data[offset];
        const unsigned int length =
            static_cast<unsigned int>(std::min<size_t>(data[offset + 1], size - offset - 2));
        offset += 2;
        const unsigned int logSize = 20 + length;
        const unsigned int lengthWord = length + (control >> 7);
        unsigned char* log = new unsigned char[logSize]();
        log[0] = 0x10;
        log[2] = log[4] = static_cast<unsigned char>(logSize - 4);
        log[3] = log[5] = static_cast<unsigned char>((logSize - 4) >> 8);
        log[6] = 0x2F;
        log[7] = 0x41;
        log[16] = static_cast<unsigned char>(4 + (control & 1));
        log[17] = static_cast<unsigned char>((control >> 1) & 3);
        log[18] = static_cast<unsigned char>(lengthWord);
        log[19] = static_cast<unsigned char>(lengthWord >> 8);
        memcpy(log + 20, data + offset, length);
        offset += length;
        sSharedBuffer item(logSize, log, 3);  // adopts the array
        for (sSharedBuffer* rebuilt : accumulator.ProcessItem(&item, timestamp)) {
            FailIf(!IsUsableBuffer(rebuilt) || rebuilt->mRefCount != 0);
            rebuilt->AddRef();  // the view takes and drops references of its own on top of this one
            {
                sDiagLog view(rebuilt);
                FailIf(!view.IsValid() || view.GetLogCode() != 0x412F || view.GetTimestamp() != timestamp);
            }
            rebuilt->Release();
        }
    }
    return 0;
}
