// Prints what the ISF reader finds in a file, one line per fact, for checks run from other languages
// (the Java interface tests); the files are small, so it holds every item:
//   file closed=<0|1> items=<n> trailer=<count> problems=<k>
//   problem <text>                                    (k lines)
//   item <type> <milliseconds since 1601> <aux or -> <payload in hex>   (n lines)
// Exit status 0 when the file was read, 2 for bad arguments.
#include <cstdio>

#include "reader/ISFReadAll.h"

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s FILE.isf\n", argv[0]);
        return 2;
    }
    const sISFFile file = ReadISFFile(argv[1]);
    std::printf("file closed=%d items=%zu trailer=%u problems=%zu\n", file.mClosed ? 1 : 0,
                file.mItems.size(), file.mTrailerCount, file.mProblems.size());
    for (const std::string& problem : file.mProblems) {
        std::printf("problem %s\n", problem.c_str());
    }
    for (const sISFItem& item : file.mItems) {
        std::printf("item %u %llu ", item.mType, static_cast<unsigned long long>(item.mTimeMs));
        if (item.mHasAux) {
            std::printf("%u ", item.mAux);
        } else {
            std::printf("- ");
        }
        for (unsigned char byte : item.mPayload) {
            std::printf("%02x", byte);
        }
        std::printf("\n");
    }
    return 0;
}
