#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace vale {

/// What a page's context menu can offer.
enum class PageMenuItem {
  linkInNewTab,
  linkInNewWindow,
  linkInPrivateWindow,
  copyLink,
  saveLink,
  imageInNewTab,
  saveImage,
  copyImage,
  copyImageAddress,
  media,    ///< what the engine offers for a video or sound
  editing,  ///< what it offers for a text field
  copy,
  searchWeb,
  askAgent,
  back,
  forward,
  reload,
  stop,
  savePage,
  source,
  screenshot,
  inspect,
};

struct PageMenuLine {
  PageMenuItem item;
  std::string label;  ///< text; empty where the engine has its own

  bool operator==(const PageMenuLine&) const = default;
};

/// Where the menu was asked for. Everything here is the page's own claim.
struct PageMenuPlace {
  std::string page;
  std::string link, image, media;  ///< addresses; empty where there is none
  std::string selection;           ///< its text, as far as it is known
  bool hasSelection = false;
  bool isEditable = false;
  bool isPrivate = false;
  bool isLoading = false;
  bool canAskAgent = false;
};

/// True when what a page points to may be opened for it: web pages, and files from a file's page. Never the
/// browser's own pages, nor scripts.
bool mayOpenFrom(std::string_view page, std::string_view address);

/// The menu's sections, in their order; none is empty.
std::vector<std::vector<PageMenuLine>> pageMenu(const PageMenuPlace& place);

}  // namespace vale
