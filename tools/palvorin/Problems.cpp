#include "tools/palvorin/Problems.h"

#include <algorithm>
#include <cstdio>

namespace {

// A cut file has one problem per entry past the cut: the first ones say what happened.
const size_t kShown = 5;

}  // namespace

void ReportProblems(const std::string& path, const std::vector<std::string>& problems) {
    const size_t shown = std::min(problems.size(), kShown);
    for (size_t i = 0; i < shown; ++i) {
        fprintf(stderr, "palvorin: %s: %s\n", path.c_str(), problems[i].c_str());
    }
    if (shown < problems.size()) {
        fprintf(stderr, "palvorin: %s: ... %zu more problems (palvorin verify lists them)\n", path.c_str(),
                problems.size() - shown);
    }
}
