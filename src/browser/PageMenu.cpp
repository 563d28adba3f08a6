#include "browser/PageMenu.h"

#include "common/Text.h"
#include "common/WebAddress.h"

#include <algorithm>
#include <cctype>

namespace vale {

namespace {

using enum PageMenuItem;
using Section = std::vector<PageMenuLine>;

constexpr std::size_t longestQuote = 28;

bool isFile(std::string_view address) {
  constexpr std::string_view scheme = "file:";
  return address.size() >= scheme.size() &&
         std::equal(scheme.begin(), scheme.end(), address.begin(),
                    [](char a, char b) { return a == std::tolower(static_cast<unsigned char>(b)); });
}

std::string inQuotes(std::string_view text) {
  const auto line = singleLine(validUtf8(std::string(text.substr(0, 40 * longestQuote))));
  const auto words = trimmed(line);
  const auto cut = firstCharacters(words, longestQuote);
  return "“" + std::string(trimmed(cut)) + (cut.size() < words.size() ? "…" : "") + "”";
}

Section linkSection(const PageMenuPlace& place) {
  if (place.link.empty()) return {};
  Section lines;
  if (mayOpenFrom(place.page, place.link)) {
    lines.push_back({linkInNewTab, "Open Link in New Tab"});
    if (!place.isPrivate) lines.push_back({linkInNewWindow, "Open Link in New Window"});
    // Files are no one's to follow.
    if (isWebAddress(place.link)) lines.push_back({linkInPrivateWindow, "Open Link in New Private Window"});
  }
  lines.push_back({copyLink, "Copy Link"});
  if (isWebAddress(place.link)) lines.push_back({saveLink, "Save Link As…"});
  return lines;
}

Section imageSection(const PageMenuPlace& place) {
  if (place.image.empty()) return {};
  Section lines;
  if (mayOpenFrom(place.page, place.image)) lines.push_back({imageInNewTab, "Open Image in New Tab"});
  lines.push_back({saveImage, "Save Image As…"});
  lines.push_back({copyImage, "Copy Image"});
  if (!place.image.starts_with("data:")) lines.push_back({copyImageAddress, "Copy Image Address"});
  return lines;
}

Section selectionSection(const PageMenuPlace& place) {
  if (!place.hasSelection) return {};
  Section lines;
  if (!place.isEditable) lines.push_back({copy, "Copy"});
  if (!onlyWhiteSpace(place.selection)) {
    lines.push_back({searchWeb, "Search the Web for " + inQuotes(place.selection)});
  }
  if (place.canAskAgent) lines.push_back({askAgent, "Ask an Agent about the Selection"});
  return lines;
}

}  // namespace

bool mayOpenFrom(std::string_view page, std::string_view address) {
  return isWebAddress(address) || (isFile(address) && isFile(page));
}

std::vector<std::vector<PageMenuLine>> pageMenu(const PageMenuPlace& place) {
  std::vector<Section> sections{linkSection(place), imageSection(place)};
  if (!place.media.empty()) sections.push_back({{media, {}}});
  if (place.isEditable) sections.push_back({{editing, {}}});
  sections.push_back(selectionSection(place));
  const bool onPage = place.link.empty() && place.image.empty() && place.media.empty() && !place.isEditable &&
                      !place.hasSelection;
  if (onPage) {
    sections.push_back({{back, "Back"},
                        {forward, "Forward"},
                        place.isLoading ? PageMenuLine{stop, "Stop"} : PageMenuLine{reload, "Reload"}});
    sections.push_back(
        {{savePage, "Save Page As…"}, {screenshot, "Take a Picture of the Page"}, {source, "Page Source"}});
  }
  sections.push_back({{inspect, "Inspect Element"}});
  std::erase_if(sections, [](const auto& section) { return section.empty(); });
  return sections;
}

}  // namespace vale
