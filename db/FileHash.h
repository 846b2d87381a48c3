// The SHA-256 of a file, which names a capture in the campaign database whatever its path.
#pragma once

#include <cstdint>
#include <string>

// The SHA-256 of the file at `path` as 64 lowercase hex digits, and its size. False when the file cannot be
// read; `error` then says why.
bool FileSHA256(const std::string& path, std::string& hex, uint64_t& size, std::string& error);
