#pragma once

#include "benchmarks/Table.h"

namespace vale::bench {

void addHistoryRows(Table& table);
void addProcessRows(Table& table);
void addProjectRows(Table& table);
void addSearchRows(Table& table);
void addSessionRows(Table& table);
void addStreamRows(Table& table);
void addThreadRows(Table& table);
void addWindowRows(Table& table);

}  // namespace vale::bench
