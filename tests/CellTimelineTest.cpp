// The cell timeline: real signalling sequences of captures A and D (Apache-2.0) with what tshark decodes from
// the same messages, and hand-built sequences for what no capture holds (redirection, rejects with causes,
// ciphered NAS, failures without re-establishment, state logs, measurements).
#include "timeline/CellTimeline.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "meas/MeasExtractor.h"
#include "ota/OTAExtractor.h"
#include "stream/ItemClock.h"
#include "tables/CaptureTables.h"
#include "tests/DiagPackets.h"
#include "tests/StreamPackets.h"
#include "timeline/TimelineEvents.h"

namespace {

struct sEventCopy {
    int64_t mTimeMs;
    uint32_t mSubscription;
    eRadioTechnology mTechnology;
    std::string mEvent;
    std::string mDetail;
};

class cRecorder : public cTimelineSink {
public:
    bool Period(const sCellPeriod& period) override {
        mPeriods.push_back(period);
        return ++mCalls != mStopAfter;
    }
    bool Event(const sTimelineEvent& event) override {
        mEvents.push_back(
            {event.mTimeMs, event.mSubscription, event.mTechnology, event.mEvent, event.mDetail});
        return ++mCalls != mStopAfter;
    }
    // The details of the events named `name` of a subscription (all subscriptions: ~0u), in order; without
    // a name, "event detail" of every event.
    std::vector<std::string> Details(const std::string& name, uint32_t subscription = ~0u) const {
        std::vector<std::string> out;
        for (const sEventCopy& event : mEvents) {
            if ((name.empty() || event.mEvent == name) &&
                (subscription == ~0u || event.mSubscription == subscription)) {
                out.push_back(!name.empty()           ? event.mDetail
                              : event.mDetail.empty() ? event.mEvent
                                                      : event.mEvent + " " + event.mDetail);
            }
        }
        return out;
    }
    std::vector<std::string> Events() const { return Details(""); }
    std::vector<const sCellPeriod*> Periods(uint32_t subscription) const {
        std::vector<const sCellPeriod*> out;
        for (const sCellPeriod& period : mPeriods) {
            if (period.mSubscription == subscription) {
                out.push_back(&period);
            }
        }
        return out;
    }

    std::vector<sCellPeriod> mPeriods;
    std::vector<sEventCopy> mEvents;
    size_t mCalls = 0;
    size_t mStopAfter = 0;
};

// Feeds real packets as the capture tables do, each at its own diagnostic time.
void Feed(const std::vector<Bytes>& packets, cRecorder& sink) {
    cCellTimeline timeline;
    cOTAExtractor ota;
    cMeasExtractor meas;
    std::unique_ptr<sMeasLog> log(new sMeasLog);
    cItemClock clock(ITEM_CLOCK_PACKET);
    for (const Bytes& packet : packets) {
        const int64_t timeMs =
            UnixMsFromISF(clock.Stamp(packet.data(), packet.size()) / FILETIME_UNITS_PER_MS);
        sOTAMessage message;
        if (ota.Extract(packet.data(), packet.size(), message) == OTA_EXTRACT_MESSAGE) {
            ASSERT_TRUE(timeline.Message(timeMs, message, sink));
        }
        if (meas.Extract(packet.data(), packet.size(), *log) == MEAS_OK) {
            ASSERT_TRUE(timeline.Measurement(timeMs, *log, sink));
        }
    }
    timeline.Finish(sink);
}

// The packets of one "# source:" section of a hex file of tests/data whose source line contains `source`.
std::vector<Bytes> Section(const std::string& name, const std::string& source) {
    std::ifstream in(std::string(PALVORIN_TEST_DATA) + "/" + name);
    std::vector<Bytes> packets;
    bool inside = false;
    for (std::string line; std::getline(in, line);) {
        if (line.rfind("# source:", 0) == 0) {
            inside = line.find(source) != std::string::npos;
        } else if (inside && !line.empty() && line[0] != '#') {
            packets.push_back(Hex(line));
        }
    }
    return packets;
}

std::string CellOf(const sCellPeriod& period) {
    return "pci " + std::to_string(period.mCell.mCell) + " earfcn " + std::to_string(period.mCell.mDLChannel);
}

std::vector<eCellEntry> Entries(const cRecorder& sink, uint32_t subscription = 0) {
    std::vector<eCellEntry> entries;
    for (const sCellPeriod* period : sink.Periods(subscription)) {
        entries.push_back(period->mEnteredBy);
    }
    return entries;
}

TEST(CellTimeline, HandoversOfTheDualSIMCaptureGoWhereTheCommandsSaid) {
    cRecorder sink;
    Feed(StreamPackets("dualsim_5g_20201116_195935.bin"), sink);
    // tshark: the 21 reconfigurations with mobilityControlInfo (all of subscription 1) name these targets
    // (targetPhysCellId, dl-CarrierFreq).
    const char* const kTargets[] = {
        "pci 162 earfcn 1350", "pci 225 earfcn 38400", "pci 162 earfcn 1350", "pci 225 earfcn 38544",
        "pci 162 earfcn 1350", "pci 225 earfcn 38400", "pci 162 earfcn 1350", "pci 225 earfcn 38400",
        "pci 162 earfcn 1350", "pci 225 earfcn 38400", "pci 162 earfcn 1350", "pci 225 earfcn 38400",
        "pci 162 earfcn 1350", "pci 225 earfcn 38544", "pci 162 earfcn 1350", "pci 225 earfcn 38400",
        "pci 162 earfcn 1350", "pci 225 earfcn 38544", "pci 162 earfcn 1350", "pci 225 earfcn 38544",
        "pci 162 earfcn 1350",
    };
    const std::vector<std::string> handovers = sink.Details(kEventHandover, 1);
    const std::vector<const sCellPeriod*> periods = sink.Periods(1);
    ASSERT_EQ(handovers.size(), 21u);
    ASSERT_EQ(periods.size(), 22u);
    EXPECT_EQ(periods[0]->mEnteredBy, CELL_ENTRY_FIRST);
    EXPECT_EQ(CellOf(*periods[0]), "pci 225 earfcn 38400");
    for (size_t i = 0; i < handovers.size(); ++i) {
        // From the cell before to the cell the command named; a new period there, entered by the handover.
        EXPECT_EQ(handovers[i], CellOf(*periods[i]) + " -> " + kTargets[i]) << i;
        EXPECT_EQ(CellOf(*periods[i + 1]), kTargets[i]) << i;
        EXPECT_EQ(periods[i + 1]->mEnteredBy, CELL_ENTRY_HANDOVER) << i;
        EXPECT_GE(periods[i + 1]->mFromMs, periods[i]->mToMs) << "periods do not overlap";
    }
    // Subscription 2 is idle between short connections for tracking-area updates: it follows in idle mode,
    // and its serving-cell logs show three more reselections (twice to PCI 225 of EARFCN 36275, band 34).
    const std::vector<const sCellPeriod*> second = sink.Periods(2);
    ASSERT_EQ(second.size(), 25u);
    EXPECT_EQ(second[0]->mEnteredBy, CELL_ENTRY_FIRST);
    for (size_t i = 1; i < second.size(); ++i) {
        EXPECT_EQ(second[i]->mEnteredBy, CELL_ENTRY_RESELECTION) << i;
    }
    EXPECT_TRUE(sink.Details(kEventHandover, 2).empty());
    // tshark: 40 Tracking area update accept, 24 RRCConnectionRelease [cause=other], 24 RRCConnectionRequest
    // (mt-Access 2, mo-Signalling 22), 24 RRCConnectionSetup.
    EXPECT_EQ(sink.Details(kEventTAUAccept).size(), 40u);
    EXPECT_EQ(sink.Details(kEventTAURequest).size(), 45u);
    EXPECT_EQ(sink.Details(kEventRRCConnectionRelease), std::vector<std::string>(24, "cause other"));
    EXPECT_EQ(sink.Details(kEventRRCConnectionRequest, 1), std::vector<std::string>(2, "cause mt access"));
    EXPECT_EQ(sink.Details(kEventRRCConnectionRequest, 2),
              std::vector<std::string>(22, "cause mo signalling"));
    EXPECT_EQ(sink.Details(kEventRRCConnectionSetup).size(), 24u);
    for (const sEventCopy& event : sink.mEvents) {
        EXPECT_TRUE(event.mSubscription == 1 || event.mSubscription == 2);
        EXPECT_EQ(event.mTechnology, RADIO_LTE);
    }
}

// Every serving-cell log, serving MIB and primary serving measurement of the packets against the period of
// its subscription that covers its time: the counts of those that agree and of all (MIBs of other cells
// apart).
struct sAgreement {
    unsigned int mServingCells[2] = {0, 0};
    unsigned int mMIBs[2] = {0, 0};
    unsigned int mOtherMIBs = 0;
    unsigned int mMeasurements[2] = {0, 0};
};

sAgreement Agreement(const std::vector<Bytes>& packets, const cRecorder& sink) {
    sAgreement agreement;
    cMeasExtractor meas;
    std::unique_ptr<sMeasLog> log(new sMeasLog);
    cItemClock clock(ITEM_CLOCK_PACKET);
    for (const Bytes& packet : packets) {
        const int64_t timeMs =
            UnixMsFromISF(clock.Stamp(packet.data(), packet.size()) / FILETIME_UNITS_PER_MS);
        if (meas.Extract(packet.data(), packet.size(), *log) != MEAS_OK || log->mTechnology != RADIO_LTE) {
            continue;
        }
        const sCellPeriod* covering = nullptr;
        for (const sCellPeriod* period : sink.Periods(log->mSubscription)) {
            if (period->mTechnology == RADIO_LTE && period->mFromMs <= timeMs && timeMs <= period->mToMs) {
                covering = period;
            }
        }
        const sCellInfo& info = log->mCellInfo;
        const bool sameCell = covering != nullptr && covering->mCell.mCell == info.mCell &&
                              covering->mCell.mDLChannel == info.mDLChannel;
        if (log->mKind == MEAS_KIND_SERVING_CELL) {
            ++agreement.mServingCells[1];
            agreement.mServingCells[0] += sameCell && covering->mCell.mIdentity == info.mIdentity &&
                                          covering->mCell.mArea == info.mArea &&
                                          covering->mCell.mBand == info.mBand &&
                                          covering->mCell.mDLBandwidthMHz == info.mDLBandwidthMHz;
        } else if (log->mKind == MEAS_KIND_MIB && sameCell) {
            ++agreement.mMIBs[1];
            agreement.mMIBs[0] += covering->mCell.mDLBandwidthMHz == info.mDLBandwidthMHz;
        } else if (log->mKind == MEAS_KIND_MIB) {
            ++agreement.mOtherMIBs;
        } else if (log->mKind == MEAS_KIND_MEASUREMENT) {
            for (size_t i = 0; i < log->mCellCount; ++i) {
                const sMeasuredCell& cell = log->mCells[i];
                if (cell.mServing && cell.mServingIndex == 0) {
                    ++agreement.mMeasurements[1];
                    agreement.mMeasurements[0] += covering != nullptr &&
                                                  covering->mCell.mCell == cell.mCell &&
                                                  covering->mCell.mDLChannel == cell.mChannel;
                    break;
                }
            }
        }
    }
    return agreement;
}

TEST(CellTimeline, TheDualSIMCapturesCellLogsLieInTheirPeriods) {
    const std::vector<Bytes> packets = StreamPackets("dualsim_5g_20201116_195935.bin");
    cRecorder sink;
    Feed(packets, sink);
    const sAgreement agreement = Agreement(packets, sink);
    EXPECT_EQ(agreement.mServingCells[0], agreement.mServingCells[1]);
    EXPECT_EQ(agreement.mServingCells[1], 71u);
    EXPECT_EQ(agreement.mMIBs[0], agreement.mMIBs[1]);
    EXPECT_EQ(agreement.mMIBs[1], 75u);
    EXPECT_EQ(agreement.mOtherMIBs, 25u) << "MIBs of cells read during searches";
    // The formats page's worked example, the serving-cell log of subscription 1 at 11:56:24.821: PCI 162,
    // EARFCN 1350, cell identity 0x078980BB, TAC 4566, band 3, 100 resource blocks, PLMN 460-00. It names the
    // cell the handover of 11:56:24.678 went to.
    const std::vector<const sCellPeriod*> periods = sink.Periods(1);
    ASSERT_GE(periods.size(), 2u);
    const sCellPeriod& period = *periods[1];
    EXPECT_EQ(period.mEnteredBy, CELL_ENTRY_HANDOVER);
    EXPECT_EQ(CellOf(period), "pci 162 earfcn 1350");
    EXPECT_EQ(period.mCell.mIdentity, 0x078980BBu);
    EXPECT_EQ(period.mCell.mArea, 4566u);
    EXPECT_EQ(period.mCell.mBand, 3);
    EXPECT_EQ(period.mCell.mDLBandwidthMHz, 20);
    EXPECT_EQ(period.mCell.mMCC, 460);
    EXPECT_EQ(period.mCell.mMNC, 0);
    EXPECT_EQ(period.mCell.mMNCDigits, 2);
}

TEST(CellTimeline, HandoversWithTheirServingCellLogs) {
    // Hand-decoded serving-cell logs of the two sections: lte_volte, PCI 370 EARFCN 2300: cell identity
    // 23799811, TAC 16290, band 4, 100 RB, PLMN 310-260; lte_attach, PCI 312 EARFCN 66586: 58905869, TAC
    // 58891, band 66, 50 RB, 311-480, then after the handover PCI 312 EARFCN 5230: 58905857, band 13.
    const struct {
        const char* mSection;
        std::vector<std::string> mCells;  // "pci earfcn identity band MHz entered"
    } cases[] = {
        {"lte_volte.bin", {"pci 328 earfcn 2300 0 0 0 first", "pci 370 earfcn 2300 23799811 4 20 handover"}},
        {"lte_attach.bin",
         {"pci 312 earfcn 66586 58905869 66 10 first", "pci 312 earfcn 5230 58905857 13 10 handover"}},
    };
    for (const auto& c : cases) {
        const std::vector<Bytes> packets = Section("timeline_sequences.txt", c.mSection);
        cRecorder sink;
        Feed(packets, sink);
        std::vector<std::string> cells;
        for (const sCellPeriod& period : sink.mPeriods) {
            char text[128];
            snprintf(text, sizeof text, " %llu %u %g %s",
                     static_cast<unsigned long long>(period.mCell.mIdentity), period.mCell.mBand,
                     period.mCell.mDLBandwidthMHz, CellEntryName(period.mEnteredBy));
            cells.push_back(CellOf(period) + text);
        }
        EXPECT_EQ(cells, c.mCells) << c.mSection;
        const sAgreement agreement = Agreement(packets, sink);
        EXPECT_EQ(agreement.mServingCells[0], agreement.mServingCells[1]) << c.mSection;
        EXPECT_EQ(agreement.mMIBs[0], agreement.mMIBs[1]) << c.mSection;
        EXPECT_EQ(agreement.mMIBs[1], 1u) << c.mSection;
    }
    // The primary cells of the serving measurements of the lte_bler section lie in their periods, but for the
    // one at 10:19:35.800 of PCI 352 on EARFCN 3683, which interleaves every 1.28 s (a paging cycle) while
    // the phone is connected on EARFCN 1825: a second SIM's idle cell, logged without a subscription.
    const std::vector<Bytes> bler = Section("timeline_sequences.txt", "lte_bler.bin");
    cRecorder sink;
    Feed(bler, sink);
    const sAgreement agreement = Agreement(bler, sink);
    EXPECT_EQ(agreement.mMeasurements[1], 24u);
    EXPECT_EQ(agreement.mMeasurements[0], 23u);
}

TEST(CellTimeline, CaptureAHandoversRejectsAndTheNASLoggedTwice) {
    cRecorder sink;
    Feed(StreamPackets("raw_diag_stream_a.bin"), sink);
    // tshark: 17 handover commands (their targets are checked on the dual-SIM capture).
    EXPECT_EQ(sink.Details(kEventHandover).size(), 17u);
    // tshark: Tracking area update reject (Implicitly detached), then Attach reject (No Suitable Cells In
    // tracking area); a Detach request from the network (Re-attach required).
    EXPECT_EQ(sink.Details(kEventTAUReject), std::vector<std::string>{"cause 10 (implicitly detached)"});
    EXPECT_EQ(sink.Details(kEventAttachReject),
              std::vector<std::string>{"cause 15 (no suitable cells in tracking area)"});
    EXPECT_EQ(sink.Details(kEventDetachRequest), std::vector<std::string>{"from the network"});
    // Every protected EMM log has its plain copy: one event per message, none unknown. Plain logs hold 3
    // attach requests, 2 accepts, 3 TAU requests, 1 accept, 33 service requests (tshark).
    EXPECT_TRUE(sink.Details(kEventEMMUnknown).empty());
    EXPECT_EQ(sink.Details(kEventAttachRequest).size(), 3u);
    EXPECT_EQ(sink.Details(kEventAttachAccept).size(), 2u);
    EXPECT_EQ(sink.Details(kEventTAURequest).size(), 3u);
    EXPECT_EQ(sink.Details(kEventTAUAccept).size(), 1u);
    EXPECT_EQ(sink.Details(kEventServiceRequest).size(), 33u);
    EXPECT_EQ(sink.Details(kEventDetachAccept).size(), 1u);
    // The TAU reject came on PCI 253 of EARFCN 1825 (the log header), after an idle reselection there.
    const std::vector<const sCellPeriod*> periods = sink.Periods(0);
    bool found = false;
    for (const sCellPeriod* period : periods) {
        if (CellOf(*period) == "pci 253 earfcn 1825") {
            found = true;
            EXPECT_EQ(period->mEnteredBy, CELL_ENTRY_RESELECTION);
        }
    }
    EXPECT_TRUE(found);
}

TEST(CellTimeline, ReestablishmentAfterARadioLinkFailure) {
    cRecorder sink;
    Feed(Section("timeline_sequences.txt", "lte_bler.bin"), sink);
    // tshark: a handover to PCI 193, then RRCConnectionReestablishmentRequest (otherFailure, physCellId 193)
    // on PCI 216, RRCConnectionReestablishment; later an RRCConnectionRequest on PCI 352 of EARFCN 3683.
    EXPECT_EQ(sink.Details(kEventHandover),
              std::vector<std::string>{"pci 225 earfcn 1825 -> pci 193 earfcn 1825"});
    EXPECT_EQ(sink.Details(kEventReestablishmentRequest),
              std::vector<std::string>{"cause other failure, pci 193"});
    EXPECT_EQ(sink.Details(kEventReestablishment).size(), 1u);
    EXPECT_TRUE(sink.Details(kEventHandoverFailure).empty());
    std::vector<std::string> cells;
    for (const sCellPeriod* period : sink.Periods(0)) {
        cells.push_back(CellOf(*period));
    }
    EXPECT_EQ(cells, (std::vector<std::string>{"pci 225 earfcn 1825", "pci 193 earfcn 1825",
                                               "pci 216 earfcn 1825", "pci 352 earfcn 3683"}));
    // The connection on PCI 352 came without a release: how the phone got there is not known.
    EXPECT_EQ(Entries(sink), (std::vector<eCellEntry>{CELL_ENTRY_FIRST, CELL_ENTRY_HANDOVER,
                                                      CELL_ENTRY_REESTABLISHMENT, CELL_ENTRY_UNKNOWN}));
    // A connection request is sent only in idle mode: the state says so before the request.
    const std::vector<std::string> events = sink.Events();
    const auto request =
        std::find(events.begin(), events.end(), "rrc_connection_request cause mo signalling");
    ASSERT_NE(request, events.end());
    EXPECT_EQ(*(request - 1), "rrc_idle rrc_connection_request");
}

// Hand-built sequences: records as the extractors give them.
const int64_t kT0 = 1600000000000;

// An LTE RRC message of `channel` holding `bytes` (which it points into), on a cell (PCI 0xFFFF: no radio
// context).
sOTAMessage RRCMessage(uint8_t channel, const Bytes& bytes, uint16_t pci, uint32_t earfcn,
                       uint32_t subscription = 0) {
    sOTAMessage message;
    message.mProtocol = OTA_PROTOCOL_LTE_RRC;
    message.mChannel = channel;
    message.mDirection = channel == OTA_LTE_UL_CCCH || channel == OTA_LTE_UL_DCCH ? OTA_DIRECTION_UPLINK
                                                                                  : OTA_DIRECTION_DOWNLINK;
    message.mSubscription = subscription;
    if (pci != 0xFFFF) {
        message.mContext = OTA_HAS_CELL | OTA_HAS_CHANNEL_NUMBER;
        message.mCell = pci;
        message.mChannelNumber = earfcn;
    }
    message.mData = bytes.data();
    message.mLength = bytes.size();
    return message;
}

class cSequence {
public:
    explicit cSequence(uint32_t subscription = 0) : mSubscription(subscription), mLog(new sMeasLog) {}

    // An LTE RRC message, `ms` after kT0.
    cSequence& RRC(int64_t ms, uint8_t channel, const char* hex, uint16_t pci = 0xFFFF, uint32_t earfcn = 0) {
        mBytes.push_back(Hex(hex));
        EXPECT_TRUE(mTimeline.Message(kT0 + ms,
                                      RRCMessage(channel, mBytes.back(), pci, earfcn, mSubscription), mSink));
        return *this;
    }
    cSequence& NAS(int64_t ms, bool uplink, bool protectedCode, const char* hex,
                   uint8_t channel = OTA_NAS_MOBILITY) {
        mBytes.push_back(Hex(hex));
        sOTAMessage message;
        message.mProtocol = OTA_PROTOCOL_LTE_NAS;
        message.mChannel = channel;
        message.mDirection = uplink ? OTA_DIRECTION_UPLINK : OTA_DIRECTION_DOWNLINK;
        message.mSecurityProtected = protectedCode;
        message.mSubscription = mSubscription;
        message.mData = mBytes.back().data();
        message.mLength = mBytes.back().size();
        EXPECT_TRUE(mTimeline.Message(kT0 + ms, message, mSink));
        return *this;
    }
    // A serving-cell information log.
    cSequence& Serving(int64_t ms, uint32_t earfcn, uint16_t pci, uint64_t identity = 0, double bandwidth = 0,
                       eRadioTechnology technology = RADIO_LTE) {
        Start(MEAS_KIND_SERVING_CELL, technology);
        sCellInfo& cell = mLog->mCellInfo;
        cell.mFields = CELL_HAS_DL_CHANNEL | CELL_HAS_CELL;
        cell.mDLChannel = earfcn;
        cell.mCell = pci;
        if (identity != 0) {
            cell.mFields |= CELL_HAS_IDENTITY | CELL_HAS_AREA | CELL_HAS_PLMN | CELL_HAS_BAND;
            cell.mIdentity = identity;
            cell.mArea = 4566;
            cell.mMCC = 460;
            cell.mMNC = 0;
            cell.mMNCDigits = 2;
            cell.mBand = 3;
        }
        if (bandwidth != 0) {
            cell.mFields |= CELL_HAS_DL_BANDWIDTH;
            cell.mDLBandwidthMHz = bandwidth;
        }
        return Measure(ms);
    }
    cSequence& MIB(int64_t ms, uint32_t earfcn, uint16_t pci, double bandwidth) {
        Start(MEAS_KIND_MIB, RADIO_LTE);
        mLog->mCellInfo.mFields = CELL_HAS_DL_CHANNEL | CELL_HAS_CELL | CELL_HAS_DL_BANDWIDTH;
        mLog->mCellInfo.mDLChannel = earfcn;
        mLog->mCellInfo.mCell = pci;
        mLog->mCellInfo.mDLBandwidthMHz = bandwidth;
        return Measure(ms);
    }
    // A serving-cell measurement: the cell of `index` (0 the primary cell), then a neighbour.
    cSequence& Measured(int64_t ms, uint32_t earfcn, uint16_t pci, double rsrp, double rsrq,
                        uint8_t index = 0, eRadioTechnology technology = RADIO_LTE) {
        Start(MEAS_KIND_MEASUREMENT, technology);
        mLog->mCellCount = 2;
        sMeasuredCell& neighbour = mLog->mCells[index == 0 ? 1 : 0];
        neighbour = sMeasuredCell();
        neighbour.mTechnology = technology;
        neighbour.mHasChannel = neighbour.mHasCell = true;
        neighbour.mChannel = earfcn;
        neighbour.mCell = static_cast<uint16_t>(pci + 1);
        neighbour.mRSRP = -120;
        sMeasuredCell& cell = mLog->mCells[index == 0 ? 0 : 1];
        cell = sMeasuredCell();
        cell.mTechnology = technology;
        cell.mServing = true;
        cell.mServingIndex = index;
        cell.mHasChannel = cell.mHasCell = true;
        cell.mChannel = earfcn;
        cell.mCell = pci;
        cell.mRSRP = rsrp;
        cell.mRSRQ = rsrq;
        return Measure(ms);
    }
    cSequence& State(int64_t ms, eRRCState state, const char* name, eRadioTechnology technology = RADIO_LTE) {
        Start(MEAS_KIND_RRC_STATE, technology);
        mLog->mStateCount = 1;
        mLog->mStates[0] = sRRCStateChange();
        mLog->mStates[0].mTechnology = technology;
        mLog->mStates[0].mState = state;
        mLog->mStates[0].mName = name;
        return Measure(ms);
    }
    cRecorder& Finish() {
        mTimeline.Finish(mSink);
        return mSink;
    }

    cRecorder mSink;
    cCellTimeline mTimeline;

private:
    void Start(eMeasKind kind, eRadioTechnology technology) {
        mLog->Clear();
        mLog->mKind = kind;
        mLog->mTechnology = technology;
        mLog->mSubscription = mSubscription;
    }
    cSequence& Measure(int64_t ms) {
        EXPECT_TRUE(mTimeline.Measurement(kT0 + ms, *mLog, mSink));
        return *this;
    }

    uint32_t mSubscription;
    std::unique_ptr<sMeasLog> mLog;
    std::vector<Bytes> mBytes;
};

// Messages by their first bits (the bit positions are checked on real messages in SignallingBitsTest).
const char kHandoverCommand[] = "2018";  // reconfiguration with measConfig and mobilityControlInfo
const char kReconfiguration[] = "2010";  // with measConfig only
const char kReconfigurationComplete[] = "1000";
const char kRelease[] = "2802";
const char kReleaseRedirected[] = "2824";          // redirectedCarrierInfo, cause cs fallback high priority
const char kConnectionRequest[] = "577073b0f986";  // mo-Signalling
const char kSetup[] = "6012980f5dd2";
const char kSetupComplete[] = "2030fae6e980";
const char kReestablishmentRequestHO[] = "1579b5500004";  // handover failure, PCI 341
const char kReestablishmentReject[] = "20";
const char kConnectionReject[] = "40";

TEST(CellTimeline, RedirectionIsTheNextCellAfterARedirectingRelease) {
    cSequence s;
    s.RRC(0, OTA_LTE_UL_CCCH, kConnectionRequest, 10, 100)
        .RRC(50, OTA_LTE_DL_CCCH, kSetup, 10, 100)
        .RRC(55, OTA_LTE_UL_DCCH, kSetupComplete, 10, 100)
        .RRC(1000, OTA_LTE_DL_DCCH, kReleaseRedirected, 10, 100)
        .RRC(1500, OTA_LTE_UL_CCCH, kConnectionRequest, 20, 200)  // on the carrier it was sent to
        .RRC(1550, OTA_LTE_DL_DCCH, kRelease, 20, 200)
        .Serving(3000, 300, 30);  // an idle reselection later
    const cRecorder& sink = s.Finish();
    EXPECT_EQ(Entries(sink),
              (std::vector<eCellEntry>{CELL_ENTRY_FIRST, CELL_ENTRY_REDIRECTION, CELL_ENTRY_RESELECTION}));
    EXPECT_EQ(sink.Details(kEventRRCConnectionRelease),
              (std::vector<std::string>{"cause cs fallback high priority, redirected", "cause other"}));
}

TEST(CellTimeline, ARedirectionThatKeepsTheCellIsForgottenWithTheNextConnection) {
    cSequence s;
    s.RRC(0, OTA_LTE_DL_DCCH, kReconfiguration, 10, 100)
        .RRC(1000, OTA_LTE_DL_DCCH, kReleaseRedirected, 10, 100)
        .RRC(1500, OTA_LTE_UL_CCCH, kConnectionRequest, 10, 100)  // the same cell
        .RRC(1600, OTA_LTE_DL_DCCH, kRelease, 10, 100)
        .Serving(5000, 100, 11);
    EXPECT_EQ(Entries(s.Finish()), (std::vector<eCellEntry>{CELL_ENTRY_FIRST, CELL_ENTRY_RESELECTION}));
}

TEST(CellTimeline, HandoverFailureWithoutReestablishment) {
    cSequence s;
    s.RRC(0, OTA_LTE_DL_DCCH, kReconfiguration, 10, 100)
        .RRC(100, OTA_LTE_DL_DCCH, kHandoverCommand, 10, 100)
        // T304 ran out: re-establishment on another cell, which rejects it; the phone is idle there.
        .RRC(1200, OTA_LTE_UL_CCCH, kReestablishmentRequestHO, 12, 100)
        .RRC(1250, OTA_LTE_DL_CCCH, kReestablishmentReject, 12, 100)
        .RRC(3000, OTA_LTE_UL_CCCH, kConnectionRequest, 13, 100)
        .RRC(3050, OTA_LTE_DL_CCCH, kConnectionReject, 13, 100);
    const cRecorder& sink = s.Finish();
    EXPECT_EQ(sink.Events(), (std::vector<std::string>{
                                 "rrc_connected dedicated control channel message",
                                 "handover pci 10 earfcn 100 -> re-establishment",
                                 "reestablishment_request cause handover failure, pci 341",
                                 "handover_failure pci 341",
                                 "reestablishment_reject",
                                 "rrc_idle reestablishment_reject",
                                 "rrc_connection_request cause mo signalling",
                                 "rrc_connection_reject",
                             }));
    // The cell of the failed re-establishment was not entered by one; the next was an idle reselection.
    EXPECT_EQ(Entries(sink),
              (std::vector<eCellEntry>{CELL_ENTRY_FIRST, CELL_ENTRY_UNKNOWN, CELL_ENTRY_RESELECTION}));
    EXPECT_EQ(sink.mEvents[1].mTimeMs, kT0 + 100) << "a handover is reported at the time of its command";
}

TEST(CellTimeline, HandoverOutcomes) {
    cSequence s;
    s.RRC(0, OTA_LTE_DL_DCCH, kHandoverCommand, 10, 100)
        .RRC(30, OTA_LTE_UL_DCCH, kReconfigurationComplete, 11, 300)  // inter-frequency
        .RRC(1000, OTA_LTE_DL_DCCH, kHandoverCommand, 11, 300)
        .RRC(1020, OTA_LTE_UL_DCCH, kReconfigurationComplete, 11, 300)  // intra-cell: no new period
        .RRC(2000, OTA_LTE_DL_DCCH, kHandoverCommand, 11, 300)
        // The complete was not logged; the next log header shows the new cell.
        .RRC(2100, OTA_LTE_DL_DCCH, kReconfiguration, 12, 300)
        .RRC(2500, OTA_LTE_DL_DCCH, kHandoverCommand, 12, 300);  // the capture ends
    const cRecorder& sink = s.Finish();
    EXPECT_EQ(sink.Details(kEventHandover), (std::vector<std::string>{
                                                "pci 10 earfcn 100 -> pci 11 earfcn 300",
                                                "pci 11 earfcn 300 -> pci 11 earfcn 300",
                                                "pci 11 earfcn 300 -> pci 12 earfcn 300",
                                                "pci 12 earfcn 300 -> unknown",
                                            }));
    EXPECT_EQ(Entries(sink),
              (std::vector<eCellEntry>{CELL_ENTRY_FIRST, CELL_ENTRY_HANDOVER, CELL_ENTRY_HANDOVER}));
    const std::vector<const sCellPeriod*> periods = sink.Periods(0);
    EXPECT_EQ(periods[0]->mToMs, kT0 + 0);
    EXPECT_EQ(periods[1]->mFromMs, kT0 + 30);
    EXPECT_EQ(periods[1]->mToMs, kT0 + 2000);
    EXPECT_EQ(periods[2]->mToMs, kT0 + 2500);
}

TEST(CellTimeline, NASOutcomesWithCauses) {
    cSequence s;
    s.NAS(0, true, false, "0741")           // attach request
        .NAS(100, false, false, "07440f")   // attach reject, no suitable cells in tracking area
        .NAS(200, true, false, "0748")      // TAU request
        .NAS(300, false, false, "074bc8")   // TAU reject with a cause that has no name
        .NAS(400, true, false, "c7011700")  // service request
        .NAS(500, false, false, "074e16")   // service reject, congestion
        .NAS(600, true, false, "074c")      // extended service request
        .NAS(700, false, false, "0745")     // detach request from the network
        .NAS(710, true, false, "0746")
        .NAS(800, false, false, "0761")  // EMM information: not an event
        .NAS(900, false, false, "0209d9", OTA_NAS_SESSION);
    EXPECT_EQ(s.Finish().Events(), (std::vector<std::string>{
                                       "attach_request",
                                       "attach_reject cause 15 (no suitable cells in tracking area)",
                                       "tau_request",
                                       "tau_reject cause 200",
                                       "service_request",
                                       "service_reject cause 22 (congestion)",
                                       "service_request extended",
                                       "detach_request from the network",
                                       "detach_accept",
                                   }));
}

TEST(CellTimeline, ProtectedNASLogsAndTheirPlainCopies) {
    cSequence s;
    // Downlink: the protected log first, its plain copy in the same millisecond: one event.
    s.NAS(0, false, true, "27ae95c56301074202")
        .NAS(0, false, false, "074202")
        // Uplink: the plain log first, then the protected one.
        .NAS(100, true, false, "0748")
        .NAS(101, true, true, "170d01093b130748")
        // A ciphered message without a plain copy: unknown.
        .NAS(200, true, true, "27927f529919074501")
        // An integrity-protected one without a copy: read.
        .NAS(300, false, true, "17000000000107 4b 0a")
        // A protected log whose plain copy is an ESM message (logged under an ESM code).
        .NAS(400, false, true, "272af309f2025200c9")
        .NAS(400, false, false, "5200c9", OTA_NAS_SESSION)
        // A ciphered one at the end of the capture.
        .NAS(500, false, true, "2700000000010749");
    EXPECT_EQ(s.Finish().Events(), (std::vector<std::string>{
                                       "attach_accept",
                                       "tau_request",
                                       "emm_unknown ciphered, uplink",
                                       "tau_reject cause 10 (implicitly detached)",
                                       "emm_unknown ciphered, downlink",
                                   }));
}

TEST(CellTimeline, StateLogsOutrankTheMessages) {
    cSequence s;
    s.State(0, RRC_STATE_IDLE, "IDLE_CAMPED")
        .Serving(10, 100, 10)
        .State(20, RRC_STATE_CONNECTING, "CONNECTING")
        .State(30, RRC_STATE_CONNECTED, "CONNECTED")
        .RRC(1000, OTA_LTE_DL_DCCH, kRelease, 10, 100)  // the state log says when the phone is idle
        .Serving(1100, 100, 11)                         // so this cell change is not a reselection
        .State(1200, RRC_STATE_CLOSING, "CLOSING")
        .State(1300, RRC_STATE_IDLE, "IDLE_CAMPED")
        .Serving(1400, 100, 12);
    const cRecorder& sink = s.Finish();
    EXPECT_EQ(sink.Details(kEventRRCIdle),
              (std::vector<std::string>{"state IDLE_CAMPED", "state IDLE_CAMPED"}));
    EXPECT_EQ(sink.Details(kEventRRCConnected), std::vector<std::string>{"state CONNECTED"});
    EXPECT_EQ(Entries(sink),
              (std::vector<eCellEntry>{CELL_ENTRY_FIRST, CELL_ENTRY_UNKNOWN, CELL_ENTRY_RESELECTION}));
}

TEST(CellTimeline, ServingCellLogsGiveTheIdentityAndAMIBOnlyTheBandwidth) {
    cSequence s;
    s.RRC(0, OTA_LTE_UL_CCCH, kConnectionRequest, 162, 1350)
        .MIB(10, 1350, 163, 10)  // a neighbour's MIB: no new period
        .MIB(20, 1350, 162, 20)  // the serving cell's: its bandwidth
        .Serving(30, 1350, 162, 0x078980BB)
        .MIB(40, 1350, 162, 15)               // a bandwidth is kept once known
        .Serving(50, 1350, 162, 0x078980BC);  // the same PCI and EARFCN, another cell
    const cRecorder& sink = s.Finish();
    ASSERT_EQ(sink.mPeriods.size(), 2u);
    const sCellInfo& cell = sink.mPeriods[0].mCell;
    EXPECT_EQ(cell.mIdentity, 0x078980BBu);
    EXPECT_EQ(cell.mArea, 4566u);
    EXPECT_EQ(cell.mMCC, 460);
    EXPECT_EQ(cell.mBand, 3);
    EXPECT_EQ(cell.mDLBandwidthMHz, 20);
    EXPECT_EQ(sink.mPeriods[1].mCell.mIdentity, 0x078980BCu);
    EXPECT_EQ(sink.mPeriods[1].mCell.mFields & CELL_HAS_DL_BANDWIDTH, 0u);
    EXPECT_EQ(sink.mPeriods[0].mToMs, kT0 + 40);
    EXPECT_EQ(sink.mPeriods[1].mFromMs, kT0 + 50);
}

TEST(CellTimeline, MediansOfTheServingMeasurementsAreExact) {
    cSequence s;
    // Raw 1291, 1303, 1273, 1248 of the 1/16 dB RSRP scale and 309, 323, 295, 280 of RSRQ.
    s.Measured(0, 1825, 73, -99.3125, -10.6875)
        .Measured(10, 1825, 73, -98.5625, -9.8125)
        .Measured(20, 1825, 73, -100.4375, -11.5625)
        .Measured(30, 1825, 73, -102, -12.5)
        .Measured(35, 700, 73, -80, -5, 1)          // a secondary cell: neither evidence nor counted
        .Measured(40, 1825, 73, NAN, NAN)           // measured, without values
        .Measured(50, 1825, 74, -110.0625, -15.25)  // another primary cell
        .Measured(45, 1825, 73, -60, -3);           // logged late: ignored
    const cRecorder& sink = s.Finish();
    ASSERT_EQ(sink.mPeriods.size(), 2u);
    // Sorted: -102, -100.4375, -99.3125, -98.5625: the mean of the middle two. RSRQ: -12.5, -11.5625,
    // -10.6875, -9.8125.
    EXPECT_EQ(sink.mPeriods[0].mRSRPMedian, -99.875);
    EXPECT_EQ(sink.mPeriods[0].mRSRQMedian, -11.125);
    EXPECT_EQ(sink.mPeriods[0].mMeasurements, 5u);
    EXPECT_EQ(sink.mPeriods[1].mRSRPMedian, -110.0625);
    EXPECT_EQ(sink.mPeriods[1].mRSRQMedian, -15.25);
    EXPECT_EQ(sink.mPeriods[1].mMeasurements, 1u);
    EXPECT_EQ(sink.mPeriods[1].mEnteredBy, CELL_ENTRY_UNKNOWN);
}

TEST(CellTimeline, AConnectionKeepsItsPrimaryCellUnlessAHandoverIsUnderWay) {
    cSequence s;
    s.RRC(0, OTA_LTE_UL_CCCH, kConnectionRequest, 193, 1825)
        .RRC(50, OTA_LTE_UL_DCCH, kSetupComplete, 193, 1825)
        .Measured(100, 1825, 193, -110, -15)
        .Measured(200, 3683, 352, -120, -16)  // another SIM's idle cell, logged without a subscription
        .Measured(300, 1825, 193, -111, -15)
        .RRC(400, OTA_LTE_DL_DCCH, kHandoverCommand, 193, 1825)
        .Measured(420, 1825, 216, -100, -10)  // the target, before the complete
        .RRC(430, OTA_LTE_UL_DCCH, kReconfigurationComplete, 216, 1825)
        .RRC(1000, OTA_LTE_DL_DCCH, kRelease, 216, 1825)
        .Measured(1500, 1825, 217, -105, -12);  // idle: a reselection
    const cRecorder& sink = s.Finish();
    std::vector<std::string> cells;
    for (const sCellPeriod& period : sink.mPeriods) {
        cells.push_back(CellOf(period) + " " + CellEntryName(period.mEnteredBy) + " " +
                        std::to_string(period.mMeasurements));
    }
    EXPECT_EQ(cells,
              (std::vector<std::string>{"pci 193 earfcn 1825 first 2", "pci 216 earfcn 1825 handover 1",
                                        "pci 217 earfcn 1825 reselection 1"}));
    EXPECT_EQ(sink.mPeriods[0].mRSRPMedian, -110.5);
}

TEST(CellTimeline, MedianOfManyMeasurements) {
    cSequence s;
    // 1501 values from -140 dBm up in steps of 1/16 dB, in a scrambled order (a stride prime to the count):
    // the median is the 751st smallest, -140 + 750/16 = -93.125 dBm.
    for (int i = 0; i < 1501; ++i) {
        const int k = (i * 7) % 1501;
        s.Measured(i, 100, 1, -140 + k / 16.0, NAN);
    }
    const cRecorder& sink = s.Finish();
    ASSERT_EQ(sink.mPeriods.size(), 1u);
    EXPECT_EQ(sink.mPeriods[0].mRSRPMedian, -93.125);
    EXPECT_TRUE(std::isnan(sink.mPeriods[0].mRSRQMedian));
    EXPECT_EQ(sink.mPeriods[0].mMeasurements, 1501u);
}

TEST(CellTimeline, TheNRLegHasItsOwnPeriods) {
    cSequence s(1);
    s.RRC(0, OTA_LTE_DL_DCCH, kReconfiguration, 10, 100)
        .Serving(10, 504990, 245, 0, 0, RADIO_NR)
        .Measured(20, 504990, 245, -90.0078125, -11.5, 0, RADIO_NR)
        .RRC(500, OTA_LTE_UL_DCCH, "a0", 10, 100)  // SCG failure information NR
        .Measured(600, 504990, 432, -95, -12, 0, RADIO_NR)
        .RRC(900, OTA_LTE_DL_DCCH, kReconfiguration, 10, 100);
    const cRecorder& sink = s.Finish();
    std::vector<std::string> nr;
    for (const sCellPeriod& period : sink.mPeriods) {
        if (period.mTechnology == RADIO_NR) {
            nr.push_back(CellOf(period) + " " + CellEntryName(period.mEnteredBy) + " " +
                         std::to_string(period.mToMs - kT0));
        }
    }
    // An NR cell change is never guessed: the second NR period's way in is unknown; an NR period ends with
    // the last NR evidence of it.
    EXPECT_EQ(nr, (std::vector<std::string>{"pci 245 earfcn 504990 first 20",
                                            "pci 432 earfcn 504990 unknown 600"}));
    EXPECT_EQ(sink.mPeriods.back().mTechnology, RADIO_NR);
    ASSERT_EQ(sink.Details(kEventSCGFailure).size(), 1u);
    EXPECT_EQ(sink.mEvents.back().mTechnology, RADIO_NR);
    EXPECT_EQ(sink.mPeriods[0].mRSRPMedian, -90.0078125);
}

TEST(CellTimeline, SubscriptionsAreKeptApartAndBounded) {
    cRecorder sink;
    cCellTimeline timeline;
    const Bytes request = Hex(kConnectionRequest);
    for (uint32_t subscription = 1; subscription <= 12; ++subscription) {
        const uint16_t cell = static_cast<uint16_t>(subscription);
        EXPECT_TRUE(
            timeline.Message(kT0, RRCMessage(OTA_LTE_UL_CCCH, request, cell, 100, subscription), sink));
    }
    timeline.Finish(sink);
    // Eight subscriptions are followed, more than a phone has SIMs; the rest are left out.
    EXPECT_EQ(sink.mPeriods.size(), 8u);
    for (size_t i = 0; i < sink.mPeriods.size(); ++i) {
        EXPECT_EQ(sink.mPeriods[i].mSubscription, sink.mPeriods[i].mCell.mCell);
    }
}

TEST(CellTimeline, ASinkThatStopsStopsTheTimeline) {
    cSequence s;
    s.mSink.mStopAfter = 2;
    s.mTimeline.Message(kT0, sOTAMessage(), s.mSink);
    const Bytes command = Hex(kHandoverCommand);
    const Bytes complete = Hex(kReconfigurationComplete);
    bool going = true;
    for (uint16_t cell = 1; cell < 10 && going; ++cell) {
        going = s.mTimeline.Message(kT0 + cell * 100, RRCMessage(OTA_LTE_DL_DCCH, command, cell, 0), s.mSink);
        const uint16_t target = static_cast<uint16_t>(cell + 1);
        going = going && s.mTimeline.Message(kT0 + cell * 100 + 10,
                                             RRCMessage(OTA_LTE_UL_DCCH, complete, target, 0), s.mSink);
    }
    EXPECT_FALSE(going);
    EXPECT_EQ(s.mSink.mCalls, 2u);
    EXPECT_FALSE(s.mTimeline.Finish(s.mSink));
    EXPECT_EQ(s.mSink.mCalls, 2u) << "nothing more after the sink said stop";
}

}  // namespace
