#include "agents/CodexThreadUsage.h"

#include "common/FileDescriptor.h"
#include "common/Json.h"
#include "common/Uuid.h"

#include <algorithm>
#include <cctype>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace vale {
namespace {

namespace fs = std::filesystem;

std::optional<fs::path> rolloutFile(const fs::path& codexHome, const Uuid& thread) {
  auto ending = "-" + thread.text() + ".jsonl";
  std::ranges::transform(ending, ending.begin(), [](unsigned char c) { return char(std::tolower(c)); });
  std::error_code error;
  fs::recursive_directory_iterator entry(codexHome / "sessions",
                                         fs::directory_options::skip_permission_denied, error);
  for (const fs::recursive_directory_iterator end; !error && entry != end; entry.increment(error)) {
    const auto name = entry->path().filename().native();
    if (name.starts_with("rollout-") && name.ends_with(ending)) return entry->path();
  }
  return std::nullopt;
}

std::optional<AgentUsage> usageOfLine(std::string_view line) {
  const auto value = tryParseJson(line);
  const auto* object = value ? value->if_object() : nullptr;
  const auto* payload = object ? objectMember(*object, "payload") : nullptr;
  const auto* info = payload ? objectMember(*payload, "info") : nullptr;
  const auto* total = info ? objectMember(*info, "total_token_usage") : nullptr;
  if (!total || stringMember(*object, "type") != "event_msg" ||
      stringMember(*payload, "type") != "token_count") {
    return std::nullopt;
  }
  const auto count = [&](std::string_view key) {
    return std::max<std::int64_t>(integerMember(*total, key).value_or(0), 0);
  };
  AgentUsage usage;
  usage.inputTokens = count("input_tokens");
  usage.cachedInputTokens = count("cached_input_tokens");
  usage.outputTokens = count("output_tokens");
  usage.reasoningTokens = count("reasoning_output_tokens");
  return usage;
}

/// `size` bytes at `offset`, fewer at the end of the file or after an error.
std::string bytesAt(int file, off_t offset, std::size_t size) {
  std::string bytes(size, '\0');
  std::size_t got = 0;
  while (got < size) {
    const auto more = pread(file, bytes.data() + got, size - got, offset + off_t(got));
    if (more <= 0) break;
    got += std::size_t(more);
  }
  bytes.resize(got);
  return bytes;
}

}  // namespace

std::optional<AgentUsage> earlierCodexUsage(const fs::path& codexHome, std::string_view threadID) {
  constexpr off_t step = 256 * 1024;
  // A line of figures is far shorter; the text of an answer that quotes one may be longer, and is passed
  // over.
  constexpr off_t longestLine = 16 * 1024;
  // The figures come with every answer of the model: further back there is nothing.
  constexpr off_t reach = 64 * 1024 * 1024;
  constexpr std::string_view mark = "\"total_token_usage\"";

  const auto thread = Uuid::parse(threadID);
  const auto path = thread ? rolloutFile(codexHome, *thread) : std::nullopt;
  if (!path) return std::nullopt;
  const FileDescriptor file(open(path->c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  struct stat status {};
  if (!file || fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode)) return std::nullopt;

  const off_t oldest = std::max<off_t>(status.st_size - reach, 0);
  for (off_t end = status.st_size; end > oldest; end -= step) {
    // Lines that begin between `end` - `step` and `end`, with what of them lies behind.
    const off_t begin = std::max<off_t>(end - step - longestLine, 0);
    const auto bytes = bytesAt(file.get(), begin, std::size_t(end + longestLine - begin));
    for (auto at = bytes.rfind(mark); at != std::string::npos;) {
      const auto before = bytes.rfind('\n', at);
      const auto first = before == std::string::npos ? 0 : before + 1;
      const auto length = std::min(bytes.find('\n', at), bytes.size()) - first;
      const auto usage = off_t(length) > longestLine
                             ? std::nullopt
                             : usageOfLine(std::string_view(bytes).substr(first, length));
      if (usage) return usage;
      at = first == 0 ? std::string::npos : bytes.rfind(mark, first - 1);
    }
  }
  return std::nullopt;
}

}  // namespace vale
