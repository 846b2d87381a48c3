// Captures what the library logs during a scope (liblog, or its stand-in, writes each line to stderr)
// and splits every line into tag, priority letter, source path and text.
#pragma once

#include <gtest/gtest.h>

#include <regex>
#include <sstream>
#include <string>
#include <vector>

struct sLogLine {
    std::string mTag;
    char mPriority;
    std::string mPath;  // source path as logged, e.g. "Shared/HDLC.cpp"
    std::string mText;  // what follows "path:line: "
};

class cLogCapture {
public:
    cLogCapture() { testing::internal::CaptureStderr(); }
    ~cLogCapture() {
        if (!mStopped) {
            testing::internal::GetCapturedStderr();
        }
    }

    // Stops capturing and returns the log lines seen (other stderr output is dropped).
    std::vector<sLogLine> Lines() {
        mStopped = true;
        // liblog on a host: "tag I date time pid tid message"; the stand-in: "tag I message".
        static const std::regex kLine(
            R"(^(\S+) ([VDIWEF]) (?:.*? )??([A-Za-z0-9_./-]+\.(?:cpp|h)):\d+: (.*)$)");
        std::vector<sLogLine> lines;
        std::istringstream in(testing::internal::GetCapturedStderr());
        std::smatch match;
        for (std::string text; std::getline(in, text);) {
            if (std::regex_match(text, match, kLine)) {
                lines.push_back({match[1], match[2].str()[0], match[3], match[4]});
            }
        }
        return lines;
    }

    // Just the texts, for comparing a sequence of messages.
    std::vector<std::string> Texts() {
        std::vector<std::string> texts;
        for (const sLogLine& line : Lines()) {
            texts.push_back(line.mText);
        }
        return texts;
    }

private:
    bool mStopped = false;
};
