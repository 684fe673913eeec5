#include "report.h"

#include <algorithm>
#include <cstdio>

namespace veltrane::peer {

namespace {

std::string RatioText(double ratio) { return FormatValue("%.2f", ratio); }

std::vector<std::string> Cells(const ResultRow& row) {
    const Comparison& c = row.comparison;
    return {row.work,
            row.size,
            row.peer,
            RatioText(c.ratio),
            RatioText(c.lowRatio) + "-" + RatioText(c.highRatio),
            FormatSeconds(c.oursSeconds),
            FormatSeconds(c.theirsSeconds)};
}

}  // namespace

std::string FormatValue(const char* format, double value) {
    char text[64];
    std::snprintf(text, sizeof text, format, value);
    return text;
}

std::string FormatSeconds(double seconds) {
    if (seconds < 1e-6) return FormatValue("%.0f ns", seconds * 1e9);
    if (seconds < 1e-3) return FormatValue("%.3g us", seconds * 1e6);
    if (seconds < 1) return FormatValue("%.3g ms", seconds * 1e3);
    return FormatValue("%.3g s", seconds);
}

void Report::AddRow(ResultRow row) {
    const std::vector<std::string> cells = Cells(row);
    std::printf("  %s, %s, vs %s: ratio %s (quartiles %s; %s vs %s per pass, %d rounds of %d)\n",
                cells[0].c_str(), cells[1].c_str(), cells[2].c_str(), cells[3].c_str(),
                cells[4].c_str(), cells[5].c_str(), cells[6].c_str(), row.comparison.rounds,
                row.comparison.passesPerRound);
    std::fflush(stdout);
    rows_.push_back(std::move(row));
}

void Report::Check(bool ok, const std::string& what) {
    ++checks_;
    if (!ok) ++failures_;
    std::printf("  check %s: %s\n", ok ? "ok" : "FAILED", what.c_str());
    std::fflush(stdout);
}

std::string Report::Table() const {
    const std::vector<std::string> header = {
        "work",          "size / rate",    "peer", "ratio (ours / theirs)", "spread (quartiles)",
        "ours per pass", "theirs per pass"};
    std::vector<std::vector<std::string>> lines = {header};
    for (const ResultRow& row : rows_) lines.push_back(Cells(row));
    std::vector<size_t> widths(header.size(), 0);
    for (const auto& line : lines)
        for (size_t i = 0; i < line.size(); ++i) widths[i] = std::max(widths[i], line[i].size());
    std::string table;
    auto addLine = [&](const std::vector<std::string>& cells) {
        for (size_t i = 0; i < cells.size(); ++i)
            table += "| " + cells[i] + std::string(widths[i] - cells[i].size(), ' ') + " ";
        table += "|\n";
    };
    addLine(lines[0]);
    std::vector<std::string> rule;
    for (size_t w : widths) rule.push_back(std::string(w, '-'));
    addLine(rule);
    for (size_t i = 1; i < lines.size(); ++i) addLine(lines[i]);
    return table;
}

}  // namespace veltrane::peer
