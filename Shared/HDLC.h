// Asynchronous HDLC framing of the diagnostic serial link: the payload and its CRC-16 check sequence
// (low byte first), 0x7D/0x7E byte-stuffed, closed by a 0x7E flag.
#pragma once

#include "Shared/SharedBuffer.h"

const unsigned char AHDLC_FLAG = 0x7E;    // closes a frame; optionally also opens it
const unsigned char AHDLC_ESCAPE = 0x7D;  // the next byte is stuffed
const unsigned char AHDLC_ESC_M = 0x20;   // XORed into a stuffed byte

// Returns a new buffer (reference count 0, owned by the caller, protocol of the input) holding the frame
// of `packet`, with a leading 0x7E when asked; null when `packet` is not a usable buffer. A frame longer
// than MAX_SHARED_BUFFER_SIZE comes back as an empty, non-null buffer. `packet` is not touched.
sSharedBuffer* HDLCEncode(sSharedBuffer* packet, bool leadingFlag);

// Returns a new buffer (reference count 0, owned by the caller, protocol of the input) holding the packet
// of the first frame in `frame`, its check sequence verified; null otherwise. `*consumed` receives the
// bytes the frame took, an opening flag not counted, so that moving forward by it lands on the closing
// flag, which opens the next frame. It is 0 when no closed frame was found and the frame length when the
// check failed (so the caller can step over it); untouched when the input is unusable or `consumed` is
// null. A frame that holds nothing but its check bytes comes back as an empty, non-null buffer.
// `frame` is not touched.
sSharedBuffer* HDLCDecode(sSharedBuffer* frame, unsigned int* consumed);
