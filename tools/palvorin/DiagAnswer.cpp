#include "tools/palvorin/DiagAnswer.h"

#include "diag/WireFormat.h"

namespace {

const unsigned int kOpAt = 4;          // log configuration: operation
const unsigned int kEquipEchoAt = 12;  // log configuration set-mask answer: the equipment id echoed

}  // namespace

bool IsErrorReply(unsigned char code) {
    return (code >= DIAG_CMD_ERROR_RSP_19 && code <= DIAG_CMD_ERROR_RSP_24) ||
           code == DIAG_CMD_ERROR_RSP_66 || code == DIAG_CMD_ERROR_RSP_71 || code == DIAG_ERR_BAD_TRANSACTION;
}

const char* ErrorReplyName(unsigned char code) {
    switch (code) {
        case 0x13:
            return "bad command";
        case 0x14:
            return "bad parameter";
        case 0x15:
            return "bad length";
        case 0x18:
            return "bad mode";
        case 0x42:
            return "bad SPC mode";
        case 0x47:
            return "bad security mode";
        case DIAG_ERR_BAD_TRANSACTION:
            return "bad transaction";
        default:
            return "error";
    }
}

bool Answers(const sAwaited& awaited, const unsigned char* packet, size_t size) {
    if (packet == nullptr || size == 0) {
        return false;
    }
    if (IsErrorReply(packet[0])) {
        // The echo, as far as both go, must be this request's bytes.
        const size_t echoed = size - 1 < awaited.mRequest.size() ? size - 1 : awaited.mRequest.size();
        for (size_t i = 0; i < echoed; ++i) {
            if (packet[1 + i] != awaited.mRequest[i]) {
                return false;
            }
        }
        return true;
    }
    if (packet[0] != awaited.mCommand) {
        return false;
    }
    if (awaited.mCommand == DIAG_CMD_MESSAGE_CONFIG) {
        return size >= 2 && packet[1] == awaited.mSub;
    }
    if (awaited.mCommand == DIAG_CMD_EVENT_REPORT) {
        return true;  // the answer and the reports themselves begin with the command alike
    }
    if (size < kOpAt + 4 || ReadU32(packet + kOpAt) != awaited.mOp) {
        return false;
    }
    // A short set-mask answer (no echo) is taken as this request's: the view checks it afterwards.
    return awaited.mEquipment < 0 || size < kEquipEchoAt + 4 ||
           ReadU32(packet + kEquipEchoAt) == static_cast<unsigned int>(awaited.mEquipment);
}

void ReadLogConfigAnswer(const std::vector<unsigned char>& bytes,
                         const std::function<void(const sDiagLogConfigRsp&)>& read) {
    sSharedBuffer* copy =
        new sSharedBuffer(bytes.data(), static_cast<unsigned int>(bytes.size()), PROTOCOL_DIAG_FROM_DEVICE);
    copy->AddRef();
    {
        const sDiagLogConfigRsp answer(copy);
        read(answer);
    }
    copy->Release();
}
