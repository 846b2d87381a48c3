// Helpers of the item store tests: a temporary directory, packets built from readable fields, and a stream
// that counts every call and fails on the Nth call of a chosen operation.
#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "jni/ISFFileStream.h"
#include "jni/ISFStore.h"
#include "tools/ISFReader.h"

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
        std::string pattern = std::string(base != nullptr ? base : "/tmp") + "/palvorin-isf-XXXXXX";
        std::vector<char> name(pattern.begin(), pattern.end());
        name.push_back('\0');
        mPath = mkdtemp(name.data()) != nullptr ? name.data() : "";
    }
    ~cTempDir() {
        if (!mPath.empty()) {
            const std::string command = "rm -rf '" + mPath + "'";
            (void)!system(command.c_str());
        }
    }
    std::string File(const std::string& name) const { return mPath + "/" + name; }

private:
    std::string mPath;
};

// A log packet: 10 00, both lengths, the log code, an 8-byte device timestamp of 0, then `payloadSize`
// bytes counting up from 1.
inline Bytes LogPacket(uint16_t logCode, size_t payloadSize) {
    const size_t length = payloadSize + 12;
    Bytes packet = {0x10,
                    0x00,
                    static_cast<unsigned char>(length),
                    static_cast<unsigned char>(length >> 8),
                    static_cast<unsigned char>(length),
                    static_cast<unsigned char>(length >> 8),
                    static_cast<unsigned char>(logCode),
                    static_cast<unsigned char>(logCode >> 8)};
    packet.resize(16, 0);
    for (size_t i = 0; i < payloadSize; ++i) {
        packet.push_back(static_cast<unsigned char>(i + 1));
    }
    return packet;
}

inline unsigned int Write(cISFStore& store, unsigned int protocol, const Bytes& packet, FILETIME time) {
    return store.WriteItem(protocol, static_cast<unsigned int>(packet.size()), packet.data(), time);
}

enum eStreamOp { OP_OPEN, OP_WRITE, OP_FLUSH, OP_SEEK, OP_SEEK_END, OP_TELL, OP_CLOSE, OP_COUNT };

// Shared by every stream of one factory: call counters, the lengths of the writes, and the fault to inject.
struct sStreamScript {
    unsigned int mCalls[OP_COUNT] = {};
    std::vector<size_t> mWriteLengths;
    int mFailOp = -1;          // operation that fails, -1 for none
    unsigned int mFailAt = 0;  // on its Nth call (counted from 1, across all streams of the factory)

    void Reset() { *this = sStreamScript(); }
};

// Forwards every operation to a real file stream, counting calls; the scripted call fails instead. A failed
// write at the end of the file keeps half of its bytes, as a disk that fills up mid-write does; a failed
// write inside the file changes nothing.
class cTestStream : public cISFStream {
public:
    explicit cTestStream(sStreamScript& script) : mScript(script) {}

    bool Open(const char* path) override { return !Fails(OP_OPEN) && mInner.Open(path); }
    bool IsOpen() const override { return mInner.IsOpen(); }
    void Write(const unsigned char* data, size_t length) override {
        mScript.mWriteLengths.push_back(length);
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
        Forward(OP_SEEK, STATE_FAIL, [&] {
            mInner.Seek(position);
            mPosition = position;
        });
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
    bool Fails(eStreamOp op) {
        ++mScript.mCalls[op];
        return mScript.mFailOp == op && mScript.mCalls[op] == mScript.mFailAt;
    }
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
    cISFFileStream mInner;
    uint64_t mPosition = 0;
    uint64_t mEnd = 0;
};

class cTestStreamFactory : public cISFStreamFactory {
public:
    cISFStream* NewStream() override { return new cTestStream(mScript); }
    sStreamScript mScript;
};

// The payloads of a file's items, in index order.
inline std::vector<Bytes> Payloads(const sISFFile& file) {
    std::vector<Bytes> payloads;
    for (const sISFItem& item : file.mItems) {
        payloads.push_back(item.mPayload);
    }
    return payloads;
}

inline std::string Problems(const sISFFile& file) {
    std::string text;
    for (const std::string& problem : file.mProblems) {
        text += problem + "\n";
    }
    return text;
}

}  // namespace isftest
