// Arbitrary bytes wrapped as a packet of each protocol type 0 to 5 and read through every packet view and
// every accessor, OTA types included. The bytes are copied into an array of exactly their size, as a native
// caller may hand over (no zeroed tail), so that any read past the packet fails. A reference a view fails
// to give back shows up as a leak.
#include <cstddef>
#include <cstdint>
#include <set>
#include <vector>

#include "diag/DiagLog.h"
#include "diag/LogConfig.h"
#include "diag/SubsystemCmd.h"
#include "fuzz/FuzzSupport.h"

namespace {

void ReadSubsystem(sSharedBuffer* buffer) {
    unsigned int value = 0;
    eDiagSubsysID id;
    std::vector<unsigned long long> timestamps;
    sDiagSubsystemCmd cmd(buffer);
    cmd.GetHeader();
    cmd.GetRspHeader();
    cmd.GetSubsystemDispatch(id, value);
    cmd.GetData(value);
    sDiagDbgSSGetInfoRsp(buffer).GetTimestamps(timestamps);
    sDiagDbgSSGetInfoRsp(buffer).GetStatus();
    sDiagDbgSSGetRangeRsp(buffer).GetRange(value);
    sDiagDbgSSClearRsp(buffer).GetStatus();
    sDiagDbgSSGetItemRsp item(buffer);
    item.IsMessage();
    item.IsLog();
    item.IsEvent();
    if (sSharedBuffer* embedded = item.GetItem()) {
        sDiagLog(embedded).GetLogCode();  // the item store's next step; the view frees the item
    }
    sDiagDbgSSGetRangeReq rangeReq(buffer);
    sDiagDbgSSGetItemReq itemReq(buffer);
    sDiagDbgSSClearReq clearReq(buffer);
}

void ReadLogConfig(sSharedBuffer* buffer) {
    unsigned int bits = 0;
    eLogEquipID equipment = LOG_EQUIP_FIRST;
    std::set<unsigned int> codes;
    sDiagLogConfigReq req(buffer);
    req.GetRequestedOp();
    req.GetEquipIDForReq(equipment);
    req.GetLogMask(bits, equipment);
    req.GetRequestedLogCodes(bits, equipment, codes);
    sDiagLogConfigRsp rsp(buffer);
    rsp.GetStatus();
    rsp.DoesContainBits();
    rsp.DoesContainLogMask();
    rsp.GetSupportedBits();
    rsp.GetLogMask(bits, equipment);
    rsp.GetValidLogCodes(bits, equipment, codes);
    sDiagLogMaskExReq maskReq(buffer);
    maskReq.DoesContainLogMask();
    maskReq.GetRequestedBits();
    maskReq.GetLogMask(bits);
    maskReq.GetRequestedLogCodes(bits, codes);
    sDiagLogMaskExRsp maskRsp(buffer);
    maskRsp.DoesContainLogMask();
    maskRsp.GetSupportedBits();
    maskRsp.GetLogMask(bits);
    maskRsp.GetValidLogCodes(bits, codes);
}

void ReadLog(sSharedBuffer* buffer) {
    unsigned int length = 0;
    sDiagLog log(buffer);
    log.GetLog();
    log.GetTimestamp();
    log.GetLogCode();
    log.GetLogData(length);  // past a 4-byte log: not read
    sDiagOTALog ota(buffer);
    ota.GetOTAType();
    const unsigned int code = ota.GetLogCode();
    const unsigned char* payload = ota.GetLogData(length);
    if (ota.IsValid() && payload != nullptr) {
        ota.GetOTATypeCDMA(code, payload, length);
        ota.GetOTATypeCDMA1xEV(code, payload, length);
        ota.GetOTATypeGSM(code, payload, length);
        ota.GetOTATypeUMTS(code, payload, length);
        ota.GetOTATypeWCDMA(code, payload, length);
        ota.GetOTATypeUMB(code, payload, length);
        ota.GetOTATypeWLAN(code, payload, length);
    }
    sDiagOTALog copy(ota);
    sDiagLog other(nullptr);
    other = copy;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const unsigned int length =
        size > MAX_SHARED_BUFFER_SIZE ? MAX_SHARED_BUFFER_SIZE : static_cast<unsigned int>(size);
    for (unsigned int protocol = 0; protocol <= 5; ++protocol) {
        sSharedBuffer* buffer =
            new sSharedBuffer(length, ExactCopy(data, length).release(), protocol);  // adopts it
        buffer->AddRef();  // held here, so that it outlives the views
        sProtocolBuffer plain(buffer);
        sDiagBuffer(buffer).IsErrorResponse();
        ReadSubsystem(buffer);
        ReadLogConfig(buffer);
        ReadLog(buffer);
        buffer->Release();
    }
    return 0;
}
