// Arbitrary bytes through the signalling-message extractor: first the whole input as one packet, then
// the input cut into a sequence of packets fed to one extractor, so that segment pieces meet held state.
// Each packet lives in an exactly sized array (no guard tail), so a read past it is caught; every message
// handed out is read to its last byte and must lie inside the packet or be a joined one of bounded size.
//
// Sequence input: records of [u16 little-endian size n][n bytes] (the last record takes what is left).
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>

#include "fuzz/FuzzSupport.h"
#include "ota/OTAExtractor.h"

namespace {

volatile unsigned int gSink;

void Check(cOTAExtractor& extractor, const uint8_t* data, size_t size) {
    std::unique_ptr<unsigned char[]> packet(new unsigned char[size == 0 ? 1 : size]);
    if (size != 0) {
        memcpy(packet.get(), data, size);
    }
    sOTAMessage message;
    const eOTAExtractStatus status = extractor.Extract(packet.get(), size, message);
    FailIf(status >= OTA_EXTRACT_STATUS_COUNT || OTAExtractStatusName(status) == nullptr ||
           OTAMessageKindName(message) == nullptr);
    if (status != OTA_EXTRACT_MESSAGE) {
        FailIf(message.mData != nullptr || message.mLength != 0 || message.mProtocol != OTA_PROTOCOL_NONE);
        return;
    }
    const bool inside = message.mData >= packet.get() && message.mLength <= size &&
                        static_cast<size_t>(message.mData - packet.get()) <= size - message.mLength;
    FailIf(!inside && message.mLength > 64 * 1024);
    unsigned int sum = 0;
    for (size_t i = 0; i < message.mLength; ++i) {
        sum += message.mData[i];
    }
    gSink = sum;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    cOTAExtractor single;
    Check(single, data, size);

    cOTAExtractor extractor;
    for (size_t offset = 0; offset + 2 <= size;) {
        size_t n = data[offset] | (static_cast<size_t>(data[offset + 1]) << 8);
        offset += 2;
        n = n < size - offset ? n : size - offset;
        Check(extractor, data + offset, n);
        offset += n;
    }
    FailIf(extractor.HeldPieces() > 4 * 6);  // at most 6 pieces held in each of the bounded slots
    extractor.Reset();
    return 0;
}
