// Reports the problems the ISF reader found in a file that a command still goes on to use.
#pragma once

#include <string>
#include <vector>

// Prints the first few problems of `path` on standard error, and how many more there are.
void ReportProblems(const std::string& path, const std::vector<std::string>& problems);
