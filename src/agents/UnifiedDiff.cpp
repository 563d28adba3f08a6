#include "agents/UnifiedDiff.h"

#include "agents/ShortCommand.h"
#include "common/Text.h"

#include <algorithm>
#include <ranges>
#include <utility>

namespace vale {
namespace {

/// More than a diff of two files that are compared at all.
constexpr std::size_t outputLimit = 16 << 20;
constexpr std::size_t binaryProbe = 8'000;
constexpr int foundDifferences = 1;

std::string heading(std::string_view side, std::string_view path, bool none) {
  return none ? "/dev/null" : std::string(side) + singleLine(validUtf8(std::string(path)));
}

}  // namespace

bool UnifiedDiff::isBinary(std::string_view bytes) { return bytes.substr(0, binaryProbe).contains('\0'); }

std::optional<UnifiedDiff> UnifiedDiff::of(const Files& files, const EnvironmentVariables& environment,
                                           std::size_t limit, Seconds timeout) {
  const auto path = environment.find("PATH");
  const auto program = path == environment.end() ? std::nullopt : ShortCommand::find("diff", path->second);
  if (!program) return std::nullopt;
  const auto outcome = ShortCommand::run(
      {.executable = *program,
       .arguments = {"-u", "--text", "--label", heading("a/", files.path, files.isNew), "--label",
                     heading("b/", files.path, files.isGone), "--", "-", files.after.native()},
       .directory = "/",
       .environment = {{"PATH", path->second}, {"LC_ALL", "C"}}},
      files.before, outputLimit, timeout);
  if (outcome.timedOut || outcome.tooLong || outcome.status > foundDifferences) return std::nullopt;

  UnifiedDiff diff;
  std::size_t headings = 2;
  std::size_t length = 0;
  std::size_t shown = 0;
  for (const auto& part : std::string_view(outcome.output) | std::views::split('\n')) {
    const std::string_view line(part);
    length = std::min(length + line.size() + 1, outcome.output.size());
    if (length <= limit) shown = length;
    if (headings > 0) {
      --headings;
    } else if (line.starts_with('+')) {
      ++diff.additions;
    } else if (line.starts_with('-')) {
      ++diff.deletions;
    }
  }
  diff.cut = shown < outcome.output.size();
  diff.text = validUtf8(outcome.output.substr(0, shown));
  return diff;
}

}  // namespace vale
