// Helpers of the item store tests: a temporary directory, log packets, and a stream that counts its calls and
// fails the Nth call of a chosen operation.
#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "jni/ISFMappedStream.h"
#include "jni/ISFStore.h"
#include "reader/ISFReadAll.h"

// The tests' look inside a store (a friend of cISFStore).
class cISFStoreInspector {
public:
    static bool HasFile(const cISFStore& store) { return store.mFile != nullptr; }
    static const cISFStream* File(const cISFStore& store) { return store.mFile; }
};

namespace isftest {

using Bytes = std::vector<unsigned char>;

// 2020-01-01 00:00:00 UTC as a FILETIME, and the same instant in milliseconds since 1601.
const FILETIME kT0 = 132223104000000000ULL;
const uint64_t kT0Ms = 13222310400000ULL;
inline FILETIME AtMs(uint64_t msAfterT0) {
    return kT0 + msAfterT0 * 10000;
}

// A directory under TMPDIR removed with its files at the end of the scope.
class cTempDir {
public:
    cTempDir() {
        const char* base = getenv("TMPDIR");
        std::string name = std::string(base != nullptr ? base : "/tmp") + "/palvorin-isf-XXXXXX";
        mPath = mkdtemp(name.data()) != nullptr ? name : "";
    }
    ~cTempDir() {
        std::error_code ignored;
        std::filesystem::remove_all(mPath, ignored);
    }
    std::string File(const std::string& name) const { return mPath + "/" + name; }

private:
    std::string mPath;
};

// A log packet: 10 00, both lengths, the log code, a device timestamp of 0, then bytes 1, 2, 3 ...
inline Bytes LogPacket(uint16_t logCode, size_t payloadSize) {
    const auto length = static_cast<uint16_t>(payloadSize + 12);
    Bytes packet = {0x10, 0, 0, 0, 0, 0, 0, 0};
    PutLE(packet.data() + 2, length, 2);
    PutLE(packet.data() + 4, length, 2);
    PutLE(packet.data() + 6, logCode, 2);
    packet.resize(16, 0);
    for (size_t i = 0; i < payloadSize; ++i) {
        packet.push_back(static_cast<unsigned char>(i + 1));
    }
    return packet;
}

inline unsigned int Write(cISFStore& store, unsigned int protocol, const Bytes& packet, FILETIME time) {
    return store.WriteItem(protocol, static_cast<unsigned int>(packet.size()), packet.data(), time);
}

inline std::string Problems(const sISFFile& file) {
    std::string text;
    for (const std::string& problem : file.mProblems) {
        text += problem + "\n";
    }
    return text;
}

inline std::vector<Bytes> Payloads(const sISFFile& file, size_t from) {
    std::vector<Bytes> payloads;
    for (size_t i = from; i < file.mItems.size(); ++i) {
        payloads.push_back(file.mItems[i].mPayload);
    }
    return payloads;
}

enum eStreamOp { OP_OPEN, OP_WRITE, OP_FLUSH, OP_SEEK, OP_SEEK_END, OP_TELL, OP_CLOSE };

// Shared by every stream of one factory: the call to fail, and the calls of that operation so far.
struct sStreamScript {
    int mFailOp = -1;          // operation that fails, -1 for none
    unsigned int mFailAt = 0;  // on its Nth call (from 1, across all streams of the factory)
    unsigned int mCalls = 0;
};

// Forwards every operation to the production stream; the scripted call fails instead. A failed write keeps
// half of its bytes at the end of the file (a disk filling up mid-write), none inside it.
class cTestStream : public cISFStream {
public:
    explicit cTestStream(sStreamScript& script) : mScript(script) {}

    bool Open(const char* path) override { return !Fails(OP_OPEN) && mInner.Open(path); }
    bool IsOpen() const override { return mInner.IsOpen(); }
    void Write(const unsigned char* data, size_t length) override {
        const bool append = mPosition >= mEnd;
        if (Fails(OP_WRITE)) {
            length = append ? length / 2 : 0;
            SetState(STATE_BAD);
        }
        mInner.Write(data, length);
        SetState(mInner.State());
        mPosition += length;
        mEnd = std::max(mEnd, mPosition);
    }
    void Flush() override {
        Forward(OP_FLUSH, STATE_BAD, [this] { mInner.Flush(); });
    }
    void Seek(uint64_t position) override {
        Forward(OP_SEEK, STATE_FAIL, [&] { mInner.Seek(mPosition = position); });
    }
    void SeekEnd() override {
        Forward(OP_SEEK_END, STATE_FAIL, [this] {
            mInner.SeekEnd();
            mPosition = mEnd;
        });
    }
    uint64_t Tell() override {
        Forward(OP_TELL, STATE_FAIL, [] {});
        return Fail() ? ~0ULL : mInner.Tell();
    }
    void Close() override {
        Forward(OP_CLOSE, STATE_FAIL, [this] { mInner.Close(); });
    }

private:
    bool Fails(eStreamOp op) { return mScript.mFailOp == op && ++mScript.mCalls == mScript.mFailAt; }
    template <typename F>
    void Forward(eStreamOp op, unsigned int failure, F forward) {
        if (Fails(op)) {
            SetState(failure);
            if (op == OP_CLOSE) {
                mInner.Close();
            }
            return;
        }
        forward();
        SetState(mInner.State());
    }

    sStreamScript& mScript;
    cISFMappedStream mInner;
    uint64_t mPosition = 0;
    uint64_t mEnd = 0;
};

class cTestStreamFactory : public cISFStreamFactory {
public:
    cISFStream* NewStream() override { return new cTestStream(mScript); }
    sStreamScript mScript;
};

}  // namespace isftest
