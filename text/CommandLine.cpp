// ParseCommandLine and ParseTokens (see text/Parsing.h).
#include <cstring>

#include "text/Parsing.h"

void ParseCommandLine(std::string line, std::vector<std::string>& arguments) {
    const size_t length = line.size();
    size_t position = 0;
    while (position < length) {
        const size_t start = line.find_first_not_of(' ', position);
        if (start == std::string::npos) {
            return;  // only spaces left
        }
        if (line[start] == '"') {
            const size_t close = line.find('"', start + 1);
            if (close == std::string::npos) {
                return;  // an unclosed quote ends the parsing
            }
            arguments.push_back(line.substr(start + 1, close - start - 1));
            position = close + 1;  // the next argument may follow the quote directly
        } else {
            const size_t space = line.find(' ', start);
            const size_t end = space == std::string::npos ? length : space;
            arguments.push_back(line.substr(start, end - start));
            position = end;
        }
    }
}

void ParseTokens(const char* delimiters, char* text, std::vector<char*>& tokens) {
    if (delimiters == nullptr || text == nullptr || *delimiters == '\0' || *text == '\0') {
        return;
    }
    char* saved = nullptr;
    for (char* token = strtok_r(text, delimiters, &saved); token != nullptr;
         token = strtok_r(nullptr, delimiters, &saved)) {
        tokens.push_back(token);
    }
}
