// The commands of the palvorin tool. Each returns the process exit code: 0 success, 1 failure (a message
// on standard error says why).
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tables/TableColumns.h"
#include "tables/TableWriter.h"

struct sRecordOptions {
    std::string mInput;   // a SOURCE (SourceAddress.h): a file, a FIFO, a device, "-" for standard input, ...
    std::string mOutput;  // the ISF file to write
    double mRate = 0;     // items per second for spread timestamps; 0: the clock below
    int64_t mStart = -1;  // with mRate: time of the first item, seconds since 1970 UTC; -1: now
    bool mHostClock = false;  // stamp with the reading time, not the packets' own timestamps
    bool mQuiet = false;      // no progress line
    std::string mGSMTAP;      // HOST[:PORT] to send live GSMTAP to; empty: none
    std::string mRotateSize;  // close the file at this size ("512M"); empty: never
    std::string mRotateTime;  // close the file after this time ("30m"); empty: never
};
int RunRecord(const sRecordOptions& options);

struct sCaptureOptions {
    std::string mSource;            // a SOURCE (SourceAddress.h): /dev/ttyUSB0, tcp:HOST:PORT, usb, ...
    std::string mOutput;            // the ISF file to write
    unsigned int mBaud = 115200;    // a terminal's line speed
    std::string mLogs = "default";  // comma-separated groups and codes (LogGroups.h)
    bool mDebugText = false;        // leave debug-text messages as the device has them
    double mTimeout = 2;            // seconds to wait for each answer, per try
    bool mQuiet = false;            // no progress line
    std::string mGSMTAP;            // HOST[:PORT] to send live GSMTAP to; empty: none
    bool mReconnect = false;        // wait for a device that went away, in the same file
    std::string mReconnectTimeout;  // how long ("10m"); empty: for ever
    std::string mRotateSize;        // as for record
    std::string mRotateTime;
};
int RunCapture(const sCaptureOptions& options);

// Lists the candidate diagnostic ports: serial and character devices by name, USB interfaces by the rule.
int RunDevices();

int RunDump(const std::string& path, bool json);

struct sVerifyOptions {
    std::string mPath;
    bool mAllowUnclosed = false;  // a file its writer never closed passes if it is consistent so far
    bool mAll = false;            // list every problem, not only the first ones
};
int RunVerify(const sVerifyOptions& options);

int RunPcap(const std::string& input, const std::string& output);

struct sSampleOptions {
    std::string mOutput;   // "-" for standard output
    uint64_t mSizeMB = 0;  // at least this many MB (10^6 bytes); 0: one small stream
    uint32_t mSeed = 1;
    bool mPlain = false;  // only 100-byte ordinary log packets, none damaged (the store benchmark's packets)
};
int RunSample(const sSampleOptions& options);

// Hands over to the Python package: `python3 -m palvorin report ARGUMENTS...`; returns only on failure.
int RunReport(const std::vector<std::string>& arguments);

struct sTableOptions {
    std::string mPath;
    eTable mTable = TABLE_MEASUREMENTS;
    eTableFormat mFormat = TABLE_FORMAT_TEXT;
};
int RunTable(const sTableOptions& options);

struct sDBAddOptions {
    std::string mDatabase;            // a SQLite path or a postgresql:// URL
    std::vector<std::string> mFiles;  // ISF files
};
int RunDBAdd(const sDBAddOptions& options);
