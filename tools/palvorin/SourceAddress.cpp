#include "tools/palvorin/SourceAddress.h"

#include <cstdlib>

namespace {

const char kTCPPrefix[] = "tcp:";
const char kUSBPrefix[] = "usb";

// A whole number in `base` within [0, max]; false for anything else (empty, a sign, trailing bytes).
bool Number(const std::string& text, int base, long max, int& value) {
    if (text.empty() || text.size() > 10) {
        return false;
    }
    for (char c : text) {
        const bool digit = c >= '0' && c <= '9';
        const bool hex = (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
        if (!digit && !(base == 16 && hex)) {
            return false;
        }
    }
    const long parsed = strtol(text.c_str(), nullptr, base);
    if (parsed > max) {
        return false;
    }
    value = static_cast<int>(parsed);
    return true;
}

bool ParseTCP(const std::string& rest, sSourceAddress& address, std::string& error) {
    std::string host;
    std::string port;
    if (!rest.empty() && rest[0] == '[') {
        const size_t close = rest.find(']');
        if (close == std::string::npos || close + 1 >= rest.size() || rest[close + 1] != ':') {
            error = "tcp:[ADDRESS]:PORT needs the closing bracket and a port";
            return false;
        }
        host = rest.substr(1, close - 1);
        port = rest.substr(close + 2);
    } else {
        const size_t colon = rest.rfind(':');
        if (colon == std::string::npos || rest.find(':') != colon) {
            error = "tcp:HOST:PORT needs a host and a port (an IPv6 address in brackets)";
            return false;
        }
        host = rest.substr(0, colon);
        port = rest.substr(colon + 1);
    }
    int number = 0;
    if (host.empty() || !Number(port, 10, 65535, number) || number == 0) {
        error = "tcp:HOST:PORT needs a host and a port from 1 to 65535";
        return false;
    }
    address.mKind = SOURCE_TCP;
    address.mHost = host;
    address.mPort = static_cast<uint16_t>(number);
    return true;
}

bool ParseUSB(const std::string& rest, sSourceAddress& address, std::string& error) {
    address.mKind = SOURCE_USB;
    if (rest.empty()) {
        return true;
    }
    const std::string usage = "usb takes :VID:PID, :VID:PID:INTERFACE or :BUS.ADDRESS (ids in hex)";
    if (rest[0] != ':') {
        error = usage;
        return false;
    }
    const std::string fields = rest.substr(1);
    const size_t dot = fields.find('.');
    if (dot != std::string::npos) {
        if (!Number(fields.substr(0, dot), 10, 255, address.mBus) ||
            !Number(fields.substr(dot + 1), 10, 127, address.mAddress)) {
            error = usage;
            return false;
        }
        return true;
    }
    const size_t first = fields.find(':');
    const size_t second = first == std::string::npos ? first : fields.find(':', first + 1);
    const std::string vendor = fields.substr(0, first);
    const std::string product =
        first == std::string::npos
            ? ""
            : fields.substr(first + 1, second == std::string::npos ? second : second - first - 1);
    if (!Number(vendor, 16, 0xFFFF, address.mVendor) || !Number(product, 16, 0xFFFF, address.mProduct) ||
        (second != std::string::npos && !Number(fields.substr(second + 1), 10, 255, address.mInterface))) {
        error = usage;
        address.mVendor = address.mProduct = address.mInterface = -1;
        return false;
    }
    return true;
}

}  // namespace

bool ParseSourceAddress(const std::string& text, sSourceAddress& address, std::string& error) {
    address = sSourceAddress();
    if (text == "-") {
        address.mKind = SOURCE_STDIN;
        return true;
    }
    if (text.compare(0, sizeof kTCPPrefix - 1, kTCPPrefix) == 0) {
        return ParseTCP(text.substr(sizeof kTCPPrefix - 1), address, error);
    }
    if (text.compare(0, sizeof kUSBPrefix - 1, kUSBPrefix) == 0 &&
        (text.size() == sizeof kUSBPrefix - 1 || text[sizeof kUSBPrefix - 1] == ':')) {
        return ParseUSB(text.substr(sizeof kUSBPrefix - 1), address, error);
    }
    address.mPath = text;
    return true;
}
