#include "diag/OTACodes.h"

eOTATechnology OTATechnologyOf(unsigned int logCode) {
    // clang-format off
    switch (logCode) {
        case 0x1004: case 0x1005: case 0x1006: case 0x1007: case 0x1008:  // 4100 to 4104
        case 0x1090: case 0x1091:                                          // 4240, 4241
        case 0x10D6: case 0x10D7: case 0x10D8:                             // 4310 to 4312
        case 0x1388: case 0x1389:                                          // 5000, 5001 (not 5002)
        case 0x138B: case 0x138C: case 0x138D:                             // 5003 to 5005
            return OTA_CDMA;
        case 0x1076: case 0x1077: case 0x1078: case 0x1079:  // 4214 to 4217
        case 0x107C:                                          // 4220
        case 0x1085: case 0x1086:                             // 4229, 4230
            return OTA_CDMA1XEV;
        case 0x512F: case 0x5226: case 0x5230:  // 20783, 21030, 21040
            return OTA_GSM;
        case 0x713A: case 0x7B3A:  // 28986, 31546
            return OTA_UMTS;
        case 0x412F:  // 16687
            return OTA_WCDMA;
        case 0x141B: case 0x141C:  // 5147, 5148
            return OTA_UMB;
        case 0x149F:  // 5279
            return OTA_WLAN;
        case 0x1048: case 0x1049: case 0x104C: case 0x104D: case 0x1052: case 0x1053:
        case 0xA000:
        case 0xA100: case 0xA101: case 0xA102: case 0xA103:
            return OTA_UNCLASSIFIED;
        default:
            return OTA_NONE;
    }
    // clang-format on
}
