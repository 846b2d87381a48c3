// What a capture file holds, told by its content and not by its name: an item store file (its header
// magic), a raw diagnostic stream (HDLC frames that pass their check, as read from a diagnostic port), or
// neither. Front ends that take either (the Python package, a campaign searching directories) ask here.
#pragma once

#include <cstddef>
#include <string>

enum eCaptureFileKind {
    CAPTURE_FILE_ISF,
    CAPTURE_FILE_RAW,
    CAPTURE_FILE_EMPTY,
    CAPTURE_FILE_UNKNOWN,     // neither an ISF file nor a raw stream
    CAPTURE_FILE_UNREADABLE,  // cannot be opened or read
};

// Bytes looked at from the start of a file: enough for a thousand frames of a real stream.
const size_t kCaptureSniffSize = 64 << 10;

// The kind of the `size` bytes at `data`, the start of a file (the whole file when `whole`). Raw when the
// frames found there include at least one good frame and no more bad frames than good ones: random bytes
// close a frame at every 0x7E, and almost none of those pass the 16-bit check.
eCaptureFileKind CaptureKindOf(const unsigned char* data, size_t size, bool whole);

// The kind of the file at `path`, from its first kCaptureSniffSize bytes; `error` gets errno when
// CAPTURE_FILE_UNREADABLE.
eCaptureFileKind CaptureFileKindOf(const std::string& path, int& error);
