#include "tools/palvorin/PcapWriter.h"

#include <pcap/pcap.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace {

const int kSnapLength = 262144;      // larger than any diagnostic packet
const size_t kBufferSize = 1 << 20;  // records are small: write them out in large pieces

}  // namespace

cPcapWriter::~cPcapWriter() {
    Close();
}

bool cPcapWriter::Open(const std::string& path, int linkType) {
    Close();
    mError.clear();
    mDead = pcap_open_dead(linkType, kSnapLength);
    if (mDead == nullptr) {
        mError = "cannot set up the pcap writer";
        return false;
    }
    // The file is opened here so that its buffer can be set before libpcap writes the file header.
    FILE* file = fopen(path.c_str(), "wb");
    if (file != nullptr) {
        setvbuf(file, nullptr, _IOFBF, kBufferSize);
        mDumper = pcap_dump_fopen(mDead, file);
    }
    if (mDumper == nullptr) {
        mError = file == nullptr ? path + ": " + strerror(errno) : std::string(pcap_geterr(mDead));
        if (file != nullptr) {
            fclose(file);
        }
        pcap_close(mDead);
        mDead = nullptr;
        return false;
    }
    return true;
}

bool cPcapWriter::Write(FILETIME time, const unsigned char* data, size_t size) {
    if (mDumper == nullptr) {
        return false;
    }
    const FILETIME sinceUnix = time > FILETIME_UNIX_EPOCH ? time - FILETIME_UNIX_EPOCH : 0;
    pcap_pkthdr header;
    header.ts.tv_sec = static_cast<time_t>(sinceUnix / 10000000ULL);
    header.ts.tv_usec = static_cast<suseconds_t>(sinceUnix % 10000000ULL / 10);
    header.caplen = header.len = static_cast<bpf_u_int32>(size);
    pcap_dump(reinterpret_cast<u_char*>(mDumper), &header, data);
    return !ferror(pcap_dump_file(mDumper));
}

bool cPcapWriter::Close() {
    bool written = true;
    if (mDumper != nullptr) {
        written = pcap_dump_flush(mDumper) == 0 && !ferror(pcap_dump_file(mDumper));
        pcap_dump_close(mDumper);
        mDumper = nullptr;
    }
    if (mDead != nullptr) {
        pcap_close(mDead);
        mDead = nullptr;
    }
    return written;
}
