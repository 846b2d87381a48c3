// Base views of diagnostic packets. A view holds one counted reference to an sSharedBuffer and answers
// questions about its bytes in place; every accessor of an invalid view gives an empty answer.
//
// Validation is a chain: sProtocolBuffer (buffer usable) -> sDiagBuffer (protocol type 3 or 4) -> the rule
// of each derived view. A derived constructor or Validate() only narrows validity, never widens it.
#pragma once

#include <ctime>

#include "Shared/SharedBuffer.h"
#include "diag/DiagProtocol.h"

struct sProtocolBuffer {
    // Invalid, no buffer, mCreated all zero.
    sProtocolBuffer();
    // Takes a reference on `buffer` when it is usable; an unusable buffer is neither kept nor referenced.
    // The caller keeps its own reference (if any). mCreated receives the current UTC time.
    explicit sProtocolBuffer(sSharedBuffer* buffer);
    // Shares the source's buffer, taking a reference of its own.
    sProtocolBuffer(const sProtocolBuffer& other);
    // Releases the held buffer unless the source holds the same one, then takes a reference on the new
    // one. Deliberate: assigning between two views of the same buffer raises its count by one.
    sProtocolBuffer& operator=(const sProtocolBuffer& other);
    // Releases the buffer if it is usable (a held but unusable buffer is left alone).
    virtual ~sProtocolBuffer();

    // The result of the last validation. The one definition for the whole tree.
    virtual bool IsValid() const final;
    // mValid = the buffer is usable. Unlike every derived Validate() this can make a view valid again.
    virtual bool Validate();

    sSharedBuffer* mBuffer;  // one reference held, or null
    struct tm mCreated;      // UTC time of construction from a buffer; never read back by the library
    bool mValid;
};

struct sDiagBuffer : sProtocolBuffer {
    sDiagBuffer() = default;
    // As sProtocolBuffer, then valid only for protocol type 3 or 4.
    explicit sDiagBuffer(sSharedBuffer* buffer);

    // mValid = IsValid() and protocol type 3 or 4.
    bool Validate() override;

    // Byte 0 is one of the error-response command codes (the protocol type is not looked at).
    bool IsErrorResponse() const;

    // A packet of `command` followed by up to 8207 bytes of `payload` (none when it is null); protocol
    // type 4 for a request, 3 otherwise. Returns a new buffer with reference count 0, owned by the caller,
    // or null when memory runs out.
    static sSharedBuffer* BuildBuffer(eDiagCommand command, bool request, const unsigned char* payload,
                                      unsigned int length);

protected:
    // Bytes and size of a valid view's packet.
    const unsigned char* Bytes() const { return mBuffer->mData; }
    unsigned int Size() const { return mBuffer->mSize; }
    unsigned int Protocol() const { return mBuffer->mProtocol; }
};

// Builder helper shared by every view: a new zeroed packet of `size` bytes (guard tail included) wrapped
// in a buffer of `protocol` with reference count 0, owned by the caller; null when memory runs out.
// `*bytes` receives the array to fill in.
sSharedBuffer* NewDiagPacket(unsigned int size, unsigned int protocol, unsigned char** bytes);
