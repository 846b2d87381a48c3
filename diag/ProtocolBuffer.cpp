#include "diag/ProtocolBuffer.h"

#include <cstring>

namespace {

bool IsDiagProtocol(unsigned int protocol) {
    return protocol == PROTOCOL_DIAG_FROM_DEVICE || protocol == PROTOCOL_DIAG_TO_DEVICE;
}

}  // namespace

sProtocolBuffer::sProtocolBuffer() : mBuffer(nullptr), mCreated(), mValid(false) {}

sProtocolBuffer::sProtocolBuffer(sSharedBuffer* buffer) : mBuffer(nullptr), mCreated(), mValid(false) {
    const time_t now = time(nullptr);
    struct tm created;
    if (gmtime_r(&now, &created) != nullptr) {
        mCreated = created;
    }
    if (IsUsableBuffer(buffer)) {
        mBuffer = buffer;
        mBuffer->AddRef();
        mValid = true;
    }
}

sProtocolBuffer::sProtocolBuffer(const sProtocolBuffer& other)
    : mBuffer(other.mBuffer), mCreated(other.mCreated), mValid(other.mValid) {
    if (IsUsableBuffer(mBuffer)) {
        mBuffer->AddRef();
    } else {
        mBuffer = nullptr;
        mValid = false;
    }
}

sProtocolBuffer& sProtocolBuffer::operator=(const sProtocolBuffer& other) {
    if (mBuffer != nullptr && mBuffer != other.mBuffer) {
        mBuffer->Release();
    }
    mBuffer = other.mBuffer;
    mCreated = other.mCreated;
    mValid = other.mValid;
    // Deliberately adds a reference even when this view already held the same buffer.
    if (IsUsableBuffer(mBuffer)) {
        mBuffer->AddRef();
    } else {
        mBuffer = nullptr;
        mValid = false;
    }
    return *this;
}

sProtocolBuffer::~sProtocolBuffer() {
    if (IsUsableBuffer(mBuffer)) {
        mBuffer->Release();
        mBuffer = nullptr;
    }
    mValid = false;
}

bool sProtocolBuffer::IsValid() const {
    return mValid;
}

bool sProtocolBuffer::Validate() {
    mValid = IsUsableBuffer(mBuffer);
    return mValid;
}

sDiagBuffer::sDiagBuffer(sSharedBuffer* buffer) : sProtocolBuffer(buffer) {
    mValid = mValid && IsDiagProtocol(Protocol());
}

bool sDiagBuffer::Validate() {
    mValid = IsValid() && IsDiagProtocol(Protocol());
    return mValid;
}

bool sDiagBuffer::IsErrorResponse() const {
    if (!IsValid()) {
        return false;
    }
    switch (Bytes()[0]) {
        case DIAG_CMD_ERROR_RSP_19:
        case DIAG_CMD_ERROR_RSP_20:
        case DIAG_CMD_ERROR_RSP_21:
        case DIAG_CMD_ERROR_RSP_22:
        case DIAG_CMD_ERROR_RSP_23:
        case DIAG_CMD_ERROR_RSP_24:
        case DIAG_CMD_ERROR_RSP_66:
        case DIAG_CMD_ERROR_RSP_71:
            return true;
        default:
            return false;
    }
}

sSharedBuffer* sDiagBuffer::BuildBuffer(eDiagCommand command, bool request, const unsigned char* payload,
                                        unsigned int length) {
    const unsigned int n =
        payload == nullptr ? 0 : (length < MAX_DIAG_PACKET_SIZE - 1 ? length : MAX_DIAG_PACKET_SIZE - 1);
    unsigned char* bytes = nullptr;
    sSharedBuffer* packet =
        NewDiagPacket(n + 1, request ? PROTOCOL_DIAG_TO_DEVICE : PROTOCOL_DIAG_FROM_DEVICE, &bytes);
    if (packet != nullptr) {
        bytes[0] = static_cast<unsigned char>(command);
        if (n != 0) {
            memcpy(bytes + 1, payload, n);
        }
    }
    return packet;
}

sSharedBuffer* NewDiagPacket(unsigned int size, unsigned int protocol, unsigned char** bytes) {
    unsigned char* array = NewGuardedArray(size);
    if (array == nullptr) {
        return nullptr;
    }
    sSharedBuffer* packet = NewAdoptingBuffer(size, array, protocol);
    *bytes = packet != nullptr ? array : nullptr;
    return packet;
}
