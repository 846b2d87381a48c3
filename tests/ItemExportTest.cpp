// The account of the pcap export for segmented messages: a piece counts as held only when its message
// was exported; pieces dropped later (a gap, a new first piece, another channel, the size bound) and
// pieces left at the end count as incomplete, and the account adds up to the item count.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/DiagPackets.h"
#include "tests/ISFTestSupport.h"
#include "tools/palvorin/Export.h"
#include "tools/palvorin/ItemExport.h"

namespace {

const char kHeld[] = "segments (pieces of a message exported with its last piece)";
const char kIncomplete[] = "log packets: incomplete segments";

// A piece of an LTE RRC v30 message (segment number at payload byte 23) on channel `pdu`.
Bytes LTEPiece(unsigned int segment, const Bytes& message, unsigned int pdu = 7) {
    Bytes payload = Hex("1e 0a72 0f60 00 2301 19140000 3512 00 00000000 0000 0000 00");
    payload[14] = static_cast<unsigned char>(pdu);
    payload[19] = static_cast<unsigned char>(message.size());
    payload[20] = static_cast<unsigned char>(message.size() >> 8);
    payload[23] = static_cast<unsigned char>(segment);
    payload.insert(payload.end(), message.begin(), message.end());
    return LogPacket(0xB0C0, payload);
}

TEST(ItemExport, DroppedPiecesCountAsIncompleteNotAsExported) {
    const Bytes m = {0x2A, 0x10};
    const struct {
        const char* mName;
        std::vector<Bytes> mItems;
        uint64_t mExported, mHeld, mIncomplete;
    } cases[] = {
        {"whole in three", {LTEPiece(1, m), LTEPiece(2, m), LTEPiece(7, m)}, 1, 2, 0},
        {"a gap, then a whole one",
         {LTEPiece(1, m), LTEPiece(2, m), LTEPiece(4, m), LTEPiece(1, m), LTEPiece(7, m)},
         1,
         1,
         3},
        {"a new first piece", {LTEPiece(1, m), LTEPiece(2, m), LTEPiece(1, m), LTEPiece(7, m)}, 1, 1, 2},
        {"another channel", {LTEPiece(1, m, 7), LTEPiece(2, m, 7), LTEPiece(7, m, 8)}, 0, 0, 3},
        {"the size bound",
         {LTEPiece(1, Bytes(40000, 1)), LTEPiece(2, Bytes(20000, 2)), LTEPiece(3, Bytes(10000, 3)),
          LTEPiece(7, m)},
         0,
         0,
         4},
        {"left at the end", {LTEPiece(1, m), LTEPiece(7, m), LTEPiece(1, m), LTEPiece(2, m)}, 1, 1, 2},
    };
    for (const auto& c : cases) {
        isftest::cTempDir dir;
        cPcapWriter writer;
        ASSERT_TRUE(writer.Open(dir.File("out.pcap"), EXPORT_LINK_TYPE));
        cItemExport exporter(writer);
        for (const Bytes& item : c.mItems) {
            ASSERT_TRUE(exporter.Item(item.data(), item.size(), 8, isftest::kT0));
        }
        exporter.Finish();
        EXPECT_TRUE(writer.Close());
        std::map<std::string, uint64_t> skipped = exporter.Skipped();  // a missing count reads 0
        EXPECT_EQ(exporter.mExported, c.mExported) << c.mName;
        EXPECT_EQ(skipped[kHeld], c.mHeld) << c.mName;
        EXPECT_EQ(skipped[kIncomplete], c.mIncomplete) << c.mName;
        uint64_t accounted = exporter.mExported;
        for (const auto& entry : skipped) {
            accounted += entry.second;
        }
        EXPECT_EQ(accounted, c.mItems.size()) << c.mName;
    }
}

}  // namespace
