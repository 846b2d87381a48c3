#include "tools/palvorin/Amounts.h"

#include <cmath>
#include <cstdlib>

namespace {

const uint64_t kMaxSize = 1ULL << 62;
const double kMaxSeconds = 10 * 366 * 86400.0;

struct sUnit {
    char mSuffix;
    double mFactor;
};
const sUnit kSizeUnits[] = {
    {'K', 1024.0}, {'M', 1024.0 * 1024}, {'G', 1024.0 * 1024 * 1024}, {'T', 1024.0 * 1024 * 1024 * 1024}};
const sUnit kTimeUnits[] = {{'s', 1}, {'m', 60}, {'h', 3600}, {'d', 86400}};

// The number at the start of `text` and the one unit letter after it (0 for none); false when anything
// else follows, or the number is missing or not finite.
bool NumberAndUnit(const std::string& text, bool fraction, double& value, char& unit) {
    if (text.empty() || !(text[0] >= '0' && text[0] <= '9')) {
        return false;
    }
    size_t at = 0;
    bool dot = false;
    while (at < text.size() &&
           ((text[at] >= '0' && text[at] <= '9') || (fraction && text[at] == '.' && !dot))) {
        dot = dot || text[at] == '.';
        ++at;
    }
    if (text.size() - at > 1 || at > 30) {
        return false;
    }
    unit = at < text.size() ? text[at] : 0;
    value = strtod(text.substr(0, at).c_str(), nullptr);
    return std::isfinite(value);
}

}  // namespace

bool ParseSize(const std::string& text, uint64_t& bytes) {
    double value = 0;
    char unit = 0;
    if (!NumberAndUnit(text, false, value, unit)) {
        return false;
    }
    double factor = unit == 0 ? 1 : 0;
    for (const sUnit& known : kSizeUnits) {
        if (unit == known.mSuffix || unit == known.mSuffix - 'A' + 'a') {
            factor = known.mFactor;
        }
    }
    const double total = value * factor;
    if (factor == 0 || total < 1 || total > static_cast<double>(kMaxSize)) {
        return false;
    }
    bytes = static_cast<uint64_t>(total);
    return true;
}

bool ParseDuration(const std::string& text, double& seconds) {
    double value = 0;
    char unit = 0;
    if (!NumberAndUnit(text, true, value, unit)) {
        return false;
    }
    double factor = unit == 0 ? 1 : 0;
    for (const sUnit& known : kTimeUnits) {
        if (unit == known.mSuffix) {
            factor = known.mFactor;
        }
    }
    const double total = value * factor;
    if (factor == 0 || total <= 0 || total > kMaxSeconds) {
        return false;
    }
    seconds = total;
    return true;
}

int AnswerTimeoutMs(double seconds) {
    if (!(seconds > 0)) {
        return 1;
    }
    const double ms = std::ceil(std::fmin(seconds, kMaxAnswerTimeout) * 1000.0);
    return ms < 1 ? 1 : static_cast<int>(ms);
}
