// What the fuzz targets share: stopping the run when a property fails (libFuzzer reports the abort with the
// input), and copies of input bytes into arrays of exactly their size, so that a read past them is caught.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>

inline void FailIf(bool broken) {
    if (broken) {
        abort();
    }
}

inline void Require(bool holds) {
    FailIf(!holds);
}

// `size` bytes of `data` in a new array of exactly `size` bytes (one when empty); the caller owns it.
inline std::unique_ptr<unsigned char[]> ExactCopy(const void* data, size_t size) {
    std::unique_ptr<unsigned char[]> copy(new unsigned char[size == 0 ? 1 : size]);
    if (size != 0) {
        memcpy(copy.get(), data, size);
    }
    return copy;
}
