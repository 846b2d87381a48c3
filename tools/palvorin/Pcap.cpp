// palvorin pcap: the signalling messages of an ISF file's over-the-air logs in a pcap file that packet
// analysers such as tshark decode without plug-ins (Export.h says how); every item is accounted for. The
// file is walked item by item; nothing is kept per item.

#include <cinttypes>
#include <cstdio>

#include "reader/ISFReader.h"
#include "tools/palvorin/Commands.h"
#include "tools/palvorin/Export.h"
#include "tools/palvorin/ItemExport.h"
#include "tools/palvorin/PcapWriter.h"
#include "tools/palvorin/Problems.h"

namespace {

// Exports each item as the reader finds it.
class cPcapItems : public cISFVisitor {
public:
    explicit cPcapItems(cItemExport& exporter) : mExporter(exporter) {}
    bool Item(const sISFItem& item) override {
        mWritten = mExporter.Item(item.mPayload.data(), item.mPayload.size(), item.mType,
                                  item.mTimeMs * FILETIME_UNITS_PER_MS) &&
                   mWritten;
        return true;
    }
    void Problem(const std::string& text) override { mProblems.Add(text); }

    sProblemList mProblems;
    bool mWritten = true;

private:
    cItemExport& mExporter;
};

}  // namespace

int RunPcap(const std::string& input, const std::string& output) {
    cISFReader reader;
    if (!reader.Open(input)) {
        fprintf(stderr, "palvorin: %s\n", reader.Error().c_str());
        return 1;
    }
    cPcapWriter writer;
    if (!writer.Open(output, EXPORT_LINK_TYPE)) {
        fprintf(stderr, "palvorin: cannot write %s: %s\n", output.c_str(), writer.Error().c_str());
        return 1;
    }
    cItemExport exporter(writer);
    cPcapItems items(exporter);
    const sISFSummary file = reader.Walk(items);
    exporter.Finish();
    const bool closed = writer.Close();
    if (file.mItems == 0 && file.mProblems != 0) {
        ReportProblems(input, items.mProblems);
        return 1;
    }
    if (!closed || !items.mWritten) {
        fprintf(stderr, "palvorin: writing %s failed\n", output.c_str());
        return 1;
    }
    printf("exported %" PRIu64 " messages from %s into %s (pcap link type %d: Wireshark exported PDUs)\n",
           exporter.mExported, input.c_str(), output.c_str(), EXPORT_LINK_TYPE);
    exporter.Summary(stdout);
    ReportProblems(input, items.mProblems);
    return 0;
}
