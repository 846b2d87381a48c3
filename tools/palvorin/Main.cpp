// palvorin: records a raw diagnostic stream into an item store file (ISF), shows, verifies and exports
// such files, and writes sample streams.

#include <cstdlib>
#include <string>

#include <CLI/CLI.hpp>

#include "tools/palvorin/Commands.h"
#include "tools/palvorin/LibraryLog.h"

int main(int argc, char** argv) {
    CLI::App app{
        "palvorin: record a diagnostic stream into an item store file (ISF), inspect, verify and "
        "export it"};
    app.require_subcommand(1);
    bool libraryLog = false;
    app.add_flag("--library-log", libraryLog, "show the library's own log lines (bad frames and so on)");

    sRecordOptions record;
    CLI::App* recordCommand =
        app.add_subcommand("record",
                           "Record a raw diagnostic stream (HDLC frames) into an ISF file; "
                           "SIGINT, SIGTERM, SIGHUP or SIGQUIT ends the recording cleanly");
    recordCommand
        ->add_option("IN", record.mInput,
                     "the stream: a file, a FIFO or character device, or - for "
                     "standard input")
        ->required();
    recordCommand->add_option("OUT", record.mOutput, "the ISF file to write (replaced if it exists)")
        ->required();
    CLI::Option* rate = recordCommand->add_option(
        "--rate", record.mRate, "stamp items at this many per second instead of the time they were read");
    rate->check(CLI::PositiveNumber);
    recordCommand
        ->add_option("--start", record.mStart,
                     "with --rate: time of the first item in seconds since 1970 UTC (default now)")
        ->needs(rate)
        ->check(CLI::NonNegativeNumber);
    recordCommand->add_flag("-q,--quiet", record.mQuiet, "no progress line");

    std::string dumpPath;
    bool json = false;
    CLI::App* dumpCommand =
        app.add_subcommand("dump",
                           "One line per item: index, UTC time, item type, payload length, auxiliary "
                           "value, log code and OTA type");
    dumpCommand->add_option("FILE", dumpPath, "the ISF file (one whose writer never closed it too)")
        ->required();
    dumpCommand->add_flag("--json", json, "a JSON array, one item object per line");

    sVerifyOptions verify;
    CLI::App* verifyCommand = app.add_subcommand(
        "verify", "Check the structure of an ISF file; exit status 0 only when it is consistent");
    verifyCommand->add_option("FILE", verify.mPath, "the ISF file")->required();
    verifyCommand->add_flag(
        "--allow-unclosed", verify.mAllowUnclosed,
        "accept a file without table and trailer when it is consistent up to its last item (zero bytes may "
        "follow it)");
    verifyCommand->add_flag("--all", verify.mAll, "list every problem, not only the first 20");

    std::string pcapIn;
    std::string pcapOut;
    CLI::App* pcapCommand =
        app.add_subcommand("pcap", "Export the over-the-air logs as GSMTAP (UDP port 4729) in a pcap file");
    pcapCommand->add_option("FILE", pcapIn, "the ISF file")->required();
    pcapCommand->add_option("OUT", pcapOut, "the pcap file to write")->required();

    sSampleOptions sample;
    CLI::App* sampleCommand = app.add_subcommand(
        "sample", "Write a synthetic raw diagnostic stream (HDLC frames), a few of them corrupted");
    sampleCommand->add_option("OUT", sample.mOutput, "the stream file, or - for standard output")->required();
    sampleCommand->add_option("--size", sample.mSizeMB, "write at least this many MB (10^6 bytes)");
    sampleCommand->add_option("--seed", sample.mSeed, "seed of the pseudo-random content");
    sampleCommand->add_flag("--plain", sample.mPlain,
                            "only 100-byte log packets outside the over-the-air set, none damaged (the item "
                            "store benchmark's packets)");

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? 0 : 2;
    }
    ShowLibraryLog(libraryLog);
    if (*recordCommand) {
        return RunRecord(record);
    }
    if (*dumpCommand) {
        return RunDump(dumpPath, json);
    }
    if (*verifyCommand) {
        return RunVerify(verify);
    }
    if (*pcapCommand) {
        return RunPcap(pcapIn, pcapOut);
    }
    return RunSample(sample);
}
