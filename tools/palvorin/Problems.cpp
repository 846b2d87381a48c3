#include "tools/palvorin/Problems.h"

#include <cinttypes>
#include <cstdio>

namespace {

// A cut file has one problem per entry past the cut: the first ones say what happened.
const size_t kShown = 5;

}  // namespace

void sProblemList::Add(const std::string& problem) {
    if (mFirst.size() < kShown) {
        mFirst.push_back(problem);
    }
    ++mCount;
}

void ReportProblems(const std::string& path, const sProblemList& problems) {
    for (const std::string& problem : problems.mFirst) {
        fprintf(stderr, "palvorin: %s: %s\n", path.c_str(), problem.c_str());
    }
    if (problems.mFirst.size() < problems.mCount) {
        fprintf(stderr, "palvorin: %s: ... %" PRIu64 " more problems (palvorin verify lists them)\n",
                path.c_str(), problems.mCount - problems.mFirst.size());
    }
}
