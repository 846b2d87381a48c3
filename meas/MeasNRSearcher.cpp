// NR searcher measurement database update (0xB97F): per layer (carrier) its serving cell and the cells
// measured on it, each followed by its beams. The version is u16 minor, u16 major at B+0 (read as one u32,
// 2.7 = 0x00020007). Layouts, offsets from the body start (B+) and the layer record (L+):
//
//   version  layers  first layer  layer record  cell count       beam record
//   2.6      B+4     B+8          32 bytes      L+4              44 bytes
//   2.7      B+4     B+16         32 bytes      L+4              44 bytes
//   2.9      B+8     B+20         32 bytes      L+4 or L+5 (*)   44 bytes
//   2.10     B+8     B+20         32 bytes      L+4 or L+5 (*)   84 bytes
//   3.0      B+8     B+20         40 bytes      L+5              84 bytes
//
// Every layer record: u32 NR-ARFCN at L+0, u16 serving PCI at L+6 (0xFFFF: none). The layer's cells follow
// it, 16 bytes each: u16 PCI C+0, u8 number of beams C+4, i32 cell-quality RSRP C+8 and RSRQ C+12; each
// cell is followed by its beam records, which give per-beam levels but no further cell.
//
// (*) 2.9 and 2.10 were published with the two bytes L+4, L+5 in both orders: four packets that look
// captured (2.9 `FF 02` and `00 01`, 2.10 `00 01` and `00 05`, each followed by that many cells) have the
// serving index first and the count second; the two with the 2.7 order are byte copies of 2.7 packets with
// the added header word, so probably constructed. Both are read: L+4 of 0 or 0xFF (serving index 0 or
// none) with L+5 in 1..254 is the swapped order, anything else the 2.7 order.
#include "meas/MeasFamilies.h"

namespace {

enum eCountAt : uint8_t {
    COUNT_FIRST,   // L+4 count, L+5 serving index
    COUNT_SECOND,  // L+4 component carrier, L+5 count
    COUNT_EITHER,  // (*) above
};

struct sSearcherLayout {
    uint32_t mVersion;
    uint8_t mLayerCountAt;
    uint8_t mFirstLayerAt;
    uint8_t mLayerSize;
    eCountAt mCellCountAt;
    uint8_t mBeamSize;
};

const sSearcherLayout kLayouts[] = {
    {0x00020006, 4, 8, 32, COUNT_FIRST, 44},   {0x00020007, 4, 16, 32, COUNT_FIRST, 44},
    {0x00020009, 8, 20, 32, COUNT_EITHER, 44}, {0x0002000A, 8, 20, 32, COUNT_EITHER, 84},
    {0x00030000, 8, 20, 40, COUNT_SECOND, 84},
};

const size_t kVersionSize = 4;
const size_t kLayerChannelAt = 0;
const size_t kLayerCountAt = 4;  // L+4, and the byte after it
const size_t kLayerServingPCIAt = 6;
const uint64_t kNoServingPCI = 0xFFFF;
const size_t kCellPCIAt = 0;
const size_t kCellBeamCountAt = 4;
const size_t kCellRSRPAt = 8;
const size_t kCellRSRQAt = 12;
const size_t kCellSize = 16;

uint64_t CellCount(cPayloadFields& fields, size_t layer, eCountAt at) {
    const uint64_t first = fields.Unsigned(layer + kLayerCountAt, 1);
    const uint64_t second = fields.Unsigned(layer + kLayerCountAt + 1, 1);
    if (at == COUNT_EITHER) {
        return (first == 0 || first == 0xFF) && second >= 1 && second <= 254 ? second : first;
    }
    return at == COUNT_FIRST ? first : second;
}

}  // namespace

eMeasStatus ExtractNRSearcher(const sMeasPayload& payload, sMeasLog& out) {
    cPayloadFields fields(payload);
    out.mLogVersion = static_cast<uint32_t>(fields.Unsigned(0, kVersionSize));
    if (!fields.Inside()) {
        return MEAS_BAD_LENGTH;
    }
    const sSearcherLayout* layout = FindLayout(kLayouts, out.mLogVersion);
    if (layout == nullptr) {
        return MEAS_UNSUPPORTED_VERSION;
    }
    const uint64_t layers = fields.Unsigned(layout->mLayerCountAt, 1);
    size_t at = layout->mFirstLayerAt;
    for (uint64_t l = 0; l < layers; ++l) {
        const size_t layer = at;
        const uint64_t channel = fields.Unsigned(layer + kLayerChannelAt, 4);
        const uint64_t servingPCI = fields.Unsigned(layer + kLayerServingPCIAt, 2);
        const uint64_t cells = CellCount(fields, layer, layout->mCellCountAt);
        if (!fields.Inside() || !Fits(payload, layer, layout->mLayerSize)) {
            return MEAS_BAD_LENGTH;
        }
        at = layer + layout->mLayerSize;
        for (uint64_t c = 0; c < cells; ++c) {
            const size_t cell = at;
            const uint64_t pci = fields.Unsigned(cell + kCellPCIAt, 2);
            const uint64_t beams = fields.Unsigned(cell + kCellBeamCountAt, 1);
            const int64_t rsrp = fields.Signed(cell + kCellRSRPAt, 4);
            const int64_t rsrq = fields.Signed(cell + kCellRSRQAt, 4);
            at = cell + kCellSize + beams * layout->mBeamSize;
            if (!fields.Inside() || at > payload.mSize) {
                return MEAS_BAD_LENGTH;
            }
            sMeasuredCell* measured = AddCell(out, RADIO_NR);
            if (measured == nullptr) {
                continue;
            }
            measured->mServing = servingPCI != kNoServingPCI && pci == servingPCI;
            measured->mHasChannel = true;
            measured->mChannel = static_cast<uint32_t>(channel);
            measured->mHasCell = SetCellInRange(pci, kNRMaxPCI, measured->mCell, out);
            SetNRLevel(rsrp, kNRRSRP, measured->mRSRP, out);
            SetNRLevel(rsrq, kNRRSRQ, measured->mRSRQ, out);
        }
    }
    out.mKind = MEAS_KIND_MEASUREMENT;
    out.mTechnology = RADIO_NR;
    return MEAS_OK;
}
