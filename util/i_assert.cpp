#include "util/i_assert.h"

#include <cstdio>
#include <cstdlib>

namespace {

constexpr std::size_t kReportSize = 400;  // bytes with the terminator; a longer report is cut

[[noreturn]] void reportAndAbort(const char* report) {
    std::fputs(report, stderr);
    std::fflush(stderr);
    std::abort();
}

}  // namespace

void assertionFailed(const char* expression, const char* module, int line) {
    char report[kReportSize];
    std::snprintf(report, sizeof report, "Assertion <%s> failed:\nfile \"%s\", line %d\n",
                  expression, module, line);
    reportAndAbort(report);
}

void assertionFailed(const char* expression, const char* module, int line, const char* list_name) {
    char report[kReportSize];
    std::snprintf(report, sizeof report, "Assertion <%s> failed:\nfile \"%s\", line %d, %s\n",
                  expression, module, line, list_name ? list_name : "");
    reportAndAbort(report);
}
