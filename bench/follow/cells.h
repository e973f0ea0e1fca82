// Cells of Markdown tables.
#pragma once

#include <string>
#include <vector>

namespace remora::bench {

enum class Worst { kHighest, kLowest };

// A number; "-" for one that is not defined.
std::string cell(double value, int decimals);

// The mean of a value over several runs and, in brackets, that of the worst. Runs in which it is
// not defined do not count.
std::string cell(const std::vector<double>& runs, int decimals, Worst worst);

// The same with `mean` in place of the mean.
std::string cell(double mean, const std::vector<double>& runs, int decimals, Worst worst);

// "| a | b |" and an end of line.
std::string row(const std::vector<std::string>& cells);

// A row of titles with the line below it.
std::string head(const std::vector<std::string>& titles);

// Prints to standard output, at once.
void print(const std::string& text);

}  // namespace remora::bench
