#include "tools/palvorin/PcapWriter.h"

#include <pcap/pcap.h>

#include <cstdio>

namespace {

const int kSnapLength = 262144;  // larger than any diagnostic packet

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
    mDumper = pcap_dump_open(mDead, path.c_str());
    if (mDumper == nullptr) {
        mError = pcap_geterr(mDead);
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
