// Fixed names of extraction statuses and message kinds, for summaries and dumps.
#include "ota/OTAExtractor.h"

namespace {

const char* const kStatusNames[] = {
    "message",         "not a signalling log", "unsupported version", "failed length check",
    "unknown channel", "segment held",         "incomplete segments",
};
static_assert(sizeof kStatusNames / sizeof kStatusNames[0] == OTA_EXTRACT_STATUS_COUNT, "one name a status");

template <size_t N>
const char* Pick(const char* const (&names)[N], unsigned int index) {
    return index < N ? names[index] : "unknown";
}

const char* const kGSMRR[] = {"GSM RR DCCH",    "GSM RR BCCH",    "GSM RR RACH",
                              "GSM RR CCCH",    "GSM RR SACCH",   "GSM RR SDCCH",
                              "GSM RR FACCH/F", "GSM RR FACCH/H", "GSM RR RACH without delay"};
const char* const kWCDMA[] = {"WCDMA RRC UL-CCCH", "WCDMA RRC UL-DCCH",  "WCDMA RRC DL-CCCH",
                              "WCDMA RRC DL-DCCH", "WCDMA RRC BCCH-BCH", "WCDMA RRC BCCH-FACH",
                              "WCDMA RRC PCCH",    "WCDMA RRC MCCH",     "WCDMA RRC MSCH"};
// By the SIB-Type enumeration value (OTA_WCDMA_SIB_EXTENSION_TYPE last).
const char* const kWCDMASIB[] = {
    "WCDMA RRC MasterInformationBlock", "WCDMA RRC SysInfoType1",          "WCDMA RRC SysInfoType2",
    "WCDMA RRC SysInfoType3",           "WCDMA RRC SysInfoType4",          "WCDMA RRC SysInfoType5",
    "WCDMA RRC SysInfoType6",           "WCDMA RRC SysInfoType7",          "WCDMA RRC SysInfoType8",
    "WCDMA RRC SysInfoType9",           "WCDMA RRC SysInfoType10",         "WCDMA RRC SysInfoType11",
    "WCDMA RRC SysInfoType12",          "WCDMA RRC SysInfoType13",         "WCDMA RRC SysInfoType13-1",
    "WCDMA RRC SysInfoType13-2",        "WCDMA RRC SysInfoType13-3",       "WCDMA RRC SysInfoType13-4",
    "WCDMA RRC SysInfoType14",          "WCDMA RRC SysInfoType15",         "WCDMA RRC SysInfoType15-1",
    "WCDMA RRC SysInfoType15-2",        "WCDMA RRC SysInfoType15-3",       "WCDMA RRC SysInfoType16",
    "WCDMA RRC SysInfoType17",          "WCDMA RRC SysInfoType15-4",       "WCDMA RRC SysInfoType18",
    "WCDMA RRC SysInfoTypeSB1",         "WCDMA RRC SysInfoTypeSB2",        "WCDMA RRC SysInfoType15-5",
    "WCDMA RRC SysInfoType5bis",        "WCDMA RRC SysInfo extension type"};
static_assert(sizeof kWCDMASIB / sizeof kWCDMASIB[0] == OTA_WCDMA_SIB_EXTENSION_TYPE + 1u, "one name a type");
const char* const kLTERRC[] = {"LTE RRC BCCH-BCH",       "LTE RRC BCCH-DL-SCH", "LTE RRC MCCH",
                               "LTE RRC PCCH",           "LTE RRC DL-CCCH",     "LTE RRC DL-DCCH",
                               "LTE RRC UL-CCCH",        "LTE RRC UL-DCCH",     "LTE RRC BCCH-BCH-NB",
                               "LTE RRC BCCH-DL-SCH-NB", "LTE RRC PCCH-NB",     "LTE RRC DL-CCCH-NB",
                               "LTE RRC DL-DCCH-NB",     "LTE RRC UL-CCCH-NB",  "LTE RRC UL-DCCH-NB"};
const char* const kNRRRC[] = {"NR RRC BCCH-BCH",
                              "NR RRC BCCH-DL-SCH",
                              "NR RRC DL-CCCH",
                              "NR RRC DL-DCCH",
                              "NR RRC MCCH",
                              "NR RRC PCCH",
                              "NR RRC UL-CCCH",
                              "NR RRC UL-CCCH1",
                              "NR RRC UL-DCCH",
                              "NR RRC RRCReconfiguration",
                              "NR RRC RRCReconfigurationComplete",
                              "NR RRC RadioBearerConfig",
                              "NR RRC UE-MRDC-Capability",
                              "NR RRC UE-NR-Capability"};
// By kind (mobility, session), plain then protected.
const char* const kLTENAS[] = {"LTE NAS EMM", "LTE NAS ESM", "LTE NAS EMM protected",
                               "LTE NAS ESM protected"};
const char* const kNRNAS[] = {"NR NAS 5GMM", "NR NAS 5GSM", "NR NAS 5GMM protected", "NR NAS 5GSM protected"};

const uint16_t kGPRSGMMCode = 0x5230;

}  // namespace

const char* OTAExtractStatusName(eOTAExtractStatus status) {
    return Pick(kStatusNames, status);
}

const char* OTAMessageKindName(const sOTAMessage& message) {
    const unsigned int nasIndex = message.mChannel + (message.mSecurityProtected ? 2u : 0u);
    switch (message.mProtocol) {
        case OTA_PROTOCOL_GSM_RR:
            return Pick(kGSMRR, message.mChannel);
        case OTA_PROTOCOL_GPRS_MAC:
            return "GPRS RLC/MAC control";
        case OTA_PROTOCOL_GSM_L3:
            return message.mLogCode == kGPRSGMMCode ? "GPRS GMM/SM" : "UMTS NAS";
        case OTA_PROTOCOL_WCDMA_RRC:
            if (message.mChannel != OTA_WCDMA_SIB) {
                return Pick(kWCDMA, message.mChannel);
            }
            if (message.mSIBType == OTA_WCDMA_SIB11BIS) {
                return "WCDMA RRC SysInfoType11bis";
            }
            if (message.mSIBType == OTA_WCDMA_SIB19) {
                return "WCDMA RRC SysInfoType19";
            }
            return Pick(kWCDMASIB, message.mSIBType);
        case OTA_PROTOCOL_LTE_RRC:
            return Pick(kLTERRC, message.mChannel);
        case OTA_PROTOCOL_LTE_NAS:
            return message.mChannel <= OTA_NAS_SESSION ? Pick(kLTENAS, nasIndex) : "unknown";
        case OTA_PROTOCOL_NR_RRC:
            return Pick(kNRRRC, message.mChannel);
        case OTA_PROTOCOL_NR_NAS:
            return message.mChannel <= OTA_NAS_SESSION ? Pick(kNRNAS, nasIndex) : "unknown";
        default:
            return "none";
    }
}
