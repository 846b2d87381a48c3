// Amounts given on the command line: sizes ("512M"), durations ("30m", "1h") and the answer timeout in
// whole milliseconds.
#pragma once

#include <cstdint>
#include <string>

// A size in bytes: a whole number with an optional suffix K, M, G or T (powers of 1024; "512M" is
// 536,870,912 bytes). False for anything else, 0, or more than 2^62 bytes.
bool ParseSize(const std::string& text, uint64_t& bytes);

// A duration in seconds: a number (a decimal fraction allowed) with an optional unit s, m, h or d ("90",
// "30m", "1.5h"). False for anything else, 0, or more than 10 years.
bool ParseDuration(const std::string& text, double& seconds);

// The longest answer timeout the tool takes, in seconds.
const double kMaxAnswerTimeout = 3600;
// `seconds` (0 < seconds <= kMaxAnswerTimeout) in whole milliseconds, rounded up: a timeout never
// shrinks to 0 ms, nor overflows.
int AnswerTimeoutMs(double seconds);
