#include "app/Markdown.h"

#include "common/Text.h"
#include "common/WebAddress.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmark-gfm-core-extensions.h>
#include <cmark-gfm.h>
#include <memory>
#include <optional>
#include <utility>

namespace vale {

namespace {

constexpr std::size_t longestBlock = 8'000;
constexpr std::size_t widestColumn = 40;
constexpr std::size_t mostStyles = 16;
constexpr int deepest = 8;

struct FreeNode {
  void operator()(cmark_node* node) const { cmark_node_free(node); }
};
struct FreeParser {
  void operator()(cmark_parser* parser) const { cmark_parser_free(parser); }
};
struct FreeIterator {
  void operator()(cmark_iter* iterator) const { cmark_iter_free(iterator); }
};

std::unique_ptr<cmark_node, FreeNode> parsed(std::string_view text) {
  cmark_gfm_core_extensions_ensure_registered();
  const std::unique_ptr<cmark_parser, FreeParser> parser(
      cmark_parser_new(CMARK_OPT_DEFAULT | CMARK_OPT_VALIDATE_UTF8));
  for (const char* name : {"table", "strikethrough", "tasklist", "autolink"}) {
    if (auto* extension = cmark_find_syntax_extension(name))
      cmark_parser_attach_syntax_extension(parser.get(), extension);
  }
  cmark_parser_feed(parser.get(), text.data(), text.size());
  return std::unique_ptr<cmark_node, FreeNode>(cmark_parser_finish(parser.get()));
}

std::string_view literalOf(cmark_node* node) {
  const char* literal = cmark_node_get_literal(node);
  return literal ? literal : "";
}

/// As many bytes of the front as fit, whole characters.
std::string_view front(std::string_view text, std::size_t bytes) {
  if (text.size() <= bytes) return text;
  while (bytes > 0 && (static_cast<unsigned char>(text[bytes]) & 0xC0) == 0x80) --bytes;
  return text.substr(0, bytes);
}

/// Walks a parsed text and lays its blocks one below the other.
class Layout {
 public:
  std::vector<MarkdownBlock> of(cmark_node* root) {
    const std::unique_ptr<cmark_iter, FreeIterator> iterator(cmark_iter_new(root));
    for (auto event = cmark_iter_next(iterator.get()); event != CMARK_EVENT_DONE;
         event = cmark_iter_next(iterator.get())) {
      visit(cmark_iter_get_node(iterator.get()), event == CMARK_EVENT_ENTER);
    }
    return std::move(blocks_);
  }

 private:
  void visit(cmark_node* node, bool enters) {
    switch (cmark_node_get_type(node)) {
    case CMARK_NODE_LIST:
      if (!enters) return numbers_.pop_back();
      numbers_.push_back(cmark_node_get_list_type(node) == CMARK_ORDERED_LIST
                             ? std::optional<long>(cmark_node_get_list_start(node))
                             : std::nullopt);
      return;
    case CMARK_NODE_BLOCK_QUOTE:
      quotes_ += enters ? 1 : -1;
      return;
    case CMARK_NODE_ITEM:
      if (enters) marker_ = markerOf(node);
      return;
    case CMARK_NODE_PARAGRAPH:
    case CMARK_NODE_HEADING:
      if (enters) return begin(node);
      return end();
    case CMARK_NODE_CODE_BLOCK:
      return addLines(MarkdownBlock::Kind::code, literalOf(node));
    case CMARK_NODE_HTML_BLOCK:
      return addLines(MarkdownBlock::Kind::paragraph, literalOf(node));
    case CMARK_NODE_THEMATIC_BREAK:
      return add(MarkdownBlock::Kind::rule, {});
    default:
      break;
    }
    const std::string_view type = cmark_node_get_type_string(node);
    if (type == "table") {
      if (!enters) return addTable();
      table_.emplace();
    } else if (type == "table_row" || type == "table_header") {
      if (enters && table_) table_->emplace_back();
    } else if (type == "table_cell") {
      if (enters && table_ && !table_->empty()) table_->back().emplace_back();
    } else {
      visitInline(node, type, enters);
    }
  }

  void visitInline(cmark_node* node, std::string_view type, bool enters) {
    switch (cmark_node_get_type(node)) {
    case CMARK_NODE_TEXT:
    case CMARK_NODE_HTML_INLINE:
      return write(literalOf(node));
    case CMARK_NODE_CODE:
      style("tt", {}, true);
      write(literalOf(node));
      return style("tt", {}, false);
    case CMARK_NODE_SOFTBREAK:
      return write(" ");
    case CMARK_NODE_LINEBREAK:
      if (table_) return write(" ");
      block_.markup += '\n';
      return;
    case CMARK_NODE_EMPH:
      return style("i", {}, enters);
    case CMARK_NODE_STRONG:
      return style("b", {}, enters);
    case CMARK_NODE_LINK:
      return link(node, enters);
    case CMARK_NODE_IMAGE:
      link(node, enters);
      // Named, never loaded.
      if (enters) write("Image: ");
      return;
    default:
      if (type == "strikethrough") style("s", {}, enters);
    }
  }

  /// Nothing but a link to open becomes one; its label alone is shown of any other.
  void link(cmark_node* node, bool enters) {
    const char* url = cmark_node_get_url(node);
    const std::string_view target = url ? url : "";
    if (!isLinkToOpen(target)) return;
    const bool nested = std::ranges::any_of(styles_, [](const auto& one) { return one.first == "a"; });
    if (enters && nested) return void(++nestedLinks_);
    if (!enters && nestedLinks_ > 0) return void(--nestedLinks_);
    const auto shown = escapedMarkup(singleLine(target));
    // The title is markup once more.
    style("a", enters ? fmt::format(" href=\"{}\" title=\"{}\"", shown, escapedMarkup(shown)) : std::string(),
          enters);
  }

  void style(const std::string& tag, std::string attributes, bool begins) {
    if (table_) return;
    if (begins) {
      ++depth_;
      if (depth_ > mostStyles) return;
      block_.markup += "<" + tag + attributes + ">";
      styles_.emplace_back(tag, std::move(attributes));
      return;
    }
    if (depth_ == 0 || depth_-- > mostStyles || styles_.empty()) return;
    block_.markup += "</" + styles_.back().first + ">";
    styles_.pop_back();
  }

  void write(std::string_view text) {
    if (table_) {
      if (!table_->empty() && !table_->back().empty()) table_->back().back() += text;
      return;
    }
    while (!text.empty()) {
      if (written_ >= longestBlock) goOn();
      const auto piece = front(text, longestBlock - written_);
      if (piece.empty()) {
        written_ = longestBlock;
        continue;
      }
      block_.markup += escapedMarkup(singleLine(piece));
      written_ += piece.size();
      text.remove_prefix(piece.size());
    }
  }

  /// The rest of a long block stands in another one, in the same styles.
  void goOn() {
    auto next = block_;
    next.marker.clear();
    next.markup.clear();
    for (auto one = styles_.rbegin(); one != styles_.rend(); ++one) block_.markup += "</" + one->first + ">";
    blocks_.push_back(std::move(block_));
    for (const auto& [tag, attributes] : styles_) next.markup += "<" + tag + attributes + ">";
    block_ = std::move(next);
    written_ = 0;
  }

  MarkdownBlock placed(MarkdownBlock::Kind kind) {
    return {.kind = kind,
            .lists = std::min(static_cast<int>(numbers_.size()), deepest),
            .quotes = std::min(quotes_, deepest),
            .marker = std::exchange(marker_, {})};
  }

  void begin(cmark_node* node) {
    const bool heading = cmark_node_get_type(node) == CMARK_NODE_HEADING;
    block_ = placed(heading ? MarkdownBlock::Kind::heading : MarkdownBlock::Kind::paragraph);
    if (heading) block_.level = cmark_node_get_heading_level(node);
    written_ = depth_ = nestedLinks_ = 0;
    styles_.clear();
  }

  void end() {
    if (block_.markup.empty() && block_.marker.empty()) return;
    blocks_.push_back(std::exchange(block_, {}));
  }

  void add(MarkdownBlock::Kind kind, std::string markup) {
    blocks_.push_back(placed(kind));
    blocks_.back().markup = std::move(markup);
  }

  void addLines(MarkdownBlock::Kind kind, std::string_view text) {
    while (!text.empty() && text.back() == '\n') text.remove_suffix(1);
    do {
      auto piece = front(text, longestBlock);
      if (const auto line = piece.rfind('\n'); piece.size() < text.size() && line != piece.npos && line > 0)
        piece = piece.substr(0, line + 1);
      text.remove_prefix(piece.size());
      if (!text.empty() && piece.ends_with('\n')) piece.remove_suffix(1);
      add(kind, escapedMarkup(piece));
    } while (!text.empty());
  }

  void addTable() {
    std::vector<std::size_t> widths;
    for (auto& row : *table_) {
      for (std::size_t i = 0; i < row.size(); ++i) {
        row[i] = std::string(firstCharacters(singleLine(row[i]), longestBlock));
        if (i >= widths.size()) widths.push_back(0);
        widths[i] = std::max(widths[i], std::min(characterCount(row[i]), widestColumn));
      }
    }
    std::string text;
    for (std::size_t number = 0; number < table_->size(); ++number) {
      std::string line;
      const auto& row = (*table_)[number];
      for (std::size_t i = 0; i < row.size(); ++i) {
        const auto width = characterCount(row[i]);
        line += row[i];
        if (i + 1 < row.size()) line.append(widths[i] - std::min(width, widths[i]) + 2, ' ');
      }
      text += line + '\n';
      if (number > 0) continue;
      for (const auto width : widths) {
        for (std::size_t i = 0; i < width; ++i) text += "─";
        text += "  ";
      }
      text += '\n';
    }
    table_.reset();
    addLines(MarkdownBlock::Kind::table, text);
  }

  std::string markerOf(cmark_node* item) {
    if (std::string_view(cmark_node_get_type_string(item)) == "tasklist")
      return cmark_gfm_extensions_get_tasklist_item_checked(item) ? "☑" : "☐";
    if (numbers_.empty() || !numbers_.back()) return "•";
    return fmt::format("{}.", (*numbers_.back())++);
  }

  std::vector<MarkdownBlock> blocks_;
  MarkdownBlock block_;
  std::size_t written_ = 0;                                  ///< bytes of the source in `block_`
  std::vector<std::pair<std::string, std::string>> styles_;  ///< open tags and their attributes
  std::size_t depth_ = 0;
  std::size_t nestedLinks_ = 0;
  std::optional<std::vector<std::vector<std::string>>> table_;
  std::string marker_;
  std::vector<std::optional<long>> numbers_;  ///< of the lists around: the next item's, none for bullets
  int quotes_ = 0;
};

}  // namespace

std::vector<MarkdownBlock> markdownBlocks(std::string_view text) {
  return Layout().of(parsed(validUtf8(std::string(text))).get());
}

std::string_view markdownBeginning(std::string_view text, std::size_t bytes) {
  if (text.size() <= bytes) return text;
  if (const auto end = text.rfind('\n', bytes); end != std::string_view::npos && end > 0)
    return text.substr(0, end);
  while (bytes > 0 && (static_cast<unsigned char>(text[bytes]) & 0xC0) == 0x80) --bytes;
  return text.substr(0, bytes);
}

std::string escapedMarkup(std::string_view text) {
  std::string markup;
  markup.reserve(text.size() + text.size() / 8);
  while (!text.empty()) {
    const auto line = text.substr(0, text.find('\n'));
    for (const char one : singleLine(validUtf8(std::string(line)))) {
      switch (one) {
      case '&':
        markup += "&amp;";
        break;
      case '<':
        markup += "&lt;";
        break;
      case '>':
        markup += "&gt;";
        break;
      case '"':
        markup += "&quot;";
        break;
      case '\'':
        markup += "&#39;";
        break;
      default:
        markup += one;
      }
    }
    text.remove_prefix(line.size());
    if (text.empty()) break;
    markup += '\n';
    text.remove_prefix(1);
  }
  return markup;
}

bool isLinkToOpen(std::string_view address) {
  if (isWebAddress(address)) return true;
  constexpr std::string_view mail = "mailto:";
  return address.size() > mail.size() && foldedCase(address.substr(0, mail.size())) == mail;
}

}  // namespace vale
