// palvorin report FILE... -o OUT.html: hands over to the Python package, which draws the page from the
// library's tables (`python3 -m palvorin report`, python/palvorin/report.py). This command only finds the
// interpreter and the package, and says so clearly when either is missing.

#include <errno.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "tools/palvorin/Commands.h"

namespace {

// Set by the build: Debian's interpreter (the one the package is built for) and the package in the build
// tree (BUILD/python), which wins over an installed one so that a build runs its own package.
#ifndef PALVORIN_REPORT_PYTHON
#define PALVORIN_REPORT_PYTHON "/usr/bin/python3"
#endif
#ifndef PALVORIN_REPORT_PACKAGE_DIR
#define PALVORIN_REPORT_PACKAGE_DIR ""
#endif

bool Readable(const std::string& path) {
    return access(path.c_str(), R_OK) == 0;
}

// Whether `python` finds the package on its own path (the installed site-packages): looked up, not
// imported, so that this costs a few milliseconds.
bool PackageInstalled(const char* python) {
    const pid_t child = fork();
    if (child < 0) {
        return true;  // cannot tell: let the interpreter say
    }
    if (child == 0) {
        execl(python, python, "-c",
              "import importlib.util, sys; sys.exit(importlib.util.find_spec('palvorin') is None)",
              static_cast<char*>(nullptr));
        _exit(127);
    }
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

}  // namespace

int RunReport(const std::vector<std::string>& arguments) {
    const char* python = PALVORIN_REPORT_PYTHON;
    if (access(python, X_OK) != 0) {
        fprintf(stderr,
                "palvorin report: needs Python 3 at %s (%s); on Debian: apt-get install python3 "
                "python3-numpy python3-pandas python3-matplotlib (scripts/install-deps)\n",
                python, strerror(errno));
        return 1;
    }
    const std::string package = PALVORIN_REPORT_PACKAGE_DIR;
    if (!package.empty() && Readable(package + "/palvorin/__init__.py")) {
        const char* path = getenv("PYTHONPATH");
        const std::string value = path != nullptr && path[0] != '\0' ? package + ":" + path : package;
        setenv("PYTHONPATH", value.c_str(), 1);
    } else if (!PackageInstalled(python)) {
        fprintf(stderr,
                "palvorin report: the Python package palvorin is neither in this build (%s) nor installed "
                "for %s: build it with the project (-DPALVORIN_PYTHON=ON, the default) or install it with "
                "cmake --install\n",
                package.empty() ? "built without it" : package.c_str(), python);
        return 1;
    }
    std::vector<char*> argv;
    argv.push_back(const_cast<char*>(python));
    argv.push_back(const_cast<char*>("-m"));
    argv.push_back(const_cast<char*>("palvorin"));
    argv.push_back(const_cast<char*>("report"));
    for (const std::string& argument : arguments) {
        argv.push_back(const_cast<char*>(argument.c_str()));
    }
    argv.push_back(nullptr);
    fflush(stdout);
    fflush(stderr);
    execv(python, argv.data());
    fprintf(stderr, "palvorin report: cannot run %s: %s\n", python, strerror(errno));
    return 1;
}
