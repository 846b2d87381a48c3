// Subsystem dispatch packets (command code 75, or 128 for the version whose responses carry a status
// header) and the request and response views of the debug-trace subsystem (id 37), which reads back items
// the device buffered.
//
//   offset 0: command code; 1: subsystem id; 2: 16-bit subsystem command; 4: command data.
//   A version-2 response (code 128, protocol type 3) has a 12-byte header: 4: 32-bit status (0 success),
//   8 and 10: two 16-bit fields; its data starts at 12.
#pragma once

#include <vector>

#include "diag/ProtocolBuffer.h"

// Debug-trace subsystem commands.
enum eDebugTraceCmd : unsigned int {
    DEBUG_TRACE_GET_INFO = 6,
    DEBUG_TRACE_GET_RANGE = 7,
    DEBUG_TRACE_GET_ITEM = 8,
    DEBUG_TRACE_CLEAR = 9,
};

struct sDiagSubsystemCmd : sDiagBuffer {
    // Valid when byte 0 is 128 and the size is at least 12 (protocol type 3) or 4 (protocol type 4), or
    // byte 0 is 75 and the size is at least 4.
    explicit sDiagSubsystemCmd(sSharedBuffer* buffer);
    bool Validate() override;

    // Start of the packet, or null.
    const unsigned char* GetHeader() const;
    // Offset 4 (the version-2 status header) of a protocol-type-3 packet whatever its code, or null.
    const unsigned char* GetRspHeader() const;
    // `id` is DIAG_SUBSYS_NONE unless the view is valid.
    bool GetSubsystemID(eDiagSubsysID& id) const;
    // `cmd` is left alone when the view is invalid.
    bool GetSubsystemCmd(unsigned int& cmd) const;
    bool GetSubsystemDispatch(eDiagSubsysID& id, unsigned int& cmd) const;
    // The command data inside the packet and its length; null when there is none, when the view is
    // invalid, or for a version-2 response whose status is not 0.
    const unsigned char* GetData(unsigned int& length) const;

    // A dispatch packet with up to 8208 - header bytes of `payload`; the 12-byte header (version 2
    // response) has status 0 and `flag` in both 16-bit fields. Protocol type 4 for a request, else 3.
    // Returns a new buffer with reference count 0, owned by the caller, or null when memory runs out.
    static sSharedBuffer* BuildCmd(unsigned int subsystemId, unsigned int subsystemCmd, bool request,
                                   const unsigned char* payload, unsigned int length, bool version2,
                                   bool flag);

protected:
    // The debug-trace rule shared by the views below: subsystem 37 and the given command.
    bool IsDebugTrace(unsigned int cmd) const;
};

// The debug-trace views read their fields at fixed offsets from the start of the packet (the device
// answers with code 75; a code-128 response would be read at the same offsets, which is kept).
// Each validates as sDiagSubsystemCmd, then subsystem 37, its command and its size rule.

// GetInfo response: 4: 32-bit status; 8: count; 9: count 64-bit timestamps.
struct sDiagDbgSSGetInfoRsp : sDiagSubsystemCmd {
    explicit sDiagDbgSSGetInfoRsp(sSharedBuffer* buffer);
    bool Validate() override;
    bool GetStatus() const;
    // Appends the timestamps in packet order (`out` is not cleared); false when invalid or the status is
    // not 0, true otherwise, also for a count of 0.
    bool GetTimestamps(std::vector<unsigned long long>& out) const;

private:
    bool IsWellFormed() const;
};

// GetRange request: 4: 8-bit parameter.
struct sDiagDbgSSGetRangeReq : sDiagSubsystemCmd {
    explicit sDiagDbgSSGetRangeReq(sSharedBuffer* buffer);
    bool Validate() override;
    // New buffer, reference count 0, owned by the caller.
    static sSharedBuffer* BuildRequest(unsigned char parameter);

private:
    bool IsWellFormed() const;
};

// GetRange response: 4: 32-bit status; 8: 32-bit range.
struct sDiagDbgSSGetRangeRsp : sDiagSubsystemCmd {
    explicit sDiagDbgSSGetRangeRsp(sSharedBuffer* buffer);
    bool Validate() override;
    bool GetRange(unsigned int& range) const;

private:
    bool IsWellFormed() const;
};

// GetItem request: 4: 32-bit item selector.
struct sDiagDbgSSGetItemReq : sDiagSubsystemCmd {
    explicit sDiagDbgSSGetItemReq(sSharedBuffer* buffer);
    bool Validate() override;
    // New buffer, reference count 0, owned by the caller.
    static sSharedBuffer* BuildRequest(unsigned int selector);

private:
    bool IsWellFormed() const;
};

// GetItem response: 8: item kind (1 message, 2 log, 4 event); 9: 32-bit status; 13: the item, a complete
// diagnostic packet, to the end.
struct sDiagDbgSSGetItemRsp : sDiagSubsystemCmd {
    explicit sDiagDbgSSGetItemRsp(sSharedBuffer* buffer);
    bool Validate() override;
    bool IsMessage() const;
    bool IsLog() const;
    bool IsEvent() const;
    bool GetStatus() const;
    // A copy of the embedded item (protocol type 3), reference count 0, owned by the caller; null when
    // invalid, the status is not 0 or no item follows.
    sSharedBuffer* GetItem() const;

private:
    bool IsWellFormed() const;
    bool HasKind(unsigned int kind) const;
};

// Clear request: 4: 8-bit parameter.
struct sDiagDbgSSClearReq : sDiagSubsystemCmd {
    explicit sDiagDbgSSClearReq(sSharedBuffer* buffer);
    bool Validate() override;
    // New buffer, reference count 0, owned by the caller.
    static sSharedBuffer* BuildRequest(unsigned char parameter);

private:
    bool IsWellFormed() const;
};

// Clear response: 4: 32-bit status.
struct sDiagDbgSSClearRsp : sDiagSubsystemCmd {
    explicit sDiagDbgSSClearRsp(sSharedBuffer* buffer);
    bool Validate() override;
    bool GetStatus() const;

private:
    bool IsWellFormed() const;
};
