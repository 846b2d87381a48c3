// The cell timeline: real signalling sequences of captures A and D (Apache-2.0) with what tshark decodes from
// the same messages, and hand-built sequences for what no capture holds.
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

class cRecorder : public cTimelineSink {
public:
    bool Period(const sCellPeriod& period) override {
        mPeriods.push_back(period);
        return ++mCalls != mStopAfter;
    }
    bool Event(const sTimelineEvent& event) override {
        mEvents.push_back(event);
        return ++mCalls != mStopAfter;
    }
    // The details of the events named `name` of a subscription (all subscriptions: ~0u), in order; without
    // a name, "event detail" of every event.
    std::vector<std::string> Details(const std::string& name, uint32_t subscription = ~0u) const {
        std::vector<std::string> out;
        for (const sTimelineEvent& event : mEvents) {
            const std::string detail = event.mDetail;
            if ((name.empty() || event.mEvent == name) &&
                (subscription == ~0u || event.mSubscription == subscription)) {
                out.push_back(!name.empty()    ? detail
                              : detail.empty() ? event.mEvent
                                               : event.mEvent + (" " + detail));
            }
        }
        return out;
    }
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
    std::vector<sTimelineEvent> mEvents;
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

// "[nr ]pci P earfcn E entry[ id I tac T band B plmn MCC-MNC][ W MHz]": identity and bandwidth when known.
std::string PeriodRow(const sCellPeriod& p) {
    char text[128];
    std::string row =
        (p.mTechnology == RADIO_NR ? "nr " : "") + CellOf(p) + " " + CellEntryName(p.mEnteredBy);
    const sCellInfo& c = p.mCell;
    if (c.mFields & CELL_HAS_IDENTITY) {
        snprintf(text, sizeof text, " id %llu tac %u band %u plmn %u-%0*u",
                 static_cast<unsigned long long>(c.mIdentity), c.mArea, c.mBand, c.mMCC, c.mMNCDigits & 3,
                 c.mMNC);
        row += text;
    }
    if (c.mFields & CELL_HAS_DL_BANDWIDTH) {
        snprintf(text, sizeof text, " %g MHz", c.mDLBandwidthMHz);
        row += text;
    }
    return row;
}

// The rows of the periods of a subscription, joined by "; ".
std::string Periods(const cRecorder& sink, uint32_t subscription = 0) {
    std::string out;
    for (const sCellPeriod* period : sink.Periods(subscription)) {
        out += (out.empty() ? "" : "; ") + PeriodRow(*period);
    }
    return out;
}

// "name count; " of each named event.
std::string Counts(const cRecorder& sink, const std::vector<const char*>& names) {
    std::string out;
    for (const char* name : names) {
        out += std::string(name) + " " + std::to_string(sink.Details(name).size()) + "; ";
    }
    return out;
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

TEST(CellTimeline, HandoversOfTheDualSIMCaptureGoWhereTheCommandsSaid) {
    const std::vector<Bytes> packets = StreamPackets("dualsim_5g_20201116_195935.bin");
    cRecorder sink;
    Feed(packets, sink);
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
    EXPECT_EQ(Counts(sink, {kEventTAUAccept, kEventTAURequest, kEventRRCConnectionSetup}),
              "tau_accept 40; tau_request 45; rrc_connection_setup 24; ");
    EXPECT_EQ(sink.Details(kEventRRCConnectionRelease), std::vector<std::string>(24, "cause other"));
    EXPECT_EQ(sink.Details(kEventRRCConnectionRequest, 1), std::vector<std::string>(2, "cause mt access"));
    EXPECT_EQ(sink.Details(kEventRRCConnectionRequest, 2),
              std::vector<std::string>(22, "cause mo signalling"));
    // Its serving-cell logs, serving MIBs and MIBs of other cells against the periods.
    const sAgreement agreement = Agreement(packets, sink);
    EXPECT_EQ(agreement.mServingCells[0], agreement.mServingCells[1]);
    EXPECT_EQ(agreement.mServingCells[1], 71u);
    EXPECT_EQ(agreement.mMIBs[0], agreement.mMIBs[1]);
    EXPECT_EQ(agreement.mMIBs[1], 75u);
    EXPECT_EQ(agreement.mOtherMIBs, 25u) << "MIBs of cells read during searches";
    // The formats page's worked example, the serving-cell log of subscription 1 at 11:56:24.821: PCI 162,
    // EARFCN 1350, cell identity 0x078980BB (126451899), TAC 4566, band 3, 100 resource blocks, PLMN 460-00.
    // It names the cell the handover of 11:56:24.678 went to.
    EXPECT_EQ(PeriodRow(*periods[1]),
              "pci 162 earfcn 1350 handover id 126451899 tac 4566 band 3 plmn 460-00 20 MHz");
}

// Hand-decoded serving-cell logs of the two sections: lte_volte, PCI 370 EARFCN 2300: cell identity
// 23799811, TAC 16290, band 4, 100 RB, PLMN 310-260; lte_attach, PCI 312 EARFCN 66586: 58905869, TAC
// 58891, band 66, 50 RB, 311-480, then after the handover PCI 312 EARFCN 5230: 58905857, band 13.
TEST(CellTimeline, HandoversWithTheirServingCellLogs) {
    const struct {
        const char* mSection;
        const char* mPeriods;
    } cases[] = {
        {"lte_volte.bin",
         "pci 328 earfcn 2300 first; pci 370 earfcn 2300 handover id 23799811 tac 16290 band 4 plmn 310-260 "
         "20 MHz"},
        {"lte_attach.bin",
         "pci 312 earfcn 66586 first id 58905869 tac 58891 band 66 plmn 311-480 10 MHz; pci 312 earfcn 5230 "
         "handover id 58905857 tac 58891 band 13 plmn 311-480 10 MHz"},
    };
    for (const auto& c : cases) {
        const std::vector<Bytes> packets = Section("timeline_sequences.txt", c.mSection);
        cRecorder sink;
        Feed(packets, sink);
        EXPECT_EQ(Periods(sink), c.mPeriods) << c.mSection;
        const sAgreement agreement = Agreement(packets, sink);
        EXPECT_EQ(agreement.mServingCells[0], agreement.mServingCells[1]) << c.mSection;
        EXPECT_EQ(agreement.mMIBs[0], agreement.mMIBs[1]) << c.mSection;
        EXPECT_EQ(agreement.mMIBs[1], 1u) << c.mSection;
    }
}

// tshark: a handover to PCI 193, then RRCConnectionReestablishmentRequest (otherFailure, physCellId 193) on
// PCI 216, RRCConnectionReestablishment; later an RRCConnectionRequest on PCI 352 of EARFCN 3683.
TEST(CellTimeline, ReestablishmentAfterARadioLinkFailure) {
    const std::vector<Bytes> bler = Section("timeline_sequences.txt", "lte_bler.bin");
    cRecorder sink;
    Feed(bler, sink);
    EXPECT_EQ(sink.Details(kEventHandover),
              std::vector<std::string>{"pci 225 earfcn 1825 -> pci 193 earfcn 1825"});
    EXPECT_EQ(sink.Details(kEventReestablishmentRequest),
              std::vector<std::string>{"cause other failure, pci 193"});
    EXPECT_EQ(Counts(sink, {kEventReestablishment, kEventHandoverFailure}),
              "reestablishment 1; handover_failure 0; ");
    // The connection on PCI 352 came without a release: how the phone got there is not known.
    EXPECT_EQ(Periods(sink),
              "pci 225 earfcn 1825 first; pci 193 earfcn 1825 handover; pci 216 earfcn 1825 reestablishment; "
              "pci 352 earfcn 3683 unknown");
    // A connection request is sent only in idle mode: the state says so before the request.
    const std::vector<std::string> events = sink.Details("");
    const auto request =
        std::find(events.begin(), events.end(), "rrc_connection_request cause mo signalling");
    ASSERT_NE(request, events.end());
    EXPECT_EQ(*(request - 1), "rrc_idle rrc_connection_request");
    // The primary cells of the serving measurements lie in their periods, but for the one at 10:19:35.800 of
    // PCI 352 on EARFCN 3683, interleaving every 1.28 s while the phone is connected on EARFCN 1825: a second
    // SIM's idle cell, logged without a subscription.
    const sAgreement agreement = Agreement(bler, sink);
    EXPECT_EQ(agreement.mMeasurements[1], 24u);
    EXPECT_EQ(agreement.mMeasurements[0], 23u);
}

TEST(CellTimeline, CaptureAHandoversRejectsAndTheNASLoggedTwice) {
    cRecorder sink;
    Feed(StreamPackets("raw_diag_stream_a.bin"), sink);
    // tshark: 17 handover commands (their targets are checked on the dual-SIM capture).
    EXPECT_EQ(Counts(sink, {kEventHandover}), "handover 17; ");
    // tshark: Tracking area update reject (Implicitly detached), then Attach reject (No Suitable Cells In
    // tracking area); a Detach request from the network (Re-attach required).
    EXPECT_EQ(sink.Details(kEventTAUReject), std::vector<std::string>{"cause 10 (implicitly detached)"});
    EXPECT_EQ(sink.Details(kEventAttachReject),
              std::vector<std::string>{"cause 15 (no suitable cells in tracking area)"});
    EXPECT_EQ(sink.Details(kEventDetachRequest), std::vector<std::string>{"from the network"});
    // Every protected EMM log has its plain copy: one event per message, none unknown. Plain logs hold 3
    // attach requests, 2 accepts, 3 TAU requests, 1 accept, 33 service requests, 1 detach accept (tshark).
    EXPECT_EQ(Counts(sink, {kEventEMMUnknown, kEventAttachRequest, kEventAttachAccept, kEventTAURequest,
                            kEventTAUAccept, kEventServiceRequest, kEventDetachAccept}),
              "emm_unknown 0; attach_request 3; attach_accept 2; tau_request 3; tau_accept 1; "
              "service_request 33; detach_accept 1; ");
    // The TAU reject came on PCI 253 of EARFCN 1825 (the log header), after an idle reselection there.
    EXPECT_NE(Periods(sink).find("pci 253 earfcn 1825 reselection"), std::string::npos);
}

// Hand-built sequences: records as the extractors give them.
const int64_t kT0 = 1600000000000;

// An LTE RRC message of `channel` pointing into `bytes`, on a cell (PCI 0xFFFF: no radio context).
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
    cSequence() : mLog(new sMeasLog) {}

    // An LTE RRC message, `ms` after kT0.
    cSequence& RRC(int64_t ms, uint8_t channel, const char* hex, uint16_t pci = 0xFFFF, uint32_t earfcn = 0) {
        mBytes.push_back(Hex(hex));
        EXPECT_TRUE(mTimeline.Message(kT0 + ms, RRCMessage(channel, mBytes.back(), pci, earfcn), mSink));
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
        message.mData = mBytes.back().data();
        message.mLength = mBytes.back().size();
        EXPECT_TRUE(mTimeline.Message(kT0 + ms, message, mSink));
        return *this;
    }
    // A serving-cell information log.
    cSequence& Serving(int64_t ms, uint32_t earfcn, uint16_t pci, uint64_t identity = 0,
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
        for (const bool serving : {true, false}) {
            sMeasuredCell& cell = mLog->mCells[serving == (index == 0) ? 0 : 1];
            cell = sMeasuredCell();
            cell.mTechnology = technology;
            cell.mServing = serving;
            cell.mServingIndex = serving ? index : cell.mServingIndex;
            cell.mHasChannel = cell.mHasCell = true;
            cell.mChannel = earfcn;
            cell.mCell = serving ? pci : static_cast<uint16_t>(pci + 1);  // the other a neighbour
            cell.mRSRP = serving ? rsrp : -120;
            cell.mRSRQ = serving ? rsrq : cell.mRSRQ;
        }
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
    }
    cSequence& Measure(int64_t ms) {
        EXPECT_TRUE(mTimeline.Measurement(kT0 + ms, *mLog, mSink));
        return *this;
    }

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

// "ms event[ detail]; " of every event, "|", then " period from-to[ n=N RSRP/RSRQ medians];" of every
// period (PeriodRow); times after kT0, NR events marked "nr".
std::string Summary(const cRecorder& sink) {
    std::string out;
    char text[256];
    for (const sTimelineEvent& e : sink.mEvents) {
        snprintf(text, sizeof text, "%s%lld %s%s%s; ", e.mTechnology == RADIO_NR ? "nr " : "",
                 static_cast<long long>(e.mTimeMs - kT0), e.mEvent, e.mDetail[0] == '\0' ? "" : " ",
                 e.mDetail);
        out += text;
    }
    out += "|";
    for (const sCellPeriod& p : sink.mPeriods) {
        snprintf(text, sizeof text, " %lld-%lld", static_cast<long long>(p.mFromMs - kT0),
                 static_cast<long long>(p.mToMs - kT0));
        out += " " + PeriodRow(p) + text;
        if (p.mMeasurements != 0) {
            snprintf(text, sizeof text, " n=%llu %.10g/%.10g",
                     static_cast<unsigned long long>(p.mMeasurements), p.mRSRPMedian, p.mRSRQMedian);
            out += text;
        }
        out += ";";
    }
    return out;
}

// What no capture holds, by the rules of timeline/CellTimeline.h; the message bits as SignallingBitsTest
// reads them.
TEST(CellTimeline, HandBuiltSequences) {
    const struct {
        const char* mName;
        void (*mFeed)(cSequence&);
        const char* mSummary;
    } cases[] = {
        {"redirection: the next cell after a redirecting release, then an idle reselection",
         [](cSequence& s) {
             s.RRC(0, OTA_LTE_UL_CCCH, kConnectionRequest, 10, 100)
                 .RRC(50, OTA_LTE_DL_CCCH, kSetup, 10, 100)
                 .RRC(55, OTA_LTE_UL_DCCH, kSetupComplete, 10, 100)
                 .RRC(1000, OTA_LTE_DL_DCCH, kReleaseRedirected, 10, 100)
                 .RRC(1500, OTA_LTE_UL_CCCH, kConnectionRequest, 20, 200)
                 .RRC(1550, OTA_LTE_DL_DCCH, kRelease, 20, 200)
                 .Serving(3000, 300, 30);
         },
         "0 rrc_idle rrc_connection_request; 0 rrc_connection_request cause mo signalling; 50 "
         "rrc_connection_setup; 55 rrc_connected rrc_connection_setup_complete; 1000 rrc_connection_release "
         "cause cs fallback high priority, redirected; 1000 rrc_idle rrc_connection_release; 1500 "
         "rrc_connection_request cause mo signalling; 1550 rrc_connection_release cause other; | pci 10 "
         "earfcn 100 first 0-1000; pci 20 earfcn 200 redirection 1500-1550; pci 30 earfcn 300 reselection "
         "3000-3000;"},
        {"a redirection that keeps the cell is forgotten with the next connection",
         [](cSequence& s) {
             s.RRC(0, OTA_LTE_DL_DCCH, kReconfiguration, 10, 100)
                 .RRC(1000, OTA_LTE_DL_DCCH, kReleaseRedirected, 10, 100)
                 .RRC(1500, OTA_LTE_UL_CCCH, kConnectionRequest, 10, 100)
                 .RRC(1600, OTA_LTE_DL_DCCH, kRelease, 10, 100)
                 .Serving(5000, 100, 11);
         },
         "0 rrc_connected dedicated control channel message; 1000 rrc_connection_release cause cs fallback "
         "high priority, redirected; 1000 rrc_idle rrc_connection_release; 1500 rrc_connection_request cause "
         "mo signalling; 1600 rrc_connection_release cause other; | pci 10 earfcn 100 first 0-1600; pci 11 "
         "earfcn 100 reselection 5000-5000;"},
        // T304 ran out: re-establishment on another cell, which rejects it; the phone is idle there.
        {"handover failure without re-establishment",
         [](cSequence& s) {
             s.RRC(0, OTA_LTE_DL_DCCH, kReconfiguration, 10, 100)
                 .RRC(100, OTA_LTE_DL_DCCH, kHandoverCommand, 10, 100)
                 .RRC(1200, OTA_LTE_UL_CCCH, kReestablishmentRequestHO, 12, 100)
                 .RRC(1250, OTA_LTE_DL_CCCH, kReestablishmentReject, 12, 100)
                 .RRC(3000, OTA_LTE_UL_CCCH, kConnectionRequest, 13, 100)
                 .RRC(3050, OTA_LTE_DL_CCCH, kConnectionReject, 13, 100);
         },
         "0 rrc_connected dedicated control channel message; 100 handover pci 10 earfcn 100 -> "
         "re-establishment; 1200 reestablishment_request cause handover failure, pci 341; 1200 "
         "handover_failure pci 341; 1250 reestablishment_reject; 1250 rrc_idle reestablishment_reject; 3000 "
         "rrc_connection_request cause mo signalling; 3050 rrc_connection_reject; | pci 10 earfcn 100 first "
         "0-100; pci 12 earfcn 100 unknown 1200-1250; pci 13 earfcn 100 reselection 3000-3050;"},
        // Inter-frequency, intra-cell (no new period), without a logged complete, at the end of the capture.
        {"handover outcomes",
         [](cSequence& s) {
             s.RRC(0, OTA_LTE_DL_DCCH, kHandoverCommand, 10, 100)
                 .RRC(30, OTA_LTE_UL_DCCH, kReconfigurationComplete, 11, 300)
                 .RRC(1000, OTA_LTE_DL_DCCH, kHandoverCommand, 11, 300)
                 .RRC(1020, OTA_LTE_UL_DCCH, kReconfigurationComplete, 11, 300)
                 .RRC(2000, OTA_LTE_DL_DCCH, kHandoverCommand, 11, 300)
                 .RRC(2100, OTA_LTE_DL_DCCH, kReconfiguration, 12, 300)
                 .RRC(2500, OTA_LTE_DL_DCCH, kHandoverCommand, 12, 300);
         },
         "0 rrc_connected dedicated control channel message; 0 handover pci 10 earfcn 100 -> pci 11 earfcn "
         "300; 1000 handover pci 11 earfcn 300 -> pci 11 earfcn 300; 2000 handover pci 11 earfcn 300 -> pci "
         "12 earfcn 300; 2500 handover pci 12 earfcn 300 -> unknown; | pci 10 earfcn 100 first 0-0; pci 11 "
         "earfcn 300 handover 30-2000; pci 12 earfcn 300 handover 2100-2500;"},
        // A cause without a name, service reject and extended request; EMM information and ESM: no events.
        {"NAS outcomes",
         [](cSequence& s) {
             s.NAS(300, false, false, "074bc8")
                 .NAS(500, false, false, "074e16")
                 .NAS(600, true, false, "074c")
                 .NAS(800, false, false, "0761")
                 .NAS(900, false, false, "0209d9", OTA_NAS_SESSION);
         },
         "300 tau_reject cause 200; 500 service_reject cause 22 (congestion); 600 service_request extended; "
         "|"},
        // Protected logs without a plain copy: ciphered ones unknown, integrity-protected ones read; a plain
        // copy that is an ESM message.
        {"protected NAS logs",
         [](cSequence& s) {
             s.NAS(200, true, true, "27927f529919074501")
                 .NAS(300, false, true, "17000000000107 4b 0a")
                 .NAS(400, false, true, "272af309f2025200c9")
                 .NAS(400, false, false, "5200c9", OTA_NAS_SESSION)
                 .NAS(500, false, true, "2700000000010749");
         },
         "200 emm_unknown ciphered, uplink; 300 tau_reject cause 10 (implicitly detached); 500 emm_unknown "
         "ciphered, downlink; |"},
        // The state logs say when the phone is idle: the cell change after the release is no reselection.
        {"state logs outrank the messages",
         [](cSequence& s) {
             s.State(0, RRC_STATE_IDLE, "IDLE_CAMPED")
                 .Serving(10, 100, 10)
                 .State(20, RRC_STATE_CONNECTING, "CONNECTING")
                 .State(30, RRC_STATE_CONNECTED, "CONNECTED")
                 .RRC(1000, OTA_LTE_DL_DCCH, kRelease, 10, 100)
                 .Serving(1100, 100, 11)
                 .State(1200, RRC_STATE_CLOSING, "CLOSING")
                 .State(1300, RRC_STATE_IDLE, "IDLE_CAMPED")
                 .Serving(1400, 100, 12);
         },
         "0 rrc_idle state IDLE_CAMPED; 30 rrc_connected state CONNECTED; 1000 rrc_connection_release cause "
         "other; 1300 rrc_idle state IDLE_CAMPED; | pci 10 earfcn 100 first 10-1000; pci 11 earfcn 100 "
         "unknown 1100-1300; pci 12 earfcn 100 reselection 1400-1400;"},
        {"a state change in the same millisecond as a period start",
         [](cSequence& s) {
             s.State(0, RRC_STATE_CONNECTED, "CONNECTED")
                 .Serving(0, 100, 10)
                 .State(1000, RRC_STATE_IDLE, "IDLE_CAMPED")
                 .Serving(1000, 100, 11);
         },
         "0 rrc_connected state CONNECTED; 1000 rrc_idle state IDLE_CAMPED; | pci 10 earfcn 100 first "
         "0-1000; pci 11 earfcn 100 reselection 1000-1000;"},
        // A log of another cell stamped inside the open period: the new one starts where that one ends.
        {"a period starting before the previous one ends",
         [](cSequence& s) { s.Serving(0, 100, 10).Serving(500, 100, 10).Serving(300, 100, 11); },
         "| pci 10 earfcn 100 first 0-500; pci 11 earfcn 100 unknown 500-500;"},
        // A neighbour's MIB, the serving cell's (its bandwidth, kept once known), and the same PCI and
        // EARFCN with another identity: another cell.
        {"serving-cell logs give the identity and a MIB only the bandwidth",
         [](cSequence& s) {
             s.RRC(0, OTA_LTE_UL_CCCH, kConnectionRequest, 162, 1350)
                 .MIB(10, 1350, 163, 10)
                 .MIB(20, 1350, 162, 20)
                 .Serving(30, 1350, 162, 0x078980BB)
                 .MIB(40, 1350, 162, 15)
                 .Serving(50, 1350, 162, 0x078980BC);
         },
         "0 rrc_idle rrc_connection_request; 0 rrc_connection_request cause mo signalling; | pci 162 earfcn "
         "1350 first id 126451899 tac 4566 band 3 plmn 460-00 20 MHz 0-40; pci 162 earfcn 1350 reselection "
         "id 126451900 tac 4566 band 3 plmn 460-00 50-50;"},
        // Raw 1291, 1303, 1273, 1248 of the 1/16 dB RSRP scale and 309, 323, 295, 280 of RSRQ: medians the
        // means of the middle two; a secondary cell's, an empty and a late measurement are not counted.
        {"medians of the serving measurements are exact",
         [](cSequence& s) {
             s.Measured(0, 1825, 73, -99.3125, -10.6875)
                 .Measured(10, 1825, 73, -98.5625, -9.8125)
                 .Measured(20, 1825, 73, -100.4375, -11.5625)
                 .Measured(30, 1825, 73, -102, -12.5)
                 .Measured(35, 700, 73, -80, -5, 1)
                 .Measured(40, 1825, 73, NAN, NAN)
                 .Measured(50, 1825, 74, -110.0625, -15.25)
                 .Measured(45, 1825, 73, -60, -3);
         },
         "| pci 73 earfcn 1825 first 0-40 n=5 -99.875/-11.125; pci 74 earfcn 1825 unknown 50-50 n=1 "
         "-110.0625/-15.25;"},
        // In a connection the target of a handover under way is measured before the complete.
        {"a connection changes its primary cell only by a handover",
         [](cSequence& s) {
             s.RRC(0, OTA_LTE_UL_CCCH, kConnectionRequest, 193, 1825)
                 .RRC(50, OTA_LTE_UL_DCCH, kSetupComplete, 193, 1825)
                 .Measured(100, 1825, 193, -110, -15)
                 .RRC(400, OTA_LTE_DL_DCCH, kHandoverCommand, 193, 1825)
                 .Measured(420, 1825, 216, -100, -10)
                 .RRC(430, OTA_LTE_UL_DCCH, kReconfigurationComplete, 216, 1825);
         },
         "0 rrc_idle rrc_connection_request; 0 rrc_connection_request cause mo signalling; 50 rrc_connected "
         "rrc_connection_setup_complete; 400 handover pci 193 earfcn 1825 -> pci 216 earfcn 1825; | pci 193 "
         "earfcn 1825 first 0-400 n=1 -110/-15; pci 216 earfcn 1825 handover 420-430 n=1 -100/-10;"},
        // An NR cell change is never guessed; an NR period ends with the last NR evidence of it.
        {"the NR leg has its own periods",
         [](cSequence& s) {
             s.RRC(0, OTA_LTE_DL_DCCH, kReconfiguration, 10, 100)
                 .Serving(10, 504990, 245, 0, RADIO_NR)
                 .Measured(20, 504990, 245, -90.0078125, -11.5, 0, RADIO_NR)
                 .RRC(500, OTA_LTE_UL_DCCH, "a0", 10, 100)  // SCG failure information NR
                 .Measured(600, 504990, 432, -95, -12, 0, RADIO_NR)
                 .RRC(900, OTA_LTE_DL_DCCH, kReconfiguration, 10, 100);
         },
         "0 rrc_connected dedicated control channel message; nr 500 scg_failure; | nr pci 245 earfcn 504990 "
         "first 10-20 n=1 -90.0078125/-11.5; pci 10 earfcn 100 first 0-900; nr pci 432 earfcn 504990 unknown "
         "600-600 n=1 -95/-12;"},
    };
    for (const auto& c : cases) {
        cSequence s;
        c.mFeed(s);
        EXPECT_EQ(Summary(s.Finish()), c.mSummary) << c.mName;
    }
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
