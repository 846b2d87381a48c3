// What answers a request that configures a device's logging: the same command (for log configuration the
// same operation, and for a mask the same equipment id echoed), or an error reply naming the request bad.
// The answers are bytes from the device: every read is bounded by their size.
#pragma once

#include <cstddef>
#include <functional>
#include <vector>

#include "diag/LogConfig.h"

const unsigned char DIAG_CMD_MESSAGE_CONFIG = 0x7D;   // extended (debug-text) message configuration
const unsigned char DIAG_MESSAGE_SET_ALL_LEVELS = 5;  // its sub-command: every subsystem to one level
const unsigned char DIAG_ERR_BAD_TRANSACTION = 0x95;

// A request in flight and its answer once one came.
struct sAwaited {
    unsigned char mCommand = 0;
    unsigned int mOp = 0;    // log configuration: the operation
    int mEquipment = -1;     // log configuration set-mask: the equipment id; -1 for other requests
    unsigned char mSub = 0;  // message configuration: the sub-command
    bool mAnswered = false;
    std::vector<unsigned char> mAnswer;
};

// True when the `size` bytes of `packet` answer `awaited` (an error reply answers any request).
bool Answers(const sAwaited& awaited, const unsigned char* packet, size_t size);
// True for the error replies (bad command, bad parameter, ...).
bool IsErrorReply(unsigned char code);
// "bad command", "bad parameter", ... for an error reply's code.
const char* ErrorReplyName(unsigned char code);

// Hands `read` the library's response view over a copy of `bytes` (answers of log configuration).
void ReadLogConfigAnswer(const std::vector<unsigned char>& bytes,
                         const std::function<void(const sDiagLogConfigRsp&)>& read);
