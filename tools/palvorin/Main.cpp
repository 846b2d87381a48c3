// palvorin: records a raw diagnostic stream into an item store file (ISF), shows, verifies and exports
// such files, and writes sample streams.

#include <cstdlib>
#include <string>
#include <utility>
#include <vector>

#include <CLI/CLI.hpp>

#include "tools/palvorin/Amounts.h"
#include "tools/palvorin/Commands.h"
#include "Shared/HostLogSink.h"
#include "tools/palvorin/LogGroups.h"

int main(int argc, char** argv) {
    CLI::App app{
        "palvorin: record a diagnostic stream or capture it live from a device's diagnostic port (serial, "
        "character device, TCP, USB) into an item store file (ISF), inspect, verify and export it, and show "
        "its measurements, serving cells and events"};
    app.require_subcommand(1);
    bool libraryLog = false;
    app.add_flag("--library-log", libraryLog, "show the library's own log lines (bad frames and so on)");

    const char* sourceHelp =
        "a terminal such as /dev/ttyUSB0, another character device, a FIFO, a socket file, - (standard "
        "input), tcp:HOST:PORT, or usb (the first USB device with a diagnostic interface), usb:VID:PID, "
        "usb:VID:PID:INTERFACE, usb:BUS.ADDRESS";
    const char* rotateSizeHelp =
        "close the file once it holds SIZE bytes (512M, 2G; K, M, G are powers of 1024) and go on in "
        "OUT-0001.isf, OUT-0002.isf, ... (OUT without its .isf)";
    const char* rotateTimeHelp =
        "close the file after DURATION (30m, 1h; s, m, h, d) and go on in the next one";
    const char* gsmtapHelp =
        "also send each exportable message as GSMTAP in UDP to HOST[:PORT] (port 4729 by default), e.g. "
        "127.0.0.1 for a packet analyser listening on the loopback interface";

    sRecordOptions record;
    CLI::App* recordCommand = app.add_subcommand(
        "record",
        "Record a raw diagnostic stream (HDLC frames) into an ISF file, sending nothing to its "
        "source; SIGINT, SIGTERM, SIGHUP or SIGQUIT ends the recording cleanly");
    recordCommand
        ->add_option("IN", record.mInput,
                     std::string("the stream: a file, or - for standard input, or any SOURCE of capture: ") +
                         sourceHelp)
        ->required();
    recordCommand->add_option("OUT", record.mOutput, "the ISF file to write (replaced if it exists)")
        ->required();
    std::string clock = "packet";
    CLI::Option* clockOption = recordCommand->add_option(
        "--clock", clock,
        "packet (default): stamp each item with its log packet's own diagnostic timestamp (converted to "
        "UTC, no leap seconds); items without one (responses...) take the time of the item before them. "
        "host: stamp each item with the time it was read");
    clockOption->check(CLI::IsMember({"packet", "host"}));
    CLI::Option* rate = recordCommand->add_option(
        "--rate", record.mRate, "stamp items at this many per second instead (not with --clock)");
    rate->excludes(clockOption);
    rate->check(CLI::PositiveNumber);
    recordCommand
        ->add_option("--start", record.mStart,
                     "with --rate: time of the first item in seconds since 1970 UTC (default now)")
        ->needs(rate)
        ->check(CLI::NonNegativeNumber);
    recordCommand->add_flag("-q,--quiet", record.mQuiet, "no progress line");
    recordCommand->add_option("--gsmtap", record.mGSMTAP, gsmtapHelp);
    recordCommand->add_option("--rotate-size", record.mRotateSize, rotateSizeHelp);
    recordCommand->add_option("--rotate-time", record.mRotateTime, rotateTimeHelp);

    sCaptureOptions capture;
    CLI::App* captureCommand = app.add_subcommand(
        "capture",
        "Live capture from a modem's diagnostic port into an ISF file: switches logging on, records every "
        "frame; Ctrl-C, SIGTERM, SIGHUP or SIGQUIT turns logging off and closes the file");
    captureCommand->add_option("SOURCE", capture.mSource, std::string("the diagnostic port: ") + sourceHelp)
        ->required();
    captureCommand->add_option("OUT", capture.mOutput, "the ISF file to write (replaced if it exists)")
        ->required();
    captureCommand->add_option("--baud", capture.mBaud,
                               "a terminal's line speed in bits per second (default 115200)");
    captureCommand->add_option(
        "--logs", capture.mLogs,
        "log codes to switch on: a comma-separated list of groups (" + LogGroupNames() +
            ") and codes such as 0xB0C0. default: the signalling logs the tool decodes (signalling), the "
            "serving-cell and measurement logs (measurement: " +
            MeasurementCodeNames() +
            ") and event reports (events: command 0x60; the LTE RRC state is event 1606). all: every log "
            "the device has, far more than a 115,200-baud line carries");
    captureCommand->add_flag("--debug-text", capture.mDebugText,
                             "keep the device's debug-text messages (silenced by default)");
    captureCommand
        ->add_option("--timeout", capture.mTimeout,
                     "seconds to wait for each answer, 3 tries (default 2; 0.001 to 3600)")
        ->check(CLI::Range(0.001, kMaxAnswerTimeout));
    captureCommand->add_flag("-q,--quiet", capture.mQuiet, "no progress line");
    captureCommand->add_option("--gsmtap", capture.mGSMTAP, gsmtapHelp);
    CLI::Option* reconnect = captureCommand->add_flag(
        "--reconnect", capture.mReconnect,
        "when the device goes away, keep the file open, try it again every second, configure it again once "
        "it is back and go on; the summary counts the gaps");
    captureCommand
        ->add_option("--reconnect-timeout", capture.mReconnectTimeout,
                     "with --reconnect: give up after DURATION away (90s, 10m; default: never)")
        ->needs(reconnect);
    captureCommand->add_option("--rotate-size", capture.mRotateSize, rotateSizeHelp);
    captureCommand->add_option("--rotate-time", capture.mRotateTime, rotateTimeHelp);

    CLI::App* devicesCommand = app.add_subcommand(
        "devices",
        "List the candidate diagnostic ports: serial ports and character devices by their names, USB "
        "interfaces by the diagnostic rule, with vendor, product and interface");

    std::string dumpPath;
    bool json = false;
    CLI::App* dumpCommand = app.add_subcommand(
        "dump",
        "One line per item: index, UTC time, item type, payload length, auxiliary "
        "value, and for log packets the subscription of a multi-SIM wrapper, the log code, "
        "the OTA type and the kind of signalling message or of measurement, cell or state log");
    dumpCommand->add_option("FILE", dumpPath, "the ISF file (one whose writer never closed it too)")
        ->required();
    dumpCommand->add_flag(
        "--json", json,
        "a JSON array, one item object per line; its time is \"time_utc\" (ISO 8601, UTC) and "
        "\"unix_time\" (seconds since 1970-01-01 UTC, with milliseconds)");

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
        app.add_subcommand("pcap",
                           "Export the signalling messages of the over-the-air logs into a pcap file that "
                           "tshark/Wireshark decode without plug-ins (link type 252, exported PDUs: GSMTAP "
                           "where GSMTAP version 2 carries the message, else the message's own dissector); "
                           "a summary accounts for every item");
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

    // The capture tables: one command each, the same options.
    const struct {
        eTable mTable;
        const char* mHelp;
    } kTableCommands[] = {
        {TABLE_MEASUREMENTS,
         "One row per measured cell per measurement log: time, subscription, technology, log code, "
         "serving (1) or neighbour (0), channel, cell, RSRP, RSRQ, RSSI, SINR (LTE, NR), RSCP and Ec/Io "
         "(WCDMA), RxLev (GSM) in dBm and dB; a summary of the logs read on standard error"},
        {TABLE_CELLS,
         "The serving-cell periods of each subscription: from, to, technology, channel, cell, cell identity, "
         "TAC, PLMN, band, bandwidth, how the period began (first, handover, reselection, redirection, "
         "reestablishment, unknown), median RSRP and RSRQ of its serving measurements and their number"},
        {TABLE_EVENTS,
         "Handovers and their failures, re-establishments, RRC connection setup, release and state, attach, "
         "tracking-area update, service request and detach with their outcome and cause"},
        {TABLE_MESSAGES,
         "One row per signalling message: time, subscription, technology, channel, direction, channel "
         "number, cell, log code and the message as hex"},
    };
    std::vector<std::pair<CLI::App*, eTable>> tableCommands;
    sTableOptions table;
    bool csv = false;
    bool tableJson = false;
    for (const auto& command : kTableCommands) {
        CLI::App* sub = app.add_subcommand(TableDef(command.mTable).mName, command.mHelp);
        sub->add_option("FILE", table.mPath,
                        "the ISF file (one whose writer never closed it too), or a raw diagnostic stream, "
                        "read through a temporary recording made as record makes one")
            ->required();
        CLI::Option* csvOption = sub->add_flag("--csv", csv, "CSV with a header line, for programs");
        sub->add_flag("--json", tableJson, "a JSON array of objects, one per row and line, for programs")
            ->excludes(csvOption);
        tableCommands.emplace_back(sub, command.mTable);
    }

    CLI::App* reportCommand = app.add_subcommand(
        "report",
        "Write one self-contained HTML page of ISF files or raw streams: serving-cell timeline, signal, RRC "
        "state, events, cells and message counts (hands over to python3 -m palvorin report; "
        "palvorin report --help shows its options)");
    // Everything after `report`, --help included, goes to the package as it is.
    reportCommand->prefix_command();
    reportCommand->set_help_flag();

    sDBAddOptions dbAdd;
    CLI::App* dbCommand = app.add_subcommand(
        "db", "The SQL database of a campaign: a SQLite file or a PostgreSQL server (README: the schema)");
    dbCommand->require_subcommand(1);
    CLI::App* dbAddCommand = dbCommand->add_subcommand(
        "add",
        "Add ISF files to a campaign database, each in one transaction: its messages, measurements, cells "
        "and "
        "events with a row in `files`. A file already there (the same SHA-256) is skipped; a file that "
        "cannot "
        "be read whole is reported and nothing of it is stored; the others go on. Exit status 1 if any "
        "failed");
    dbAddCommand
        ->add_option("DB", dbAdd.mDatabase,
                     "a SQLite file (created when missing) or a PostgreSQL URL such as "
                     "postgresql://user@host/campaign or postgresql:///campaign?host=/run/postgresql")
        ->required();
    dbAddCommand->add_option("FILE", dbAdd.mFiles, "the ISF files to add")->required();

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? 0 : 2;
    }
    ShowLibraryLog(libraryLog);
    record.mHostClock = clock == "host";
    if (*recordCommand) {
        return RunRecord(record);
    }
    if (*captureCommand) {
        return RunCapture(capture);
    }
    if (*devicesCommand) {
        return RunDevices();
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
    if (*reportCommand) {
        return RunReport(reportCommand->remaining());
    }
    if (*dbAddCommand) {
        return RunDBAdd(dbAdd);
    }
    for (const auto& command : tableCommands) {
        if (*command.first) {
            table.mTable = command.second;
            table.mFormat = csv ? TABLE_FORMAT_CSV : tableJson ? TABLE_FORMAT_JSON : TABLE_FORMAT_TEXT;
            return RunTable(table);
        }
    }
    return RunSample(sample);
}
