// The stream factory a store uses when it is given none: the production stream of every file.
#pragma once

#include "jni/ISFStream.h"

// The one process-wide default factory; it lives as long as the process.
cISFStreamFactory& DefaultISFStreams();
