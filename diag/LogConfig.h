// Log configuration (command code 115: per equipment, 32-bit fields, masks least significant bit first)
// and extended log mask (command code 93: equipment 1 only, 16-bit bit count, masks most significant bit
// first) requests and responses. Requests have protocol type 4, responses protocol type 3.
//
// Log configuration request: 0: 115; 1: 3 reserved bytes; 4: operation; 8: equipment id (operations 3, 4);
//   12: bit count (operation 3); 16: mask (operation 3).
// Log configuration response: 0: 115; 4: operation; 8: status (0, 1 or 2; 0 success);
//   operation 1: 12: sixteen 32-bit values, one per equipment id;
//   operation 4: 12: equipment id; 16: bit count; 20: mask.
// Extended log mask request and response: 0: 93; 1: 16-bit bit count; 3: mask of equipment 1.
#pragma once

#include <map>
#include <set>

#include "diag/ProtocolBuffer.h"

enum eLogConfigOp : unsigned int {
    LOG_CONFIG_DISABLE = 0,
    LOG_CONFIG_GET_RANGES = 1,  // 2 is not used and is rejected
    LOG_CONFIG_SET_MASK = 3,
    LOG_CONFIG_GET_MASK = 4,
    LOG_CONFIG_OP_INVALID = 5,  // 5 and above are invalid; also the answer of an invalid view
};

struct sDiagLogConfigReq : sDiagBuffer {
    explicit sDiagLogConfigReq(sSharedBuffer* buffer);
    bool Validate() override;

    // The operation, or LOG_CONFIG_OP_INVALID.
    unsigned int GetRequestedOp() const;
    // Operations 3 and 4.
    bool GetEquipIDForReq(eLogEquipID& equipment) const;
    // Operation 3: the mask inside the packet, with its bit count and equipment; else null.
    const unsigned char* GetLogMask(unsigned int& bitCount, eLogEquipID& equipment) const;
    // Operation 3: adds the codes of the mask to `codes` (not cleared first).
    bool GetRequestedLogCodes(unsigned int& bitCount, eLogEquipID& equipment,
                              std::set<unsigned int>& codes) const;

    // Each builder returns a new buffer (protocol type 4, reference count 0) owned by the caller, or null
    // for arguments out of range or when memory runs out.
    static sSharedBuffer* BuildDisableLoggingReq();
    static sSharedBuffer* BuildGetRangesReq();
    static sSharedBuffer* BuildGetMaskReq(eLogEquipID equipment);
    static sSharedBuffer* BuildSetMaskReq(unsigned int bitCount, eLogEquipID equipment,
                                          const std::set<unsigned int>& codes);
};

struct sDiagLogConfigRsp : sDiagBuffer {
    explicit sDiagLogConfigRsp(sSharedBuffer* buffer);
    bool Validate() override;

    bool GetStatus() const;
    // Operation 1 with status 0.
    bool DoesContainBits() const;
    // Operation 4 with status 0.
    bool DoesContainLogMask() const;
    // Operation 1 with status 0: the sixteen values by equipment id; otherwise empty.
    std::map<eLogEquipID, unsigned int> GetSupportedBits() const;
    // Operation 4 with status 0: the mask inside the packet, with its bit count and equipment; else null.
    const unsigned char* GetLogMask(unsigned int& bitCount, eLogEquipID& equipment) const;
    // Operation 4 with status 0: adds the codes of the mask to `codes` (nothing for a bit count above 4096
    // or an equipment id above 15).
    bool GetValidLogCodes(unsigned int& bitCount, eLogEquipID& equipment,
                          std::set<unsigned int>& codes) const;

private:
    bool HasOpAndSuccess(unsigned int operation) const;
};

struct sDiagLogMaskExReq : sDiagBuffer {
    explicit sDiagLogMaskExReq(sSharedBuffer* buffer);
    bool Validate() override;

    bool DoesContainLogMask() const;
    // The requested bit count, or 0.
    unsigned int GetRequestedBits() const;
    const unsigned char* GetLogMask(unsigned int& bitCount) const;
    // Adds the codes of the mask to `codes` (not cleared first).
    bool GetRequestedLogCodes(unsigned int& bitCount, std::set<unsigned int>& codes) const;

    // Each builder returns a new buffer (protocol type 4, reference count 0) owned by the caller, or null
    // for a bit count outside 1..4096 or when memory runs out.
    static sSharedBuffer* BuildGetBitCountReq();
    static sSharedBuffer* BuildSetMaskReq(unsigned int bitCount, const std::set<unsigned int>& codes);
};

struct sDiagLogMaskExRsp : sDiagBuffer {
    explicit sDiagLogMaskExRsp(sSharedBuffer* buffer);
    bool Validate() override;

    bool DoesContainLogMask() const;
    // The supported bit count, or 0 (also for the one-byte response).
    unsigned int GetSupportedBits() const;
    const unsigned char* GetLogMask(unsigned int& bitCount) const;
    // Adds the codes of the mask to `codes` (not cleared first).
    bool GetValidLogCodes(unsigned int& bitCount, std::set<unsigned int>& codes) const;
};
