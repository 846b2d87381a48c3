// Arbitrary bytes wrapped as a packet of each protocol type 0 to 5 and read through every packet view and
// every accessor, OTA types included. The bytes are copied into a buffer of the library, so they carry the
// zeroed guard tail that the views' deliberately unguarded fixed-offset reads rely on. Also a round trip of
// log codes through a mask.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <set>
#include <vector>

#include "diag/DiagLog.h"
#include "diag/LogConfig.h"
#include "diag/LogMask.h"
#include "diag/SubsystemCmd.h"

namespace {

void Check(bool condition) {
    if (!condition) {
        abort();
    }
}

void ReadSubsystem(sSharedBuffer* buffer) {
    sDiagSubsystemCmd cmd(buffer);
    eDiagSubsysID id;
    unsigned int value = 0;
    unsigned int length = 0;
    cmd.GetHeader();
    cmd.GetRspHeader();
    Check(cmd.GetSubsystemDispatch(id, value) == cmd.IsValid());
    const unsigned char* data = cmd.GetData(length);
    Check(data == nullptr || (data > buffer->mData && data + length == buffer->mData + buffer->mSize));

    std::vector<unsigned long long> timestamps;
    sDiagDbgSSGetInfoRsp info(buffer);
    info.GetStatus();
    info.GetTimestamps(timestamps);
    sDiagDbgSSGetRangeRsp range(buffer);
    range.GetRange(value);
    sDiagDbgSSGetItemRsp item(buffer);
    item.IsMessage();
    item.IsLog();
    item.IsEvent();
    sSharedBuffer* embedded = item.GetItem();
    if (embedded != nullptr) {
        Check(embedded->mSize + 13 == buffer->mSize && embedded->mRefCount == 0);
        sDiagLog log(embedded);  // the item store's next step
        log.GetLogCode();
    }
    sDiagDbgSSClearRsp clear(buffer);
    clear.GetStatus();
    sDiagDbgSSGetRangeReq rangeReq(buffer);
    sDiagDbgSSGetItemReq itemReq(buffer);
    sDiagDbgSSClearReq clearReq(buffer);
    Check(!rangeReq.IsValid() || buffer->mSize == 5);
    Check(!itemReq.IsValid() || buffer->mSize == 8);
    Check(!clearReq.IsValid() || buffer->mSize == 5);
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
    for (unsigned int code : codes) {
        Check((code >> 12) == equipment && (code & 0xFFF) < bits);
    }

    sDiagLogConfigRsp rsp(buffer);
    rsp.GetStatus();
    rsp.DoesContainBits();
    rsp.DoesContainLogMask();
    Check(rsp.GetSupportedBits().size() == (rsp.DoesContainBits() ? 16u : 0u));
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
    sDiagLog log(buffer);
    log.GetLog();
    log.GetTimestamp();
    unsigned int length = 0;
    const unsigned char* logData = log.GetLogData(length);  // not read: it lies past a 4-byte log
    if (log.IsValid() && buffer->mSize >= 16) {
        Check(length == buffer->mSize - 16 && (logData == nullptr) == (length == 0));
    }

    sDiagOTALog ota(buffer);
    const unsigned int code = ota.GetLogCode();
    const std::vector<unsigned int> type = ota.GetOTAType();
    Check(type.size() <= 3 && (ota.IsValid() || type.empty()));
    const unsigned char* payload = ota.GetLogData(length);
    if (ota.IsValid() && payload != nullptr) {
        ota.ValidateCDMA(code, payload, length);
        ota.ValidateCDMA1xEV(code, payload, length);
        ota.ValidateGSM(code, payload, length);
        ota.ValidateUMTS(code, payload, length);
        ota.ValidateWCDMA(code, payload, length);
        ota.ValidateUMB(code, payload, length);
        ota.ValidateWLAN(code, payload, length);
        ota.GetOTATypeCDMA(code, payload, length);
        ota.GetOTATypeCDMA1xEV(code, payload, length);
        ota.GetOTATypeGSM(code, payload, length);
        ota.GetOTATypeUMTS(code, payload, length);
        ota.GetOTATypeWCDMA(code, payload, length);
        ota.GetOTATypeUMB(code, payload, length);
        ota.GetOTATypeWLAN(code, payload, length);
    }
    Check(ota.Validate() == ota.IsValid() && (!ota.IsValid() || log.IsValid()));
    // Copies and assignments between views of the same buffer; the second assignment adds one reference
    // that outlives the views (deliberate).
    sDiagOTALog copy(ota);
    sDiagLog other(nullptr);
    other = log;
    other = copy;
    Check(copy.IsValid() == ota.IsValid() && other.GetLogCode() == ota.GetLogCode());
}

// Codes from the input through a mask and back: exactly those of the equipment below the bit count.
void MaskRoundTrip(const uint8_t* data, size_t size) {
    if (size < 3) {
        return;
    }
    const eLogEquipID equipment = static_cast<eLogEquipID>(data[0] & 0xF);
    const unsigned int bits = 1 + ((data[1] | (data[2] << 8)) & 0xFFF);
    std::set<unsigned int> codes;
    for (size_t i = 3; i + 1 < size; i += 2) {
        codes.insert(data[i] | (data[i + 1] << 8));
    }
    for (bool reverse : {false, true}) {
        unsigned char mask[512];
        BuildLogMaskFromCodes(mask, bits, equipment, codes, reverse);
        std::set<unsigned int> back;
        BuildLogCodesFromMask(mask, bits, equipment, back, reverse);
        std::set<unsigned int> expected;
        for (unsigned int code : codes) {
            if ((code >> 12) == equipment && (code & 0xFFF) < bits) {
                expected.insert(code);
            }
        }
        Check(back == expected);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const unsigned int length =
        size > MAX_SHARED_BUFFER_SIZE ? MAX_SHARED_BUFFER_SIZE : static_cast<unsigned int>(size);
    for (unsigned int protocol = 0; protocol <= 5; ++protocol) {
        sSharedBuffer* buffer = new sSharedBuffer(data, length, protocol);
        buffer->AddRef();  // held here, so that the views' references can be counted
        {
            sProtocolBuffer plain(buffer);
            Check(plain.IsValid() == IsUsableBuffer(buffer));
            sDiagBuffer diag(buffer);
            diag.IsErrorResponse();
            ReadSubsystem(buffer);
            ReadLogConfig(buffer);
            ReadLog(buffer);
        }
        // Every view gave its reference back, but for the one the same-buffer assignment deliberately adds.
        const unsigned int expected = IsUsableBuffer(buffer) ? 2 : 1;
        Check(buffer->mRefCount == expected);
        for (unsigned int i = 0; i < expected; ++i) {
            buffer->Release();
        }
    }
    MaskRoundTrip(data, size);
    return 0;
}
