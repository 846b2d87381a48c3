// A pcap file written with libpcap: records of one link type, stamped with item times.
#pragma once

#include <cstddef>
#include <string>

#include "jni/ISFFormat.h"

class cPcapWriter {
public:
    cPcapWriter() = default;
    ~cPcapWriter();

    // Creates (replaces) `path` for records of `linkType`. False with a reason in Error() on failure.
    bool Open(const std::string& path, int linkType);
    // One record of `size` bytes (copied) at `time`, to the microsecond. False once writing failed.
    bool Write(FILETIME time, const unsigned char* data, size_t size);
    // Flushes and closes the file: false when any write failed.
    bool Close();
    const std::string& Error() const { return mError; }

    cPcapWriter(const cPcapWriter&) = delete;
    cPcapWriter& operator=(const cPcapWriter&) = delete;

private:
    struct pcap* mDead = nullptr;           // owned
    struct pcap_dumper* mDumper = nullptr;  // owned
    std::string mError;
};
