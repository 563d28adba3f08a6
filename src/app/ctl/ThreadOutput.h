#pragma once

#include "agents/AgentThread.h"

namespace vale::ctl {

/// Prints a thread for a person on standard output: its head, and each turn with what was asked and the items
/// of its transcript. What agents wrote cannot drive a terminal.
void printThread(const AgentThread& thread);

}  // namespace vale::ctl
