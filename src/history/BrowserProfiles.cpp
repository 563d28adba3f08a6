#include "common/FileDescriptor.h"
#include "common/Text.h"
#include "history/BrowserImport.h"

#include <algorithm>
#include <system_error>

namespace vale {
namespace {

namespace fs = std::filesystem;

constexpr auto firefoxFolders = std::to_array<std::string_view>({
    ".mozilla/firefox",
    ".config/mozilla/firefox",
    ".var/app/org.mozilla.firefox/.mozilla/firefox",
    ".var/app/org.mozilla.firefox/config/mozilla/firefox",
    "snap/firefox/common/.mozilla/firefox",
});

struct ChromiumFolder {
  std::string_view name;
  std::string_view folder;  ///< in the home folder; holds one folder for each profile
};
constexpr auto chromiumFolders = std::to_array<ChromiumFolder>({
    {"chromium", ".config/chromium"},
    {"chromium", ".var/app/org.chromium.Chromium/config/chromium"},
    {"chromium", "snap/chromium/common/chromium"},
    {"chrome", ".config/google-chrome"},
    {"chrome", ".var/app/com.google.Chrome/config/google-chrome"},
    {"brave", ".config/BraveSoftware/Brave-Browser"},
    {"brave", ".var/app/com.brave.Browser/config/BraveSoftware/Brave-Browser"},
    {"brave", "snap/brave/current/.config/BraveSoftware/Brave-Browser"},
    {"edge", ".config/microsoft-edge"},
    {"edge", ".var/app/com.microsoft.Edge/config/microsoft-edge"},
    {"vivaldi", ".config/vivaldi"},
    {"vivaldi", ".var/app/com.vivaldi.Vivaldi/config/vivaldi"},
});

/// The folder without a "/" at its end, which would hide its name.
fs::path named(const fs::path& folder) {
  const auto normal = folder.lexically_normal();
  return normal.has_filename() ? normal : normal.parent_path();
}

bool hasHistory(const BrowserProfile& profile) {
  std::error_code ignored;
  return fs::exists(profile.file(), ignored);
}

/// The folders that a profiles.ini names: in sections "[ProfileN]" the keys "Path" and "IsRelative"
/// (https://support.mozilla.org/kb/profiles-where-firefox-stores-user-data).
std::vector<fs::path> firefoxProfiles(const fs::path& folder) {
  std::vector<fs::path> profiles;
  constexpr std::size_t plenty = 1'000'000;
  const auto text = readFile(folder / "profiles.ini", plenty);
  if (!text) return profiles;
  bool inProfile = false;
  for (std::string_view rest = *text; !rest.empty();) {
    const auto end = std::min(rest.find('\n'), rest.size());
    const auto line = trimmed(rest.substr(0, end));
    rest.remove_prefix(std::min(rest.size(), end + 1));
    constexpr std::string_view path = "Path=";
    if (line.starts_with('[')) inProfile = line.starts_with("[Profile");
    // An absolute path replaces the folder.
    if (inProfile && line.starts_with(path)) profiles.push_back(named(folder / line.substr(path.size())));
  }
  return profiles;
}

}  // namespace

fs::path BrowserProfile::file() const {
  return folder / (browser == ForeignBrowser::firefox ? "places.sqlite" : "History");
}

std::vector<BrowserProfile> browserProfiles(const fs::path& home) {
  std::vector<BrowserProfile> profiles;
  const auto add = [&profiles](BrowserProfile profile) {
    if (hasHistory(profile)) profiles.push_back(std::move(profile));
  };
  for (const auto folder : firefoxFolders) {
    for (const auto& profile : firefoxProfiles(home / folder))
      add(browserProfileAt(ForeignBrowser::firefox, profile));
  }
  for (const auto& [name, folder] : chromiumFolders) {
    std::vector<fs::path> folders;
    std::error_code error;
    for (fs::directory_iterator entry(home / folder, error), end; !error && entry != end;
         entry.increment(error))
      folders.push_back(entry->path());
    std::ranges::sort(folders);
    for (const auto& profile : folders) add(browserProfileAt(ForeignBrowser::chromium, profile));
  }
  return profiles;
}

BrowserProfile browserProfileAt(ForeignBrowser browser, const fs::path& folder) {
  const auto path = named(fs::absolute(folder));
  std::string name(rawValue(browser));
  if (browser == ForeignBrowser::chromium) {
    const auto parent = path.parent_path().string();
    const auto known = std::ranges::find_if(chromiumFolders, [&parent](const ChromiumFolder& one) {
      return parent.ends_with("/" + std::string(one.folder));
    });
    if (known != chromiumFolders.end()) name = known->name;
  }
  return {browser, name + "/" + path.filename().string(), path};
}

}  // namespace vale
