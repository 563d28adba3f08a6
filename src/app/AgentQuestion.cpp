#include "app/AgentQuestion.h"

#include "common/Error.h"
#include "common/Text.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <fstream>
#include <system_error>
#include <utility>

namespace vale {

namespace {

constexpr std::size_t longestTitle = 120;

/// A file's text with its own fence: one more backtick than any run of them inside.
std::string fenced(const AttachedText& file) {
  std::size_t longest = 2, run = 0;
  for (const char one : file.text) {
    run = one == '`' ? run + 1 : 0;
    longest = std::max(longest, run);
  }
  const std::string fence(longest + 1, '`');
  return fmt::format("File “{}”{}:\n{}\n{}\n{}\n", singleLine(file.name), file.cut ? " (its beginning)" : "",
                     fence, file.text, fence);
}

}  // namespace

AgentContext agentContext(const AgentQuestion& question, ModelInputFilter& filter) {
  std::vector<std::string> labels;
  AgentContext context;
  if (question.page) {
    auto block = filter.pageBlock(*question.page, ModelInputSite::taskContext);
    if (!block.empty()) {
      const auto title = firstCharacters(trimmed(question.page->title), longestTitle);
      const bool selected = question.page->selection.has_value();
      labels.push_back(fmt::format("{} “{}”", selected ? "selection of the page" : "the page",
                                   singleLine(validUtf8(std::string(title)))));
      context.text = std::move(block) + "\n";
    }
  }
  for (const auto& file : question.texts) {
    labels.push_back(fmt::format("“{}”", singleLine(file.name)));
    if (!context.text.empty()) context.text += '\n';
    context.text += fenced(file);
  }
  context.label = fmt::format("{}", fmt::join(labels, ", "));
  return context;
}

AttachedText readAttachedText(const std::filesystem::path& file) {
  const auto name = validUtf8(file.filename().string());
  const auto refuse = [&name](const char* reason) {
    throw Error(fmt::format("“{}” cannot be attached: {}", singleLine(name), reason));
  };
  std::error_code failure;
  if (!std::filesystem::is_regular_file(file, failure)) refuse("it is no file that can be read.");
  std::ifstream stream(file, std::ios::binary);
  std::string bytes(longestAttachedText + 4, '\0');
  stream.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  if (stream.bad() || (!stream && !stream.eof())) refuse("it could not be read.");
  bytes.resize(static_cast<std::size_t>(stream.gcount()));
  if (bytes.find('\0') != std::string::npos) refuse("it is neither a text nor an image.");
  AttachedText text{.name = name};
  text.cut = bytes.size() > longestAttachedText;
  if (text.cut) {
    std::size_t end = longestAttachedText;
    while (end > 0 && (static_cast<unsigned char>(bytes[end]) & 0xC0) == 0x80) --end;
    bytes.resize(end);
  }
  text.text = validUtf8(std::move(bytes));
  return text;
}

}  // namespace vale
