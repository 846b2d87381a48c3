#include "jni/ISFItemArray.h"

sItemArray ParseItemArray(const unsigned char* bytes, size_t size, bool stamped) {
    sItemArray item;
    const size_t prefix = stamped ? ISF_STAMPED_ITEM_PREFIX_SIZE : ISF_ITEM_PREFIX_SIZE;
    if (bytes == nullptr || size < prefix) {
        return item;
    }
    // The protocol type is the last 4 bytes of either prefix.
    item.mProtocol = static_cast<unsigned int>(GetLE(bytes + prefix - ISF_ITEM_PREFIX_SIZE, 4));
    if (stamped) {
        item.mTime = GetLE(bytes, 8);
    }
    item.mPacket = bytes + prefix;
    item.mLength = static_cast<unsigned int>(size - prefix);
    return item;
}
