#include "tools/palvorin/Rotation.h"

#include <cstdio>

namespace {

const char kExtension[] = ".isf";

}  // namespace

std::string RotatedPath(const std::string& output, unsigned int index) {
    if (index == 0) {
        return output;
    }
    const size_t extension = sizeof kExtension - 1;
    std::string stem = output;
    if (stem.size() > extension && stem.compare(stem.size() - extension, extension, kExtension) == 0) {
        stem.resize(stem.size() - extension);
    }
    char number[16];
    snprintf(number, sizeof number, "-%04u", index);
    return stem + number + kExtension;
}
