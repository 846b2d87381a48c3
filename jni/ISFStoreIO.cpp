// The store's positioned access to its stream: every failure is kept in the stream's sticky state flags
// and reported as status 9, a missing stream as 160 (9 for GetFileLength).
#include "jni/ISFStore.h"

namespace {

bool IsOpen(const cISFStream* stream) {
    return stream != nullptr && stream->IsOpen();
}

}  // namespace

unsigned int cISFStore::SetFilePointer(uint64_t position) {
    if (!IsOpen(mFile)) {
        return ISF_STATUS_BAD_ARGUMENTS;
    }
    if (mFile->Good()) {
        mFile->Flush();
    }
    if (!mFile->Fail()) {
        mFile->Seek(position);
    }
    return mFile->Good() ? ISF_STATUS_OK : ISF_STATUS_IO;
}

unsigned int cISFStore::GetFileLength(uint64_t& length) {
    if (!IsOpen(mFile)) {
        return ISF_STATUS_IO;
    }
    if (mFile->Good()) {
        mFile->Flush();
    }
    if (!mFile->Fail()) {
        mFile->SeekEnd();
    }
    length = mFile->Fail() ? ~0ULL : mFile->Tell();
    return ISF_STATUS_OK;
}

unsigned int cISFStore::WriteFile(uint64_t position, const unsigned char* data, unsigned int length) {
    if (mFile == nullptr || length == 0 || data == nullptr || !mFile->IsOpen()) {
        return ISF_STATUS_BAD_ARGUMENTS;
    }
    const unsigned int status = SetFilePointer(position);
    if (status != ISF_STATUS_OK) {
        return status;
    }
    // A chunk size of 0 would never finish: the whole write is then one chunk.
    const unsigned int chunk = mWriteChunkSize != 0 ? mWriteChunkSize : length;
    const unsigned int chunks = length / chunk;
    uint64_t end;
    for (unsigned int i = 0; i < chunks; ++i) {
        mFile->Write(data, chunk);
        data += chunk;
        if (!mFile->Good()) {
            GetFileLength(end);
            return ISF_STATUS_IO;
        }
    }
    mFile->Write(data, length - chunks * chunk);  // the remainder, possibly empty
    const unsigned int result = mFile->Good() ? ISF_STATUS_OK : ISF_STATUS_IO;
    GetFileLength(end);  // back to the end of the file
    return result;
}

void cISFStore::CloseStream() {
    mFile->Flush();
    mFile->Close();  // a failure only sets the fail flag of a stream about to go
    delete mFile;
    mFile = nullptr;
    mFileIdentity = sFileIdentity();
}
