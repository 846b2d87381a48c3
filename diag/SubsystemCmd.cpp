#include "diag/SubsystemCmd.h"

#include <cstring>

#include "diag/WireFormat.h"

namespace {

const unsigned int HEADER_SIZE = 4;
const unsigned int V2_RSP_HEADER_SIZE = 12;

}  // namespace

sDiagSubsystemCmd::sDiagSubsystemCmd(sSharedBuffer* buffer) : sDiagBuffer(buffer) {
    sDiagSubsystemCmd::Validate();
}

bool sDiagSubsystemCmd::Validate() {
    if (!sDiagBuffer::Validate()) {
        return false;
    }
    const unsigned int size = Size();
    switch (Bytes()[0]) {
        case DIAG_CMD_SUBSYS_DISPATCH_V2:
            mValid = size >= (Protocol() == PROTOCOL_DIAG_FROM_DEVICE ? V2_RSP_HEADER_SIZE : HEADER_SIZE);
            break;
        case DIAG_CMD_SUBSYS_DISPATCH:
            mValid = size >= HEADER_SIZE;
            break;
        default:
            mValid = false;
    }
    return mValid;
}

const unsigned char* sDiagSubsystemCmd::GetHeader() const {
    return IsValid() ? Bytes() : nullptr;
}

const unsigned char* sDiagSubsystemCmd::GetRspHeader() const {
    return IsValid() && Protocol() == PROTOCOL_DIAG_FROM_DEVICE ? Bytes() + HEADER_SIZE : nullptr;
}

bool sDiagSubsystemCmd::GetSubsystemID(eDiagSubsysID& id) const {
    id = DIAG_SUBSYS_NONE;
    if (!IsValid()) {
        return false;
    }
    id = static_cast<eDiagSubsysID>(Bytes()[1]);
    return true;
}

bool sDiagSubsystemCmd::GetSubsystemCmd(unsigned int& cmd) const {
    if (!IsValid()) {
        return false;
    }
    cmd = ReadU16(Bytes() + 2);
    return true;
}

bool sDiagSubsystemCmd::GetSubsystemDispatch(eDiagSubsysID& id, unsigned int& cmd) const {
    return GetSubsystemID(id) && GetSubsystemCmd(cmd);
}

const unsigned char* sDiagSubsystemCmd::GetData(unsigned int& length) const {
    if (!IsValid()) {
        return nullptr;
    }
    unsigned int headerSize = HEADER_SIZE;
    if (Protocol() != PROTOCOL_DIAG_TO_DEVICE && Bytes()[0] != DIAG_CMD_SUBSYS_DISPATCH) {
        // A version-2 packet that is not a request: only a successful response carries data.
        if (Protocol() != PROTOCOL_DIAG_FROM_DEVICE || ReadU32(Bytes() + HEADER_SIZE) != 0) {
            return nullptr;
        }
        headerSize = V2_RSP_HEADER_SIZE;
    }
    length = Size() - headerSize;
    return length == 0 ? nullptr : Bytes() + headerSize;
}

sSharedBuffer* sDiagSubsystemCmd::BuildCmd(unsigned int subsystemId, unsigned int subsystemCmd, bool request,
                                           const unsigned char* payload, unsigned int length, bool version2,
                                           bool flag) {
    const unsigned int headerSize = version2 && !request ? V2_RSP_HEADER_SIZE : HEADER_SIZE;
    const unsigned int room = MAX_DIAG_PACKET_SIZE - headerSize;
    const unsigned int n = payload == nullptr ? 0 : (length < room ? length : room);
    unsigned char* bytes = nullptr;
    sSharedBuffer* packet =
        NewDiagPacket(headerSize + n, request ? PROTOCOL_DIAG_TO_DEVICE : PROTOCOL_DIAG_FROM_DEVICE, &bytes);
    if (packet == nullptr) {
        return nullptr;
    }
    bytes[0] = static_cast<unsigned char>(version2 ? DIAG_CMD_SUBSYS_DISPATCH_V2 : DIAG_CMD_SUBSYS_DISPATCH);
    bytes[1] = static_cast<unsigned char>(subsystemId);
    WriteU16(bytes + 2, subsystemCmd);
    if (headerSize == V2_RSP_HEADER_SIZE) {
        WriteU32(bytes + 4, 0);
        WriteU16(bytes + 8, flag ? 1 : 0);
        WriteU16(bytes + 10, flag ? 1 : 0);
    }
    if (n != 0) {
        memcpy(bytes + headerSize, payload, n);
    }
    return packet;
}

bool sDiagSubsystemCmd::IsDebugTrace(unsigned int cmd) const {
    return Bytes()[1] == DIAG_SUBSYS_DEBUG_TRACE && ReadU16(Bytes() + 2) == cmd;
}
