// Reports the problems the ISF reader found in a file that a command still goes on to use.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

// The first few problems of a file and how many there were in all.
struct sProblemList {
    std::vector<std::string> mFirst;
    uint64_t mCount = 0;
    void Add(const std::string& problem);
};

// Prints the first few problems of `path` on standard error, and how many more there are.
void ReportProblems(const std::string& path, const sProblemList& problems);
