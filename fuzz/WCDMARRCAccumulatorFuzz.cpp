// Arbitrary SYSTEM INFORMATION messages wrapped in 0x412F logs, fed in sequence to one accumulator per
// input. Each log lives in an exactly sized array (no guard tail), so that any read past it is caught.
// Every rebuilt log must validate as a log packet and as a WCDMA over-the-air log of channel type 254 or
// 255 carrying the call's timestamp; the sanitizer's leak check covers the buffers and the map.
//
// Input: records of [control byte][message length n][n message bytes]. Control bits 0-2: 0-3 BCCH-BCH,
// 4-5 BCCH-FACH, 6 the channel type is the next input byte, 7 hand the last rebuilt log back. Bits 3-4:
// header byte. Bits 5-7: 7 makes the length word one too large, 6 adds a trailing byte after the message.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <list>
#include <vector>

#include "diag/DiagLog.h"
#include "wcdma/WCDMARRCAccumulator.h"

namespace {

// Checks a rebuilt log and frees it: the last reference dropped destroys the buffer.
void CheckAndFree(sSharedBuffer* log, unsigned long long timestamp) {
    if (!IsUsableBuffer(log) || log->mRefCount != 0) {
        abort();
    }
    log->AddRef();  // the views below take and drop references of their own on top of this one
    {
        sDiagLog view(log);
        sDiagOTALog ota(log);
        if (!view.IsValid() || !ota.IsValid() || view.GetLogCode() != 0x412F ||
            view.GetTimestamp() != timestamp) {
            abort();
        }
        unsigned int length = 0;
        const unsigned char* payload = view.GetLogData(length);
        if (payload == nullptr || length < 5 || (payload[0] != 254 && payload[0] != 255)) {
            abort();
        }
    }
    log->Release();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    cWCDMARRCAccumulator accumulator;
    std::vector<unsigned char> lastRebuilt;
    size_t offset = 0;
    unsigned long long timestamp = 0;
    while (offset + 2 <= size) {
        const unsigned int control = data[offset++];
        unsigned int length = data[offset++];
        std::vector<unsigned char> log;
        if ((control & 7) == 7) {
            log = lastRebuilt;
        } else {
            unsigned char channel = (control & 7) < 4 ? 4 : 5;
            if ((control & 7) == 6 && offset < size) {
                channel = data[offset++];
            }
            if (length > size - offset) {
                length = static_cast<unsigned int>(size - offset);
            }
            const unsigned int lengthWord = (control >> 5) == 7 ? length + 1 : length;
            const unsigned int trailing = (control >> 5) == 6 ? 1 : 0;
            log.assign(20 + length + trailing, 0);
            const unsigned int size12 = 4 + length + trailing + 12;
            const unsigned char header[] = {0x10,
                                            0x00,
                                            static_cast<unsigned char>(size12),
                                            static_cast<unsigned char>(size12 >> 8),
                                            static_cast<unsigned char>(size12),
                                            static_cast<unsigned char>(size12 >> 8),
                                            0x2F,
                                            0x41};
            memcpy(log.data(), header, sizeof header);
            log[16] = channel;
            log[17] = static_cast<unsigned char>((control >> 3) & 3);
            log[18] = static_cast<unsigned char>(lengthWord);
            log[19] = static_cast<unsigned char>(lengthWord >> 8);
            memcpy(log.data() + 20, data + offset, length);
            offset += length;
        }
        ++timestamp;
        if (log.empty()) {
            continue;
        }
        unsigned char* bytes = new unsigned char[log.size()];
        memcpy(bytes, log.data(), log.size());
        sSharedBuffer item(static_cast<unsigned int>(log.size()), bytes, 3);
        std::list<sSharedBuffer*> rebuilt = accumulator.ProcessItem(&item, timestamp);
        for (sSharedBuffer* buffer : rebuilt) {
            lastRebuilt.assign(buffer->mData, buffer->mData + buffer->mSize);
            CheckAndFree(buffer, timestamp);
        }
    }
    return 0;
}
