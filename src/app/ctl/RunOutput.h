#pragma once

#include "agents/AgentRun.h"

#include <memory>
#include <vector>

namespace vale::ctl {

enum class RunFormat { plain, events };

/// Prints a run as it goes.
class RunOutput {
 public:
  virtual ~RunOutput() = default;
  /// What is new since the last call; the run's activity may have grown too.
  virtual void show(const AgentRun& run, const std::vector<AgentStreamEvent>& events) = 0;
  /// How it ended, after the last `show`.
  virtual void finish(const AgentRun& run) = 0;
  /// True once standard output takes no more.
  bool isBroken() const;
};

/// `plain`: the answer's text on standard output, each word once; thinking and activity on standard error.
/// `events`: one JSON object a line on standard output.
std::unique_ptr<RunOutput> makeRunOutput(RunFormat format);

}  // namespace vale::ctl
