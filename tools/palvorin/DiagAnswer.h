// What answers a request that configures a device's logging: the same command (for log configuration the
// same operation, and for a mask the same equipment id echoed), or an error reply naming the request bad.
// An error reply echoes the request it refuses after its code: one that echoes another request (a late
// reply to an earlier one) answers nothing awaited now; a bare error code, which says nothing of its
// request, is taken for the request in flight. The answers are bytes from the device: every read is
// bounded by their size.
#pragma once

#include <cstddef>
#include <functional>
#include <vector>

#include "diag/LogConfig.h"

const unsigned char DIAG_CMD_MESSAGE_CONFIG = 0x7D;   // extended (debug-text) message configuration
const unsigned char DIAG_MESSAGE_SET_ALL_LEVELS = 5;  // its sub-command: every subsystem to one level
const unsigned char DIAG_ERR_BAD_TRANSACTION = 0x95;
const unsigned char DIAG_CMD_EVENT_REPORT = 0x60;  // event reports: `60 01` on, `60 00` off

// A request in flight and its answer once one came.
struct sAwaited {
    unsigned char mCommand = 0;
    unsigned int mOp = 0;    // log configuration: the operation
    int mEquipment = -1;     // log configuration set-mask: the equipment id; -1 for other requests
    unsigned char mSub = 0;  // message configuration: the sub-command
    std::vector<unsigned char> mRequest;  // the request's bytes, to match the echo of an error reply
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
