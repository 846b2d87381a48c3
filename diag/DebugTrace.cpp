// The debug-trace views of subsystem dispatch (subsystem 37).
#include <new>

#include "diag/SubsystemCmd.h"
#include "diag/WireFormat.h"

namespace {

const unsigned int STATUS_OFFSET = 4;  // 32-bit status of every response but GetItem's
const unsigned int INFO_COUNT_OFFSET = 8;
const unsigned int INFO_TIMESTAMPS_OFFSET = 9;
const unsigned int RANGE_OFFSET = 8;
const unsigned int ITEM_KIND_OFFSET = 8;
const unsigned int ITEM_STATUS_OFFSET = 9;  // unaligned
const unsigned int ITEM_OFFSET = 13;

const unsigned int ITEM_KIND_MESSAGE = 1;
const unsigned int ITEM_KIND_LOG = 2;
const unsigned int ITEM_KIND_EVENT = 4;

}  // namespace

// Every view below: construction narrows the base's validity by the view's rule, and Validate() reruns
// the base's Validate() and then the same rule.
#define PALVORIN_DEBUG_TRACE_VALIDATION(View)                       \
    View::View(sSharedBuffer* buffer) : sDiagSubsystemCmd(buffer) { \
        mValid = mValid && IsWellFormed();                          \
    }                                                               \
    bool View::Validate() {                                         \
        mValid = sDiagSubsystemCmd::Validate() && IsWellFormed();   \
        return mValid;                                              \
    }

PALVORIN_DEBUG_TRACE_VALIDATION(sDiagDbgSSGetInfoRsp)
PALVORIN_DEBUG_TRACE_VALIDATION(sDiagDbgSSGetRangeReq)
PALVORIN_DEBUG_TRACE_VALIDATION(sDiagDbgSSGetRangeRsp)
PALVORIN_DEBUG_TRACE_VALIDATION(sDiagDbgSSGetItemReq)
PALVORIN_DEBUG_TRACE_VALIDATION(sDiagDbgSSGetItemRsp)
PALVORIN_DEBUG_TRACE_VALIDATION(sDiagDbgSSClearReq)
PALVORIN_DEBUG_TRACE_VALIDATION(sDiagDbgSSClearRsp)

#undef PALVORIN_DEBUG_TRACE_VALIDATION

// GetInfo response ---------------------------------------------------------------------------------------

bool sDiagDbgSSGetInfoRsp::IsWellFormed() const {
    if (!IsDebugTrace(DEBUG_TRACE_GET_INFO) || Size() <= INFO_COUNT_OFFSET) {
        return false;
    }
    const unsigned int count = Bytes()[INFO_COUNT_OFFSET];
    if (ReadU32(Bytes() + STATUS_OFFSET) != 0 || count == 0) {
        return true;
    }
    return Size() == INFO_TIMESTAMPS_OFFSET + 8 * count;
}

bool sDiagDbgSSGetInfoRsp::GetStatus() const {
    return IsValid() && ReadU32(Bytes() + STATUS_OFFSET) == 0;
}

bool sDiagDbgSSGetInfoRsp::GetTimestamps(std::vector<unsigned long long>& out) const {
    if (!GetStatus()) {
        return false;
    }
    const unsigned int count = Bytes()[INFO_COUNT_OFFSET];
    for (unsigned int i = 0; i < count; ++i) {
        out.push_back(ReadU64(Bytes() + INFO_TIMESTAMPS_OFFSET + 8 * i));
    }
    return true;
}

// GetRange -----------------------------------------------------------------------------------------------

bool sDiagDbgSSGetRangeReq::IsWellFormed() const {
    return IsDebugTrace(DEBUG_TRACE_GET_RANGE) && Size() == 5;
}

sSharedBuffer* sDiagDbgSSGetRangeReq::BuildRequest(unsigned char parameter) {
    return BuildCmd(DIAG_SUBSYS_DEBUG_TRACE, DEBUG_TRACE_GET_RANGE, true, &parameter, 1, false, false);
}

bool sDiagDbgSSGetRangeRsp::IsWellFormed() const {
    return IsDebugTrace(DEBUG_TRACE_GET_RANGE) && Size() == 12;
}

bool sDiagDbgSSGetRangeRsp::GetRange(unsigned int& range) const {
    if (!IsValid() || ReadU32(Bytes() + STATUS_OFFSET) != 0) {
        return false;
    }
    range = ReadU32(Bytes() + RANGE_OFFSET);
    return true;
}

// GetItem ------------------------------------------------------------------------------------------------

bool sDiagDbgSSGetItemReq::IsWellFormed() const {
    return IsDebugTrace(DEBUG_TRACE_GET_ITEM) && Size() == 8;
}

sSharedBuffer* sDiagDbgSSGetItemReq::BuildRequest(unsigned int selector) {
    unsigned char bytes[4];
    WriteU32(bytes, selector);
    return BuildCmd(DIAG_SUBSYS_DEBUG_TRACE, DEBUG_TRACE_GET_ITEM, true, bytes, sizeof bytes, false, false);
}

bool sDiagDbgSSGetItemRsp::IsWellFormed() const {
    return IsDebugTrace(DEBUG_TRACE_GET_ITEM) && Size() >= ITEM_OFFSET;
}

bool sDiagDbgSSGetItemRsp::GetStatus() const {
    return IsValid() && ReadU32(Bytes() + ITEM_STATUS_OFFSET) == 0;
}

bool sDiagDbgSSGetItemRsp::HasKind(unsigned int kind) const {
    return GetStatus() && Bytes()[ITEM_KIND_OFFSET] == kind;
}

bool sDiagDbgSSGetItemRsp::IsMessage() const {
    return HasKind(ITEM_KIND_MESSAGE);
}
bool sDiagDbgSSGetItemRsp::IsLog() const {
    return HasKind(ITEM_KIND_LOG);
}
bool sDiagDbgSSGetItemRsp::IsEvent() const {
    return HasKind(ITEM_KIND_EVENT);
}

sSharedBuffer* sDiagDbgSSGetItemRsp::GetItem() const {
    if (!GetStatus() || Size() == ITEM_OFFSET) {
        return nullptr;
    }
    sSharedBuffer* item = new (std::nothrow)
        sSharedBuffer(Bytes() + ITEM_OFFSET, Size() - ITEM_OFFSET, PROTOCOL_DIAG_FROM_DEVICE);
    if (item != nullptr && item->mData == nullptr) {  // the copy could not be allocated
        delete item;
        item = nullptr;
    }
    return item;
}

// Clear --------------------------------------------------------------------------------------------------

bool sDiagDbgSSClearReq::IsWellFormed() const {
    return IsDebugTrace(DEBUG_TRACE_CLEAR) && Size() == 5;
}

sSharedBuffer* sDiagDbgSSClearReq::BuildRequest(unsigned char parameter) {
    return BuildCmd(DIAG_SUBSYS_DEBUG_TRACE, DEBUG_TRACE_CLEAR, true, &parameter, 1, false, false);
}

bool sDiagDbgSSClearRsp::IsWellFormed() const {
    return IsDebugTrace(DEBUG_TRACE_CLEAR) && Size() == 8;
}

bool sDiagDbgSSClearRsp::GetStatus() const {
    unsigned int length = 0;
    const unsigned char* data = GetData(length);
    return data != nullptr && ReadU32(data) == 0;
}
