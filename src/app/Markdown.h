#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

/// Markdown that an agent or a page wrote, for display. It is data: HTML in it is text, nothing is loaded,
/// and links are only those that a click may open.
namespace vale {

/// One block, in the order of reading. The lists and quotes around it are told by its depth.
struct MarkdownBlock {
  enum class Kind { paragraph, heading, code, table, rule };

  Kind kind = Kind::paragraph;
  int level = 0;       ///< of a heading, 1 to 6
  int lists = 0;       ///< how many lists it stands in
  int quotes = 0;      ///< how many quotes it stands in
  std::string marker;  ///< of a list item's first block: "•", "3.", "☐", "☑"
  /// Pango markup with every character of the source escaped: b, i, s, tt and a, whose title is its target.
  /// Code and tables are plain lines.
  std::string markup;

  bool operator==(const MarkdownBlock&) const = default;
};

/// Never fails: what is no Markdown is a paragraph. A block is at most some 8,000 bytes of source; a longer
/// one goes on in a next block.
std::vector<MarkdownBlock> markdownBlocks(std::string_view text);

/// The beginning of a text, at most so many bytes of it: whole lines where one fits, else whole characters.
std::string_view markdownBeginning(std::string_view text, std::size_t bytes);

/// Any text as Pango markup that shows it: without control and bidirectional formatting characters, line
/// feeds apart.
std::string escapedMarkup(std::string_view text);

/// True for what a click may open: http, https and mailto.
bool isLinkToOpen(std::string_view address);

}  // namespace vale
