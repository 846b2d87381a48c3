// The answer matching of live capture on any bytes from the device: never a read outside them, and the
// response view over a copy of them answers without fault. The first byte picks the request awaited.
#include <cstddef>
#include <cstdint>
#include <vector>

#include "tools/palvorin/DiagAnswer.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 2) {
        return 0;
    }
    sAwaited awaited;
    const uint8_t pick = data[0];
    awaited.mCommand = (pick & 1) != 0 ? DIAG_CMD_MESSAGE_CONFIG : DIAG_CMD_LOG_CONFIG;
    awaited.mSub = DIAG_MESSAGE_SET_ALL_LEVELS;
    awaited.mOp = (pick >> 1) & 7;
    awaited.mEquipment = (pick & 0x10) != 0 ? (pick >> 5) : -1;
    // The request in flight, which an error reply must echo.
    awaited.mRequest = {awaited.mCommand, 0, 0, 0, static_cast<unsigned char>(awaited.mOp), 0, 0, 0};
    // A copy of exactly the answer's bytes, so that the sanitizer sees any read past them.
    const std::vector<unsigned char> answer(data + 1, data + size);
    if (Answers(awaited, answer.data(), answer.size())) {
        ErrorReplyName(answer[0]);
        ReadLogConfigAnswer(answer, [](const sDiagLogConfigRsp& view) {
            view.GetStatus();
            view.GetSupportedBits();
        });
    }
    return 0;
}
