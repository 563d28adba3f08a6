#include "benchmarks/Rows.h"
#include "benchmarks/Table.h"

#include <CLI/CLI.hpp>

#include <cstdio>

int main(int count, char** arguments) {
  CLI::App program{"Measures Vale beside its peers on this machine and prints one table."};
  std::vector<std::string> filters;
  int rounds = 7;
  program.add_option("FILTER", filters, "Measure only rows whose name holds one of these texts");
  program.add_option("--rounds", rounds, "Measurements of each, of which the median counts")
      ->check(CLI::Range(1, 1000));
  CLI11_PARSE(program, count, arguments);
  try {
    vale::bench::Table table;
    vale::bench::addStreamRows(table);
    vale::bench::addProcessRows(table);
    vale::bench::addHistoryRows(table);
    vale::bench::addSearchRows(table);
    vale::bench::addSessionRows(table);
    vale::bench::addProjectRows(table);
    vale::bench::addThreadRows(table);
    vale::bench::addWindowRows(table);
    table.print(filters, rounds);
    return 0;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "vale_bench: %s\n", error.what());
    return 1;
  }
}
