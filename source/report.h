// SPDX-License-Identifier: MIT
#ifndef LIBSSDP_SOURCE_REPORT_H
#define LIBSSDP_SOURCE_REPORT_H

// The failure line, the library's only log, on standard output: printed in one piece, so that lines
// of several threads don't mix. The file is relative to the source tree, wherever it was built.
//
// A check is an expression: true when its condition holds; otherwise it prints the line and is
// false. What a failure leads to stands beside it:
//
//   if (!SSDP_CHECK(Start() == SSDP_SUCCESS)) return SSDP_FAILURE;
//   SSDP_CHECK_REASON((m_handle >= 0), "error creating socket");   // and carries on
//
// The condition is evaluated once, a reason only when it fails. The line shows the condition's text
// as it stands in the source, so where that text is odd the formatter is switched off around it.
#define SSDP_CHECK(condition) ((condition) ? true : SSDP_REPORT(#condition))
#define SSDP_CHECK_REASON(condition, reason) \
  ((condition) ? true : ::libSSDP::ReportFailure(__LINE__, __func__, #condition, reason, __FILE__))

// Only the line, for a failure that isn't a single expression. Always false.
#define SSDP_REPORT(text) (::libSSDP::ReportFailure(__LINE__, __func__, text, __FILE__))

namespace libSSDP {

// Prints `line` on standard output unless printing could block: a pipe that nobody reads, or a
// thread that hangs with the stream's lock, must not stop a thread of the library. Then the line is
// dropped. Keeps errno, so that a caller can still read the failed call's.
void PrintLine(const char* line);

[[gnu::cold]] bool ReportFailure(int line, const char* function, const char* condition,
                                 const char* file);
[[gnu::cold]] bool ReportFailure(int line, const char* function, const char* condition,
                                 const char* reason, const char* file);

}  // namespace libSSDP

#endif
