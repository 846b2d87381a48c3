// The native methods of the Java classes org.palvorin.cISFStore and org.palvorin.cVORTFile (static
// methods on the Java side, so the second parameter is the class, never used).
//
// A store is named on the Java side by its address (a Java long); the library keeps no reference to it.
// Byte arrays are read in place and always given back with JNI_ABORT: the Java array never changes. Every
// prefix is read only when the array holds it.
#include <jni.h>

#include <cstdint>
#include <cstring>
#include <new>

#include "Shared/HDLC.h"
#include "Shared/Log.h"
#include "Shared/SharedBuffer.h"
#include "jni/ISFFormat.h"
#include "jni/ISFItemArray.h"
#include "jni/ISFStore.h"

namespace {

const jsize VER_INFO_VALUE_SIZE = 8;
// The answer of GetVerInfo starts with this u32, then the record less its last 4 bytes (deliberate: the
// answer is as long as the record).
const unsigned char VER_INFO_LEAD[4] = {3, 0, 0, 0};

// Status of an array whose elements cannot be obtained.
const unsigned int STATUS_NO_ARRAY = 12;

// The elements of a Java byte array, obtained on construction and given back with JNI_ABORT when the
// object goes out of scope. Bytes() is null when the array is null or the JVM could not provide them.
class cArrayElements {
public:
    cArrayElements(JNIEnv* env, jbyteArray array) : mEnv(env), mArray(array), mLength(0), mElements(nullptr) {
        if (array != nullptr) {
            mLength = env->GetArrayLength(array);
            mElements = env->GetByteArrayElements(array, nullptr);
        }
    }
    ~cArrayElements() {
        if (mElements != nullptr) {
            mEnv->ReleaseByteArrayElements(mArray, mElements, JNI_ABORT);
        }
    }

    const unsigned char* Bytes() const { return reinterpret_cast<const unsigned char*>(mElements); }
    jsize Length() const { return mLength; }

    cArrayElements(const cArrayElements&) = delete;
    cArrayElements& operator=(const cArrayElements&) = delete;

private:
    JNIEnv* mEnv;
    jbyteArray mArray;
    jsize mLength;
    jbyte* mElements;
};

// The characters of a Java string in modified UTF-8, given back when the object goes out of scope.
class cStringChars {
public:
    cStringChars(JNIEnv* env, jstring text)
        : mEnv(env), mText(text), mChars(text != nullptr ? env->GetStringUTFChars(text, nullptr) : nullptr) {}
    ~cStringChars() {
        if (mChars != nullptr) {
            mEnv->ReleaseStringUTFChars(mText, mChars);
        }
    }

    const char* Chars() const { return mChars; }

    cStringChars(const cStringChars&) = delete;
    cStringChars& operator=(const cStringChars&) = delete;

private:
    JNIEnv* mEnv;
    jstring mText;
    const char* mChars;
};

cISFStore* StoreOf(jlong handle) {
    return reinterpret_cast<cISFStore*>(static_cast<intptr_t>(handle));
}

// A new Java array holding `lead` (may be empty) followed by `size` bytes of `data`; null when the JVM has
// no room (an OutOfMemoryError is then pending).
jbyteArray NewJavaArray(JNIEnv* env, const unsigned char* lead, jsize leadSize, const unsigned char* data,
                        jsize size) {
    jbyteArray array = env->NewByteArray(leadSize + size);
    if (array == nullptr) {
        return nullptr;
    }
    if (leadSize > 0) {
        env->SetByteArrayRegion(array, 0, leadSize, reinterpret_cast<const jbyte*>(lead));
    }
    env->SetByteArrayRegion(array, leadSize, size, reinterpret_cast<const jbyte*>(data));
    return array;
}

// WriteItem and WriteItemWithTS: `stamped` arrays carry their own FILETIME in front of the protocol type.
jint WriteArray(JNIEnv* env, jlong handle, jbyteArray item, bool stamped) {
    cISFStore* store = StoreOf(handle);
    if (store == nullptr) {
        return static_cast<jint>(ISF_STATUS_BAD_ARGUMENTS);
    }
    cArrayElements elements(env, item);
    const unsigned char* bytes = elements.Bytes();
    if (bytes == nullptr) {
        PALVORIN_LOG(PALVORIN_TAG_STORE, "FATAL error constructing BYTE array");
        return static_cast<jint>(STATUS_NO_ARRAY);
    }
    // An array too short for its prefix reaches the store as an item of no known protocol and no bytes,
    // which the store rejects with its own message.
    const sItemArray parsed = ParseItemArray(bytes, static_cast<size_t>(elements.Length()), stamped);
    const FILETIME time = stamped ? parsed.mTime : CurrentFiletime();
    return static_cast<jint>(store->WriteItem(parsed.mProtocol, parsed.mLength, parsed.mPacket, time));
}

}  // namespace

extern "C" {

JNIEXPORT jlong JNICALL Java_org_palvorin_cISFStore_GetISFStore(JNIEnv*, jclass) {
    return static_cast<jlong>(reinterpret_cast<intptr_t>(new (std::nothrow) cISFStore()));
}

JNIEXPORT jint JNICALL Java_org_palvorin_cISFStore_OpenNewFileStore(JNIEnv* env, jclass, jlong handle,
                                                                    jstring path) {
    cISFStore* store = StoreOf(handle);
    if (store == nullptr || path == nullptr) {
        return static_cast<jint>(ISF_STATUS_BAD_ARGUMENTS);
    }
    cStringChars chars(env, path);
    if (chars.Chars() == nullptr) {
        return static_cast<jint>(ISF_STATUS_NO_MEMORY);
    }
    return static_cast<jint>(store->OpenNewFileStore(chars.Chars()));
}

JNIEXPORT jint JNICALL Java_org_palvorin_cISFStore_WriteItem(JNIEnv* env, jclass, jlong handle,
                                                             jbyteArray item) {
    return WriteArray(env, handle, item, false);
}

JNIEXPORT jint JNICALL Java_org_palvorin_cISFStore_WriteItemWithTS(JNIEnv* env, jclass, jlong handle,
                                                                   jbyteArray item) {
    return WriteArray(env, handle, item, true);
}

JNIEXPORT jint JNICALL Java_org_palvorin_cISFStore_CloseFileStore(JNIEnv*, jclass, jlong handle) {
    cISFStore* store = StoreOf(handle);
    if (store != nullptr) {
        store->CloseFileStore();
    }
    return 0;
}

JNIEXPORT void JNICALL Java_org_palvorin_cISFStore_DeleteISFStore(JNIEnv*, jclass, jlong handle) {
    delete StoreOf(handle);
}

// Deliberately a placeholder: names the input and the output directory a capture conversion would take,
// converts nothing and reports 0.
JNIEXPORT jint JNICALL Java_org_palvorin_cISFStore_GeneratePCAP(JNIEnv* env, jclass, jstring path) {
    cStringChars chars(env, path);
    const char* input = chars.Chars() != nullptr ? chars.Chars() : "";
    const char* slash = std::strrchr(input, '/');
    const size_t directoryLength = slash != nullptr ? static_cast<size_t>(slash - input) + 1 : 0;
    char* directory = new (std::nothrow) char[directoryLength + 1];
    if (directory != nullptr) {
        std::memcpy(directory, input, directoryLength);
        directory[directoryLength] = '\0';
    }
    PALVORIN_LOG(PALVORIN_TAG_STORE, "Running PCAPGenerator on %s to %s\n", input,
                 directory != nullptr ? directory : "");
    PALVORIN_LOG(PALVORIN_TAG_STORE, "PCAPGenerator %d\n", 0);
    delete[] directory;
    return 0;
}

JNIEXPORT jbyteArray JNICALL Java_org_palvorin_cVORTFile_HDLCEncode(JNIEnv* env, jclass, jbyteArray item) {
    cArrayElements elements(env, item);
    const sItemArray parsed = ParseItemArray(elements.Bytes(), static_cast<size_t>(elements.Length()), false);
    if (parsed.mPacket == nullptr) {
        return nullptr;
    }
    // A packet of no bytes or more than MAX_SHARED_BUFFER_SIZE gives an empty buffer, which frames to null.
    sSharedBuffer* packet =
        new (std::nothrow) sSharedBuffer(parsed.mPacket, parsed.mLength, parsed.mProtocol);
    if (packet == nullptr) {
        return nullptr;
    }
    sSharedBuffer* frame = HDLCEncode(packet, false);
    delete packet;
    if (frame == nullptr || frame->mData == nullptr) {
        delete frame;
        return nullptr;
    }
    jbyteArray result = NewJavaArray(env, nullptr, 0, frame->mData, static_cast<jsize>(frame->mSize));
    delete frame;
    return result;
}

JNIEXPORT jbyteArray JNICALL Java_org_palvorin_cVORTFile_GetVerInfo(JNIEnv* env, jclass, jbyteArray value) {
    unsigned long long cdmaTime = 0;
    {
        cArrayElements elements(env, value);
        if (elements.Bytes() == nullptr || elements.Length() < VER_INFO_VALUE_SIZE) {
            return nullptr;
        }
        cdmaTime = GetLE(elements.Bytes(), VER_INFO_VALUE_SIZE);
    }
    sSharedBuffer* record = cISFStore::GenerateToolVersion(cdmaTime);
    const jsize lead = static_cast<jsize>(sizeof VER_INFO_LEAD);
    if (record == nullptr || record->mData == nullptr || record->mSize < sizeof VER_INFO_LEAD) {
        delete record;
        return nullptr;
    }
    const jsize size = static_cast<jsize>(record->mSize);
    jbyteArray result = NewJavaArray(env, VER_INFO_LEAD, lead, record->mData, size - lead);
    delete record;
    return result;
}

}  // extern "C"
