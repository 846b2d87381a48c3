// The ten payload choices that carry SIB data, each the sequence of parts its message holds.
#include "wcdma/SIMessage.h"
#include "wcdma/WCDMARRCAccumulator.h"

std::list<sSharedBuffer*> cWCDMARRCAccumulator::ProcessSIM1(sSharedBuffer* item,
                                                            unsigned long long timestamp) {
    cSIMessage message(*this, timestamp);
    if (message.Open(item, false)) {
        message.FirstSegment(message.First());
    }
    return message.TakeLogs();
}

std::list<sSharedBuffer*> cWCDMARRCAccumulator::ProcessSIM2(sSharedBuffer* item,
                                                            unsigned long long timestamp) {
    cSIMessage message(*this, timestamp);
    if (message.Open(item, false)) {
        message.NextSegment(message.First(), false);
    }
    return message.TakeLogs();
}

std::list<sSharedBuffer*> cWCDMARRCAccumulator::ProcessSIM3(sSharedBuffer* item,
                                                            unsigned long long timestamp) {
    cSIMessage message(*this, timestamp);
    if (message.Open(item, false)) {
        message.LastSegmentShort(message.First());
    }
    return message.TakeLogs();
}

std::list<sSharedBuffer*> cWCDMARRCAccumulator::ProcessSIM4(sSharedBuffer* item,
                                                            unsigned long long timestamp) {
    cSIMessage message(*this, timestamp);
    if (message.Open(item, false) && message.LeadingLastSegment(message.First())) {
        message.FirstSegmentShort();
    }
    return message.TakeLogs();
}

std::list<sSharedBuffer*> cWCDMARRCAccumulator::ProcessSIM5(sSharedBuffer* item,
                                                            unsigned long long timestamp) {
    cSIMessage message(*this, timestamp);
    if (message.Open(item, false) && message.LeadingLastSegment(message.First())) {
        message.CompleteSIBList();
    }
    return message.TakeLogs();
}

std::list<sSharedBuffer*> cWCDMARRCAccumulator::ProcessSIM6(sSharedBuffer* item,
                                                            unsigned long long timestamp) {
    cSIMessage message(*this, timestamp);
    if (message.Open(item, false) && message.LeadingLastSegment(message.First()) &&
        message.CompleteSIBList()) {
        message.FirstSegmentShort();
    }
    return message.TakeLogs();
}

std::list<sSharedBuffer*> cWCDMARRCAccumulator::ProcessSIM7(sSharedBuffer* item,
                                                            unsigned long long timestamp) {
    cSIMessage message(*this, timestamp);
    if (message.Open(item, true)) {
        message.CompleteSIBList(message.First());
    }
    return message.TakeLogs();
}

std::list<sSharedBuffer*> cWCDMARRCAccumulator::ProcessSIM8(sSharedBuffer* item,
                                                            unsigned long long timestamp) {
    cSIMessage message(*this, timestamp);
    if (message.Open(item, true) && message.CompleteSIBList(message.First())) {
        message.FirstSegmentShort();
    }
    return message.TakeLogs();
}

std::list<sSharedBuffer*> cWCDMARRCAccumulator::ProcessSIM9(sSharedBuffer* item,
                                                            unsigned long long timestamp) {
    cSIMessage message(*this, timestamp);
    if (message.Open(item, false)) {
        message.CompleteSIB(message.First());
    }
    return message.TakeLogs();
}

std::list<sSharedBuffer*> cWCDMARRCAccumulator::ProcessSIM10(sSharedBuffer* item,
                                                             unsigned long long timestamp) {
    cSIMessage message(*this, timestamp);
    if (message.Open(item, false)) {
        message.NextSegment(message.First(), true);
    }
    return message.TakeLogs();
}
