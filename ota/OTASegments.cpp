#include "ota/OTASegments.h"

#include <cstring>
#include <new>

#include "Shared/Log.h"

cOTASegments::sSlot* cOTASegments::Find(eOTAProtocol protocol, uint32_t subscription, bool orFree) {
    sSlot* free = nullptr;
    for (sSlot& slot : mSlots) {
        if (slot.mPieces == 0) {
            free = free != nullptr ? free : &slot;
        } else if (slot.mProtocol == protocol && slot.mSubscription == subscription) {
            return &slot;
        }
    }
    return orFree ? free : nullptr;
}

void cOTASegments::Drop(sSlot& slot) {
    mDropped += slot.mPieces;
    slot.mPieces = 0;
}

eOTAExtractStatus cOTASegments::Add(eOTAProtocol protocol, uint32_t subscription, uint8_t channel,
                                    unsigned int piece, const unsigned char* data, size_t size,
                                    const unsigned char*& joined, size_t& joinedSize) {
    sSlot* slot = Find(protocol, subscription, piece == 1);
    if (piece == 1) {
        if (slot == nullptr) {
            return OTA_EXTRACT_SEGMENTS_INCOMPLETE;  // every slot holds another message
        }
        Drop(*slot);
        if (!slot->mBytes) {
            slot->mBytes.reset(new (std::nothrow) unsigned char[kCapacity]);
            if (!slot->mBytes) {
                PALVORIN_LOG(PALVORIN_TAG_STORE, "no memory to join a segmented message");
                return OTA_EXTRACT_SEGMENTS_INCOMPLETE;
            }
        }
        if (size > kCapacity) {
            return OTA_EXTRACT_SEGMENTS_INCOMPLETE;
        }
        slot->mProtocol = protocol;
        slot->mSubscription = subscription;
        slot->mChannel = channel;
        slot->mPieces = 1;
        slot->mSize = size;
        if (size != 0) {
            memcpy(slot->mBytes.get(), data, size);
        }
        return OTA_EXTRACT_SEGMENT_HELD;
    }
    if (slot == nullptr) {
        return OTA_EXTRACT_SEGMENTS_INCOMPLETE;  // nothing held to continue
    }
    const bool follows = piece == kLastPiece || piece == slot->mPieces + 1;
    if (!follows || piece > kLastPiece || channel != slot->mChannel || size > kCapacity - slot->mSize) {
        Drop(*slot);
        return OTA_EXTRACT_SEGMENTS_INCOMPLETE;
    }
    if (size != 0) {
        memcpy(slot->mBytes.get() + slot->mSize, data, size);
    }
    slot->mSize += size;
    if (piece != kLastPiece) {
        ++slot->mPieces;
        return OTA_EXTRACT_SEGMENT_HELD;
    }
    slot->mPieces = 0;  // free again; the bytes stay until the slot's next first piece
    joined = slot->mBytes.get();
    joinedSize = slot->mSize;
    return OTA_EXTRACT_MESSAGE;
}

unsigned int cOTASegments::HeldPieces() const {
    unsigned int pieces = 0;
    for (const sSlot& slot : mSlots) {
        pieces += slot.mPieces;
    }
    return pieces;
}

void cOTASegments::Reset() {
    for (sSlot& slot : mSlots) {
        slot.mPieces = 0;
    }
}
