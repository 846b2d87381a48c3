// Radio measurements, cell information and RRC states as the modem's measurement and state logs give
// them: small fixed records that the measurement extractor (meas/MeasExtractor.h) fills from one log
// packet, with values converted to dBm and dB. A value a log does not give, or gives as "not measured",
// or gives outside its physical range, is not a number (NaN) or has its presence bit clear.
#pragma once

#include <cstddef>
#include <cstdint>

enum eRadioTechnology : uint8_t {
    RADIO_UNKNOWN = 0,
    RADIO_LTE,
    RADIO_NR,
    RADIO_WCDMA,
    RADIO_GSM,
};

// "lte", "nr", "wcdma", "gsm"; "" for RADIO_UNKNOWN.
const char* RadioTechnologyName(eRadioTechnology technology);

// What a log told.
enum eMeasKind : uint8_t {
    MEAS_KIND_NONE = 0,
    MEAS_KIND_SERVING_CELL,  // the serving cell's identity (mCellInfo)
    MEAS_KIND_MIB,           // a cell's master information block (mCellInfo): read during search and
                             // reselection too, so it is not by itself proof of the serving cell
    MEAS_KIND_MEASUREMENT,   // measured cells (mCells)
    MEAS_KIND_RRC_STATE,     // RRC state changes (mStates)
};

// Which fields of an sCellInfo hold a value.
const uint32_t CELL_HAS_DL_CHANNEL = 1u << 0;
const uint32_t CELL_HAS_UL_CHANNEL = 1u << 1;
const uint32_t CELL_HAS_CELL = 1u << 2;      // mCell
const uint32_t CELL_HAS_IDENTITY = 1u << 3;  // mIdentity
const uint32_t CELL_HAS_AREA = 1u << 4;      // mArea
const uint32_t CELL_HAS_PLMN = 1u << 5;      // mMCC, mMNC, mMNCDigits
const uint32_t CELL_HAS_BAND = 1u << 6;
const uint32_t CELL_HAS_DL_BANDWIDTH = 1u << 7;
const uint32_t CELL_HAS_UL_BANDWIDTH = 1u << 8;

// One cell's identity as a serving-cell or MIB log gives it.
struct sCellInfo {
    uint32_t mFields = 0;     // CELL_HAS_* bits
    uint32_t mDLChannel = 0;  // EARFCN, NR-ARFCN, UARFCN or ARFCN of the downlink
    uint32_t mULChannel = 0;
    uint16_t mCell = 0;  // LTE/NR physical cell id, WCDMA primary scrambling code, GSM BSIC (NCC·8 + BCC)
    uint64_t mIdentity = 0;  // LTE 28-bit cell identity, NR 36-bit NCI, WCDMA 28-bit UC-Id, GSM 16-bit CI
    uint32_t mArea = 0;      // LTE/NR tracking area code, WCDMA/GSM location area code
    uint16_t mMCC = 0;
    uint16_t mMNC = 0;
    uint8_t mMNCDigits = 0;  // 2 or 3: the MNC is written with this many digits (a leading zero kept)
    uint16_t mBand = 0;      // frequency band number (LTE band, NR band n..., as the log gives it)
    double mDLBandwidthMHz = 0;
    double mULBandwidthMHz = 0;
};

// One measured cell. Every value is NaN where the log does not give it.
struct sMeasuredCell {
    eRadioTechnology mTechnology = RADIO_UNKNOWN;
    bool mServing = false;         // the serving cell (LTE: PCell or SCell), else a neighbour
    uint8_t mServingIndex = 0xFF;  // 0 PCell, 1.. SCell index, where the log gives one; 0xFF: not given
    bool mHasChannel = false;
    bool mHasCell = false;
    uint32_t mChannel = 0;  // EARFCN, NR-ARFCN, UARFCN or ARFCN
    uint16_t mCell = 0;     // PCI, PSC or BSIC
    double mRSRP;           // dBm (LTE, NR)
    double mRSRQ;           // dB (LTE, NR)
    double mRSSI;           // dBm (LTE)
    double mSINR;           // dB (LTE, NR)
    double mRSCP;           // dBm (WCDMA)
    double mEcIo;           // dB (WCDMA)
    double mRxLev;          // dBm (GSM)
    sMeasuredCell();        // every value NaN
};

// The coarse RRC state the timeline draws: idle or connected. Connecting and closing count with the
// state they lead from, as the detailed name keeps what the log said.
enum eRRCState : uint8_t {
    RRC_STATE_UNKNOWN = 0,
    RRC_STATE_IDLE,
    RRC_STATE_CONNECTING,
    RRC_STATE_CONNECTED,
    RRC_STATE_CLOSING,
};

struct sRRCStateChange {
    eRadioTechnology mTechnology = RADIO_UNKNOWN;
    eRRCState mState = RRC_STATE_UNKNOWN;
    uint8_t mRaw = 0;         // the value the log or event gave
    const char* mName = "";   // its name, e.g. "IDLE_CAMPED", "CELL_DCH" (a constant string)
    uint64_t mTimestamp = 0;  // the event's own diagnostic timestamp; 0: take the item's time
};

// Room in one record: no log of the known layouts carries more within the largest packet the library
// handles; cells past it are counted in sMeasLog::mCellsDropped, never read past the packet.
const size_t kMeasMaxCells = 256;
const size_t kMeasMaxStates = 32;

// Everything one measurement, cell or state log says.
struct sMeasLog {
    eMeasKind mKind = MEAS_KIND_NONE;
    eRadioTechnology mTechnology = RADIO_UNKNOWN;
    uint16_t mLogCode = 0;       // code of the log packet (inside any wrapper); 0 for an event report
    uint32_t mLogVersion = 0;    // the layout's version (0xB193 and its kin: the subpacket version)
    uint64_t mTimestamp = 0;     // the log header's diagnostic timestamp (jni/ISFTime.h converts it)
    uint32_t mSubscription = 0;  // 1-based SIM of a multi-SIM wrapper or dual-SIM log; 0: not given

    sCellInfo mCellInfo;  // MEAS_KIND_SERVING_CELL, MEAS_KIND_MIB

    size_t mCellCount = 0;  // MEAS_KIND_MEASUREMENT
    sMeasuredCell mCells[kMeasMaxCells];
    size_t mCellsDropped = 0;  // cells the log holds beyond kMeasMaxCells

    size_t mStateCount = 0;  // MEAS_KIND_RRC_STATE
    sRRCStateChange mStates[kMeasMaxStates];
    size_t mStatesDropped = 0;  // state changes the report holds beyond kMeasMaxStates

    // Values left out because they lay outside their physical range (RSRP outside -144..-44 dBm, an LTE
    // PCI above 503, ...): counted here, never clamped.
    unsigned int mOutOfRange = 0;

    // Back to an empty record without touching the arrays beyond their counts.
    void Clear();
};
