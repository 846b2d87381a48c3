#include "tools/palvorin/FdSource.h"
#include "tools/palvorin/PathSource.h"
#include "tools/palvorin/Source.h"
#include "tools/palvorin/TCPSource.h"
#include "tools/palvorin/USBSource.h"

std::unique_ptr<cSource> MakeSource(const sSourceAddress& address, const std::string& text,
                                    const sSourceOptions& options) {
    switch (address.mKind) {
        case SOURCE_STDIN:
            return std::unique_ptr<cSource>(new cStdinSource());
        case SOURCE_TCP:
            return std::unique_ptr<cSource>(new cTCPSource(address.mHost, address.mPort, text));
        case SOURCE_USB:
            return std::unique_ptr<cSource>(new cUSBSource(address, text));
        case SOURCE_PATH:
            break;
    }
    return std::unique_ptr<cSource>(new cPathSource(address.mPath, options));
}
