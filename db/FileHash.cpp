#include "db/FileHash.h"

#include <fcntl.h>
#include <openssl/evp.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

namespace {

const size_t kChunk = 1 << 20;

struct sFileCloser {
    int mFd;
    ~sFileCloser() { close(mFd); }
};

struct sDigestFree {
    void operator()(EVP_MD_CTX* context) const { EVP_MD_CTX_free(context); }
};

}  // namespace

bool FileSHA256(const std::string& path, std::string& hex, uint64_t& size, std::string& error) {
    const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        error = "cannot open " + path + ": " + strerror(errno);
        return false;
    }
    sFileCloser closer{fd};
    std::unique_ptr<EVP_MD_CTX, sDigestFree> context(EVP_MD_CTX_new());
    if (context == nullptr || EVP_DigestInit_ex(context.get(), EVP_sha256(), nullptr) != 1) {
        error = "cannot start a SHA-256 digest";
        return false;
    }
    std::vector<unsigned char> buffer(kChunk);
    size = 0;
    for (;;) {
        const ssize_t got = read(fd, buffer.data(), buffer.size());
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got < 0) {
            error = "cannot read " + path + ": " + strerror(errno);
            return false;
        }
        if (got == 0) {
            break;
        }
        EVP_DigestUpdate(context.get(), buffer.data(), static_cast<size_t>(got));
        size += static_cast<uint64_t>(got);
    }
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int length = 0;
    if (EVP_DigestFinal_ex(context.get(), digest, &length) != 1) {
        error = "cannot finish a SHA-256 digest";
        return false;
    }
    static const char kHex[] = "0123456789abcdef";
    hex.clear();
    for (unsigned int i = 0; i < length; ++i) {
        hex += kHex[digest[i] >> 4];
        hex += kHex[digest[i] & 15];
    }
    return true;
}
