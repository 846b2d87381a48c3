// palvorin pcap: the signalling messages of an ISF file's over-the-air logs in a pcap file that packet
// analysers such as tshark decode without plug-ins (Export.h says how); every item is accounted for.

#include <cinttypes>
#include <cstdio>

#include "tools/ISFReader.h"
#include "tools/palvorin/Commands.h"
#include "tools/palvorin/Export.h"
#include "tools/palvorin/ItemExport.h"
#include "tools/palvorin/PcapWriter.h"
#include "tools/palvorin/Problems.h"

int RunPcap(const std::string& input, const std::string& output) {
    const sISFFile file = ReadISFFile(input);
    if (file.mItems.empty() && !file.Consistent()) {
        ReportProblems(input, file.mProblems);
        return 1;
    }
    cPcapWriter writer;
    if (!writer.Open(output, EXPORT_LINK_TYPE)) {
        fprintf(stderr, "palvorin: cannot write %s: %s\n", output.c_str(), writer.Error().c_str());
        return 1;
    }
    cItemExport exporter(writer);
    bool written = true;
    for (const sISFItem& item : file.mItems) {
        written = exporter.Item(item.mPayload.data(), item.mPayload.size(), item.mType,
                                item.mTimeMs * FILETIME_UNITS_PER_MS) &&
                  written;
    }
    exporter.Finish();
    if (!writer.Close() || !written) {
        fprintf(stderr, "palvorin: writing %s failed\n", output.c_str());
        return 1;
    }
    printf("exported %" PRIu64 " messages from %s into %s (pcap link type %d: Wireshark exported PDUs)\n",
           exporter.mExported, input.c_str(), output.c_str(), EXPORT_LINK_TYPE);
    exporter.Summary(stdout);
    ReportProblems(input, file.mProblems);
    return 0;
}
