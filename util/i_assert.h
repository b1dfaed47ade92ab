#pragma once
// The fatal assertion: the answer to a fault that only wrong code of this process can make.
//
// It is compiled into every build and never depends on NDEBUG. No byte that comes from a peer, a
// file or an operator may reach one: such faults are reported by results and messages instead.
// May be called from any thread; it uses no lock, no trace and no heap.

/// Writes "Assertion <expression> failed:\nfile \"module\", line N\n" to standard error and aborts.
/// With a list name, ", name" stands behind the line number. The text is cut to 399 bytes.
[[noreturn]] void assertionFailed(const char* expression, const char* module, int line);
[[noreturn]] void assertionFailed(const char* expression, const char* module, int line,
                                  const char* list_name);

/// Holds `condition`, or ends the process with `expression` as the text of the report. The text is
/// given by hand because it is part of the system's output and must not follow the formatting of
/// the source. The using source defines the constant SOURCE_MODULE, its module's name.
#define ZOR_ASSERT(condition, expression) \
    ((condition) ? void(0) : assertionFailed(expression, SOURCE_MODULE, __LINE__))

/// ZOR_ASSERT for the lists: the report also names the list.
#define ZOR_ASSERT_NAMED(condition, expression, list_name) \
    ((condition) ? void(0) : assertionFailed(expression, SOURCE_MODULE, __LINE__, list_name))
