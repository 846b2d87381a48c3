// The tool-version record that opens every item store file: the texts it carries and its layout.
#pragma once

// The version text; its major, minor and build fields are derived from it when the record is built.
const char* const TOOL_VERSION_TEXT = "3.00.011";
const char* const TOOL_NAME = "ZOV-Tarnik";
const char* const TOOL_BUILD_DATE = "Jan 29 2018";

const unsigned int TOOL_VERSION_RECORD_SIZE = 165;
const unsigned int TOOL_VERSION_LOG_LENGTH = TOOL_VERSION_RECORD_SIZE - 4;  // both length fields
const unsigned int TOOL_VERSION_LOG_CODE = 0x1FFD;

// Offsets in the record (little-endian fields; every byte not listed is zero).
const unsigned int TOOL_VERSION_AT_TIMESTAMP = 8;  // u64, diagnostic (CDMA) time
const unsigned int TOOL_VERSION_AT_MAJOR = 16;     // u16
const unsigned int TOOL_VERSION_AT_MINOR = 18;     // u16
const unsigned int TOOL_VERSION_AT_BUILD = 20;     // text, NUL-padded
const unsigned int TOOL_VERSION_BUILD_FIELD = 7;
const unsigned int TOOL_VERSION_AT_NAME = 27;
const unsigned int TOOL_VERSION_AT_DATE = 67;
const unsigned int TOOL_VERSION_AT_SECONDS = 85;       // u32, wall clock since 1970
const unsigned int TOOL_VERSION_AT_MINUTES_WEST = 89;  // u16
const unsigned int TOOL_VERSION_AT_DST = 91;           // u16
const unsigned int TOOL_VERSION_AT_MILLISECONDS = 93;  // u16
