#include "browser/BookmarkHtml.h"

#include "common/Text.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <optional>
#include <utility>

namespace vale::BookmarkHtml {

namespace {

constexpr auto npos = std::string_view::npos;

bool isSpace(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\f'; }
char lowered(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

std::string lowered(std::string_view text) {
  std::string result(text);
  for (char& c : result) c = lowered(c);
  return result;
}

void appendCharacter(std::string& text, std::uint32_t code) {
  if (code == 0 || code > 0x10FFFF || (code >= 0xD800 && code < 0xE000)) code = 0xFFFD;
  if (code < 0x80) {
    text += static_cast<char>(code);
  } else if (code < 0x800) {
    text += {static_cast<char>(0xC0 | code >> 6), static_cast<char>(0x80 | (code & 63))};
  } else if (code < 0x10000) {
    text += {static_cast<char>(0xE0 | code >> 12), static_cast<char>(0x80 | (code >> 6 & 63)),
             static_cast<char>(0x80 | (code & 63))};
  } else {
    text += {static_cast<char>(0xF0 | code >> 18), static_cast<char>(0x80 | (code >> 12 & 63)),
             static_cast<char>(0x80 | (code >> 6 & 63)), static_cast<char>(0x80 | (code & 63))};
  }
}

/// What stands between "&" and ";".
std::optional<std::string> entity(std::string_view name) {
  static constexpr std::pair<std::string_view, std::string_view> known[] = {
      {"amp", "&"}, {"lt", "<"}, {"gt", ">"}, {"quot", "\""}, {"apos", "'"}, {"nbsp", " "}};
  for (const auto& [word, text] : known) {
    if (name == word) return std::string(text);
  }
  if (!name.starts_with('#')) return std::nullopt;
  name.remove_prefix(1);
  const bool hexadecimal = name.starts_with('x') || name.starts_with('X');
  if (hexadecimal) name.remove_prefix(1);
  std::uint32_t code = 0;
  const auto [end, error] =
      std::from_chars(name.data(), name.data() + name.size(), code, hexadecimal ? 16 : 10);
  if (name.empty() || end != name.data() + name.size()) return std::nullopt;
  std::string text;
  appendCharacter(text, error == std::errc() ? code : 0);
  return text;
}

std::string decoded(std::string_view text) {
  constexpr std::size_t longestEntity = 12;
  std::string result;
  while (!text.empty()) {
    const auto at = text.find('&');
    result += text.substr(0, at);
    if (at == npos) break;
    text.remove_prefix(at);
    const auto end = text.substr(0, longestEntity).find(';');
    const auto read = end == npos ? std::nullopt : entity(text.substr(1, end - 1));
    result += read.value_or("&");
    text.remove_prefix(read ? end + 1 : 1);
  }
  return result;
}

std::string encoded(std::string_view text) {
  std::string result;
  for (const char c : text) {
    switch (c) {
    case '&':
      result += "&amp;";
      break;
    case '<':
      result += "&lt;";
      break;
    case '>':
      result += "&gt;";
      break;
    case '"':
      result += "&quot;";
      break;
    default:
      result += c;
    }
  }
  return result;
}

struct Tag {
  std::string name;  ///< in lower case, with "/" in front where it closes
  std::string_view href;
  bool isBar = false;
};

/// Takes the file apart into tags and the text between them. It never looks at a byte twice, except once
/// where a quote turns out never to be closed.
class Scanner {
 public:
  explicit Scanner(std::string_view html) : rest_(html) {}

  /// The text up to the next tag; the tag is none at the end of the file.
  std::pair<std::string_view, std::optional<Tag>> next() {
    const auto whole = rest_;
    std::size_t passed = 0;
    for (;;) {
      const auto at = rest_.find('<');
      if (at == npos) {
        rest_ = {};
        return {whole, std::nullopt};
      }
      passed += at;
      rest_.remove_prefix(at);
      const auto before = rest_.size();
      if (auto tag = readTag()) return {whole.substr(0, passed), std::move(tag)};
      passed += before - rest_.size();
    }
  }

 private:
  /// None for a lone "<", and for a comment or declaration, which is passed over.
  std::optional<Tag> readTag() {
    if (rest_.starts_with("<!--") && commentsEnd_) {
      const auto end = rest_.find("-->", 4);
      commentsEnd_ = end != npos;
      if (commentsEnd_) {
        rest_.remove_prefix(end + 3);
        return Tag{};
      }
    }
    std::size_t at = 1;
    const auto more = [&] { return at < rest_.size(); };
    const auto skip = [&](auto keep) {
      const auto begin = at;
      while (more() && keep(rest_[at])) ++at;
      return rest_.substr(begin, at - begin);
    };
    Tag tag;
    tag.name = lowered(skip([](char c) { return !isSpace(c) && c != '>' && c != '<'; }).substr(0, 16));
    if (tag.name.empty()) {
      rest_.remove_prefix(1);
      return std::nullopt;
    }
    while (more() && rest_[at] != '>') {
      if (isSpace(rest_[at]) || rest_[at] == '=') {
        ++at;
        continue;
      }
      const auto name = skip([](char c) { return !isSpace(c) && c != '=' && c != '>'; });
      skip(isSpace);
      std::string_view value;
      if (more() && rest_[at] == '=') {
        ++at;
        skip(isSpace);
        value = readValue(at);
      }
      const auto known = lowered(name.substr(0, 32));
      if (known == "href") tag.href = value;
      if (known == "personal_toolbar_folder") tag.isBar = lowered(value.substr(0, 8)) == "true";
    }
    rest_.remove_prefix(std::min(at + 1, rest_.size()));
    return tag;
  }

  std::string_view readValue(std::size_t& at) {
    const char quote = at < rest_.size() ? rest_[at] : ' ';
    if ((quote == '"' || quote == '\'') && quotesEnd_) {
      const auto end = rest_.find(quote, at + 1);
      quotesEnd_ = end != npos;
      if (quotesEnd_) {
        const auto value = rest_.substr(at + 1, end - at - 1);
        at = end + 1;
        return value;
      }
    }
    const auto begin = at;
    while (at < rest_.size() && !isSpace(rest_[at]) && rest_[at] != '>') ++at;
    auto value = rest_.substr(begin, at - begin);
    if (value.starts_with(quote) && (quote == '"' || quote == '\'')) value.remove_prefix(1);
    return value;
  }

  std::string_view rest_;
  bool commentsEnd_ = true, quotesEnd_ = true;
};

/// The lists that are open, outermost first.
class OpenLists {
 public:
  void open(std::string name, bool isBar) {
    if (levels_.size() < BookmarkPath::deepest + 2) {
      levels_.push_back({std::move(name), isBar});
    } else {
      ++beyond_;
    }
  }
  void close() {
    if (beyond_ > 0) {
      --beyond_;
    } else if (!levels_.empty()) {
      levels_.pop_back();
    }
  }

  ImportedBookmark place() const {
    ImportedBookmark place;
    for (const auto& [name, isBar] : levels_) {
      if (isBar) {
        place.folder.clear();
        place.onBar = true;
      } else {
        place.folder = BookmarkPath::join(place.folder, name);
      }
    }
    return place;
  }

 private:
  std::vector<std::pair<std::string, bool>> levels_;
  std::size_t beyond_ = 0;
};

}  // namespace

std::vector<ImportedBookmark> read(std::string_view html) {
  if (html.starts_with("\xEF\xBB\xBF")) html.remove_prefix(3);
  std::vector<ImportedBookmark> found;
  Scanner scanner(html);
  OpenLists lists;
  std::string title, name;
  std::optional<std::string> address;
  bool isBar = false, inHeading = false;
  const auto finishLink = [&] {
    if (!address) return;
    auto bookmark = lists.place();
    bookmark.url = *std::exchange(address, {});
    bookmark.title = decoded(title);
    found.push_back(std::move(bookmark));
  };
  for (;;) {
    const auto [text, tag] = scanner.next();
    if (address || inHeading) {
      constexpr std::size_t longest = 64 * Bookmarks::longestTitle;
      title += text.substr(0, longest - std::min(title.size(), longest));
    }
    if (!tag) break;
    const auto& kind = tag->name;
    if (kind == "a" || kind == "h3") {
      finishLink();
      title.clear();
      inHeading = kind == "h3";
      if (inHeading) {
        isBar = tag->isBar;
      } else if (!tag->href.empty() && tag->href.size() <= 2 * Bookmarks::longestAddress) {
        address = decoded(tag->href);
      }
    } else if (kind == "/h3") {
      name = BookmarkPath::name(decoded(title));
      inHeading = false;
    } else if (kind == "/a" || kind == "dt" || kind == "dd" || kind == "dl" || kind == "/dl") {
      finishLink();
      // A heading that was never closed.
      if (std::exchange(inHeading, false)) name = BookmarkPath::name(decoded(title));
      if (kind == "dl") lists.open(std::exchange(name, {}), std::exchange(isBar, false));
      if (kind == "/dl") lists.close();
    }
  }
  finishLink();
  return found;
}

std::string write(const Bookmarks& bookmarks) {
  std::string html = "<!DOCTYPE NETSCAPE-Bookmark-file-1>\n"
                     "<META HTTP-EQUIV=\"Content-Type\" CONTENT=\"text/html; charset=UTF-8\">\n"
                     "<TITLE>Bookmarks</TITLE>\n<H1>Bookmarks</H1>\n<DL><p>\n"
                     "<DT><H3 PERSONAL_TOOLBAR_FOLDER=\"true\">";
  html += std::string(Bookmarks::barName) + "</H3>\n<DL><p>\n";
  const auto links = [&](const std::string& folder) {
    for (const auto* bookmark : bookmarks.in(folder)) {
      html += "<DT><A HREF=\"" + encoded(bookmark->url) + "\">" + encoded(bookmark->title) + "</A>\n";
    }
  };
  links({});
  std::size_t open = 0;
  const auto closeTo = [&](std::size_t depth) {
    for (; open > depth; --open) html += "</DL><p>\n";
  };
  for (const auto& folder : bookmarks.folders()) {
    closeTo(BookmarkPath::depth(folder.path) - 1);
    html += "<DT><H3>" + encoded(BookmarkPath::lastName(folder.path)) + "</H3>\n<DL><p>\n";
    ++open;
    links(folder.path);
  }
  closeTo(0);
  return html + "</DL><p>\n</DL><p>\n";
}

}  // namespace vale::BookmarkHtml
