// Log packets (command code 16) and their over-the-air (OTA) signalling subset.
//
//   0: 16; 1: more-data flag (not checked); 2: 16-bit length = size - 4; 4: the same length again;
//   6: 16-bit log code; 8: 64-bit device timestamp (passed through); 16: log payload (length - 12 bytes).
// The only other accepted form is the 4-byte packet whose length field is 0.
#pragma once

#include <vector>

#include "diag/BoundedBytes.h"
#include "diag/ProtocolBuffer.h"

struct sDiagLog : sDiagBuffer {
    explicit sDiagLog(sSharedBuffer* buffer);
    // Valid for protocol type 3, code 16 and consistent length fields.
    bool Validate() override;

    // Start of the packet, or null.
    const unsigned char* GetLog() const;
    // The log code, or 4294967295.
    unsigned int GetLogCode() const;
    // The payload inside the packet (null when empty or invalid) and its length (0 when invalid). On the
    // 4-byte form the length wraps to 4294967284 and the address lies past the packet (kept as it is):
    // do not use it on such a log.
    const unsigned char* GetLogData(unsigned int& length) const;
    // The device timestamp, or 0.
    unsigned long long GetTimestamp() const;

    // A log packet of `logCode` and `timestamp` with up to 8192 bytes of `payload` (none when it is null),
    // protocol type 3. Returns a new buffer with reference count 0, owned by the caller, or null when
    // memory runs out.
    static sSharedBuffer* BuildLog(unsigned int logCode, unsigned long long timestamp,
                                   const unsigned char* payload, unsigned int length);
};

// An OTA log: one of a fixed list of log codes, with the payload check of its technology. Its OTA type
// is a short list of numbers (channel, protocol or message identifiers) read from fixed payload places.
struct sDiagOTALog : sDiagLog {
    explicit sDiagOTALog(sSharedBuffer* buffer);
    // sDiagLog's rule, then an accepted code and its technology's payload check (through the slots below).
    bool Validate() override;

    // Payload checks, one per technology. None reads the view; a subclass may replace them.
    virtual bool ValidateCDMA(unsigned int logCode, const unsigned char* payload, unsigned int length);
    virtual bool ValidateCDMA1xEV(unsigned int logCode, const unsigned char* payload, unsigned int length);
    virtual bool ValidateGSM(unsigned int logCode, const unsigned char* payload, unsigned int length);
    virtual bool ValidateUMTS(unsigned int logCode, const unsigned char* payload, unsigned int length);
    virtual bool ValidateWCDMA(unsigned int logCode, const unsigned char* payload, unsigned int length);
    virtual bool ValidateUMB(unsigned int logCode, const unsigned char* payload, unsigned int length);
    virtual bool ValidateWLAN(unsigned int logCode, const unsigned char* payload, unsigned int length);

    // The OTA type of this log; empty when invalid, without payload or of a code with no technology.
    std::vector<unsigned int> GetOTAType() const;

    // Extraction of one technology; empty when the view is invalid or `logCode` is not of the technology.
    // They trust the payload check of a validated view: reads are at fixed offsets, some of them deliberately
    // beyond that check; those read 0 past the end of the packet (or past `length` for a payload that
    // does not lie in the view's packet) and never touch memory there.
    std::vector<unsigned int> GetOTATypeCDMA(unsigned int logCode, const unsigned char* payload,
                                             unsigned int length) const;
    std::vector<unsigned int> GetOTATypeCDMA1xEV(unsigned int logCode, const unsigned char* payload,
                                                 unsigned int length) const;
    std::vector<unsigned int> GetOTATypeGSM(unsigned int logCode, const unsigned char* payload,
                                            unsigned int length) const;
    std::vector<unsigned int> GetOTATypeUMTS(unsigned int logCode, const unsigned char* payload,
                                             unsigned int length) const;
    // Channel type, then the message choice read most significant bit first from the RRC message.
    std::vector<unsigned int> GetOTATypeWCDMA(unsigned int logCode, const unsigned char* payload,
                                              unsigned int length) const;
    std::vector<unsigned int> GetOTATypeUMB(unsigned int logCode, const unsigned char* payload,
                                            unsigned int length) const;
    std::vector<unsigned int> GetOTATypeWLAN(unsigned int logCode, const unsigned char* payload,
                                             unsigned int length) const;

private:
    // What an extraction may read of `payload`: up to the end of the view's packet when it lies in it (as
    // GetOTAType's does), else its `length` bytes. The view must be valid.
    sBoundedBytes Readable(const unsigned char* payload, unsigned int length) const;
};
