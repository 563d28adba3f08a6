#pragma once

#include "common/Json.h"

#include <optional>
#include <string>
#include <vector>

/// The records of the session file, written as they stand here: members are keys, absent optionals are left
/// out, dates are seconds since 2001.
namespace vale {

/// How a window shows its tabs: in the wall beside the page, or in a strip above it.
enum class TabLayout { vertical, horizontal };
template <>
inline constexpr auto rawValues<TabLayout> = std::to_array<RawValue<TabLayout>>(
    {{TabLayout::vertical, "vertical"}, {TabLayout::horizontal, "horizontal"}});

enum class TabGroupColor { gray, blue, red, yellow, green, pink, purple, cyan, orange };
template <>
inline constexpr auto rawValues<TabGroupColor> =
    std::to_array<RawValue<TabGroupColor>>({{TabGroupColor::gray, "gray"},
                                            {TabGroupColor::blue, "blue"},
                                            {TabGroupColor::red, "red"},
                                            {TabGroupColor::yellow, "yellow"},
                                            {TabGroupColor::green, "green"},
                                            {TabGroupColor::pink, "pink"},
                                            {TabGroupColor::purple, "purple"},
                                            {TabGroupColor::cyan, "cyan"},
                                            {TabGroupColor::orange, "orange"}});

struct Bookmark {
  Uuid id;
  std::string title;
  std::string url;
  std::optional<std::string> folder;  ///< the path of its folder, names joined by " › "; none on the bar
  std::optional<std::string> source;  ///< the browser it was imported from

  bool operator==(const Bookmark&) const = default;
};
BOOST_DESCRIBE_STRUCT(Bookmark, (), (id, title, url, folder, source))

/// A place and size on the screen, in logical pixels.
struct SavedFrame {
  double x = 0;
  double y = 0;
  double width = 0;
  double height = 0;

  bool operator==(const SavedFrame&) const = default;
};
BOOST_DESCRIBE_STRUCT(SavedFrame, (), (x, y, width, height))

struct SavedTab {
  Uuid id;
  std::string url;
  std::string title;
  bool pinned = false;
  std::optional<Uuid> openerID;
  std::optional<Date> createdAt;
  std::optional<Date> lastActivatedAt;
  std::optional<Date> urlChangedAt;

  bool operator==(const SavedTab&) const = default;
};
BOOST_DESCRIBE_STRUCT(SavedTab, (), (id, url, title, pinned, openerID, createdAt, lastActivatedAt, urlChangedAt))

/// A group of tabs that the user made in one window. On read every key may be missing, and a colour that
/// nobody knows becomes gray: a group is never worth losing a session for.
struct ManualTabGroup {
  Uuid id;
  std::string name;
  TabGroupColor color = TabGroupColor::gray;
  bool collapsed = false;
  std::vector<Uuid> tabIDs;  ///< its tabs in order

  bool operator==(const ManualTabGroup&) const = default;
};
BOOST_DESCRIBE_STRUCT(ManualTabGroup, (), (id, name, color, collapsed, tabIDs))

/// The name of a group that has none of its own.
inline constexpr std::string_view defaultGroupName = "New group";

/// Found by the decoding of records.
void decodeValue(const json::value& value, ManualTabGroup& group, const std::string& path);

/// A group put away under a name, for all windows.
struct FoldedTabGroup {
  Uuid id;
  std::string name;
  std::string summary;
  Date foldedAt;
  std::vector<SavedTab> tabs;

  bool operator==(const FoldedTabGroup&) const = default;
};
BOOST_DESCRIBE_STRUCT(FoldedTabGroup, (), (id, name, summary, foldedAt, tabs))

struct SavedWindow {
  Uuid id;
  std::vector<SavedTab> tabs;
  std::optional<Uuid> selected;
  std::optional<std::vector<ManualTabGroup>> groups;
  std::optional<SavedFrame> frame;
  std::optional<double> wallWidth;  ///< logical pixels
  std::optional<bool> wallVisible;  ///< left out when shown
  std::optional<std::string> tabLayout;

  bool operator==(const SavedWindow&) const = default;
};
BOOST_DESCRIBE_STRUCT(SavedWindow, (),
                      (id, tabs, selected, groups, frame, wallWidth, wallVisible, tabLayout))

/// The whole session file. `tabs`, `selected` and `groups` are those of the only window of an older layout.
struct Session {
  std::vector<SavedTab> tabs;
  std::optional<Uuid> selected;
  std::vector<Bookmark> bookmarks;
  std::optional<std::vector<ManualTabGroup>> groups;
  std::optional<std::vector<FoldedTabGroup>> folded;
  std::optional<std::vector<SavedWindow>> windows;
  std::optional<SavedWindow> closedWindow;

  /// The windows to restore; of a file in the older layout one window with a fresh identity.
  std::vector<SavedWindow> restoredWindows() const;

  bool operator==(const Session&) const = default;
};
BOOST_DESCRIBE_STRUCT(Session, (), (tabs, selected, bookmarks, groups, folded, windows, closedWindow))

}  // namespace vale
