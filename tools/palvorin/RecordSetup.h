// What `record` and `capture` check before anything touches the output: the rotation limits, the source
// and the live GSMTAP target. A bad argument leaves an existing output file as it was.
#pragma once

#include <memory>
#include <string>

#include "tools/palvorin/GSMTAPSender.h"
#include "tools/palvorin/Rotation.h"
#include "tools/palvorin/SourceAddress.h"

// Reads --rotate-size and --rotate-time (either may be empty); false after a message on stderr.
bool ParseRotation(const std::string& size, const std::string& time, sRotationLimits& limits);
// Reads SOURCE; false after a message on stderr.
bool ParseSource(const std::string& text, sSourceAddress& address);
