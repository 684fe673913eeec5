// What the peer benchmark prints: the comparison table and the checks that the
// two sides did the same work.
#ifndef VELTRANE_BENCH_PEER_REPORT_H
#define VELTRANE_BENCH_PEER_REPORT_H

#include <string>
#include <vector>

#include "interleaved_comparison.h"

namespace veltrane::peer {

struct ResultRow {
    std::string work;  // e.g. "whole decode"
    std::string size;  // e.g. "352x288, 0.20 bpp"
    std::string peer;  // e.g. "libmpeg2"
    Comparison comparison;
};

class Report {
public:
    // Prints the row at once (a long run shows progress) and keeps it for the table.
    void AddRow(ResultRow row);
    // Prints the outcome of one check; a failed check makes the run fail.
    void Check(bool ok, const std::string& what);
    int checks() const { return checks_; }
    int failures() const { return failures_; }
    // The Markdown table of every row so far.
    std::string Table() const;

private:
    std::vector<ResultRow> rows_;
    int checks_ = 0;
    int failures_ = 0;
};

// One number through a printf format, e.g. FormatValue("%.2f", 0.5).
std::string FormatValue(const char* format, double value);
// A time in the unit that suits it: "412 ns", "3.51 us", "12.3 ms", "1.20 s".
std::string FormatSeconds(double seconds);

}  // namespace veltrane::peer

#endif
