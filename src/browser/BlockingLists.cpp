#include "browser/BlockingLists.h"

#include "browser/OwnFilters.h"
#include "common/FileDescriptor.h"
#include "common/Log.h"
#include "common/PrivateFiles.h"
#include "common/Sha256.h"
#include "common/Text.h"
#include "common/WebAddress.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <utility>

namespace vale {

namespace {

constexpr std::size_t largestRecord = 4 << 20;

/// Another number where the same lists make other rules.
constexpr std::string_view converterVersion = "2";

struct TakenList {
  std::string name;
  std::string digest;
  std::int64_t used = 0;
  std::int64_t notUnderstood = 0;
};

std::string quoted(const std::filesystem::path& file) {
  return fmt::format("“{}”", singleLine(validUtf8(file.filename().native())));
}

/// Reads and checks a list, and copies it; or says why not.
std::expected<TakenList, std::string> takeFile(const std::filesystem::path& file,
                                               const std::filesystem::path& copy) {
  const auto text = readFile(file, BlockingLists::largestFile);
  if (!text && text.error().code == EFBIG) {
    return std::unexpected(
        fmt::format("{} is larger than 32 MB, which is more than a filter list needs.", quoted(file)));
  }
  if (!text) return std::unexpected(text.error().message);
  const auto notAList = [&](std::string_view why) {
    return std::unexpected(fmt::format("{} is no filter list: {}", quoted(file), why));
  };
  if (text->find('\0') != std::string::npos) return notAList("it is no text.");
  if (trimmed(std::string_view(*text).substr(0, 4096)).starts_with('<')) {
    return notAList("it is a web page. Save the list itself, as text.");
  }
  const auto list = FilterList::parse(*text);
  if (list.used() == 0) return notAList("none of its lines is a rule that Vale understands.");
  if (list.leftOut > 0) {
    return std::unexpected(
        fmt::format("{} has more than 300,000 rules, which is more than Vale can use.", quoted(file)));
  }
  try {
    PrivateFiles::write(*text, copy);
  } catch (const Error& error) {
    return std::unexpected(error.message);
  }
  auto name = list.title;
  if (name.empty()) name = singleLine(firstCharacters(validUtf8(file.stem().native()), 80));
  return TakenList{std::move(name), sha256Hex(*text), static_cast<std::int64_t>(list.used()),
                   static_cast<std::int64_t>(list.notUnderstood)};
}

BlockingContent readContent(const std::filesystem::path& file) {
  const auto text = readFile(file, largestRecord);
  if (!text && text.error().code == ENOENT) return {};
  if (!text) throw text.error();
  return decodeText<BlockingContent>(*text);
}

/// A site by its host, which counts with and without "www.".
std::string siteOf(const std::string& address) {
  if (!isWebAddress(address)) return {};
  auto name = host(address);
  if (name.starts_with("www.") && name.find('.', 4) != std::string::npos) name.erase(0, 4);
  return name;
}

/// Whether the list names the site or one that it lies below.
bool contains(const std::vector<std::string>& sites, std::string_view site) {
  for (;;) {
    if (std::ranges::find(sites, site) != sites.end()) return true;
    const auto dot = site.find('.');
    if (dot == std::string_view::npos) return false;
    site.remove_prefix(dot + 1);
  }
}

/// Removes what lets the list name the site.
void take(std::vector<std::string>& sites, const std::string& site) {
  std::erase_if(sites, [&](const auto& one) { return contains({one}, site); });
}

}  // namespace

BlockingLists::BlockingLists(std::filesystem::path folder, Surroundings surroundings)
    : folder_(std::move(folder)), surroundings_(surroundings), queue_(surroundings.workers, "Vale.blocking"),
      self_(std::make_shared<BlockingLists*>(this)) {
  const auto file = folder_ / "blocking.json";
  try {
    content_.set(readContent(file));
  } catch (const Error& error) {
    log::warning("Vale blocking: {}", error.message);
    storageError_.set("Could not read which filter lists there are. The original file is preserved. " +
                      error.message);
    return;
  }
  file_ = std::make_unique<DeferredFile>(
      file, queue_, surroundings,
      [this] { return [content = content_.value()] { return jsonText(encode(content)) + "\n"; }; },
      [this](std::optional<std::string> error) { storageError_.set(std::move(error)); });
}

std::filesystem::path BlockingLists::copyOf(const Uuid& id) const { return folder_ / (id.text() + ".txt"); }

void BlockingLists::set(BlockingContent content) {
  if (content == content_.value()) return;
  content_.set(std::move(content));
  if (file_) file_->schedule();
}

void BlockingLists::add(const std::filesystem::path& file, Answer answer) {
  if (content_.value().lists.size() >= mostLists) {
    return answer(std::unexpected("There are 20 lists already. Remove one before you add another."));
  }
  take(Uuid::random(), file, std::move(answer));
}

void BlockingLists::replace(const Uuid& id, const std::filesystem::path& file, Answer answer) {
  take(id, file, std::move(answer));
}

void BlockingLists::take(Uuid id, const std::filesystem::path& file, Answer answer) {
  // Beside a record that cannot be written a copy would be left for ever.
  if (!file_) return answer(std::unexpected(storageError_.value().value_or("")));
  queue_.post([file, copy = copyOf(id), id, main = surroundings_.main, weak = std::weak_ptr(self_),
               answer = std::move(answer)]() mutable {
    auto taken = takeFile(file, copy);
    main.post([taken = std::move(taken), id, weak, answer = std::move(answer)] {
      const auto self = weak.lock();
      if (!self) return;
      if (!taken) return answer(std::unexpected(taken.error()));
      const BlockingList list{.id = id,
                              .name = taken->name,
                              .digest = taken->digest,
                              .used = taken->used,
                              .notUnderstood = taken->notUnderstood,
                              .addedAt = (*self)->surroundings_.clock.now()};
      (*self)->put(list);
      answer(list);
    });
  });
}

void BlockingLists::put(const BlockingList& list) {
  auto content = content_.value();
  const auto found = std::ranges::find(content.lists, list.id, &BlockingList::id);
  if (found == content.lists.end()) {
    content.lists.push_back(list);
  } else {
    const bool enabled = found->enabled;
    *found = list;
    found->enabled = enabled;
  }
  set(std::move(content));
}

void BlockingLists::setEnabled(const Uuid& id, bool enabled) {
  auto content = content_.value();
  for (auto& list : content.lists) {
    if (list.id == id) list.enabled = enabled;
  }
  set(std::move(content));
}

void BlockingLists::setOwnListEnabled(bool enabled) {
  auto content = content_.value();
  content.ownList = enabled;
  set(std::move(content));
}

void BlockingLists::remove(const Uuid& id) {
  auto content = content_.value();
  if (std::erase_if(content.lists, [&](const auto& list) { return list.id == id; }) == 0) return;
  set(std::move(content));
  queue_.post([copy = copyOf(id)] {
    std::error_code problem;
    std::filesystem::remove(copy, problem);
    if (problem) log::warning("Could not remove {}: {}.", copy.native(), problem.message());
  });
}

bool BlockingLists::blocksAt(const std::string& address, BrowsingMode mode) const {
  const auto site = siteOf(address);
  if (site.empty()) return false;
  if (mode == BrowsingMode::isPrivate) {
    if (contains(privateSites_, site)) return false;
    if (contains(privateBlocked_, site)) return true;
  }
  return !contains(content_.value().exceptedSites, site);
}

void BlockingLists::setBlocksAt(const std::string& address, bool blocks, BrowsingMode mode) {
  const auto site = siteOf(address);
  if (site.empty() || blocks == blocksAt(address, mode)) return;
  if (mode == BrowsingMode::isPrivate) {
    vale::take(blocks ? privateSites_ : privateBlocked_, site);
    (blocks ? privateBlocked_ : privateSites_).push_back(site);
  } else {
    auto content = content_.value();
    vale::take(content.exceptedSites, site);
    if (!blocks) content.exceptedSites.push_back(site);
    if (content.exceptedSites.size() > mostSites) content.exceptedSites.erase(content.exceptedSites.begin());
    set(std::move(content));
  }
  sitesChanged_.emit();
}

void BlockingLists::forgetSite(const std::string& host) {
  auto content = content_.value();
  std::erase(content.exceptedSites, host);
  set(std::move(content));
  sitesChanged_.emit();
}

std::string BlockingLists::key() const {
  std::string text(converterVersion);
  if (content_.value().ownList) text += sha256Hex(ownFilters);
  for (const auto& list : content_.value().lists) {
    if (list.enabled) text += "\n" + list.digest;
  }
  return sha256Hex(text);
}

void BlockingLists::setCompiled(CompiledBlocking compiled) {
  auto content = content_.value();
  content.compiled = std::move(compiled);
  set(std::move(content));
}

std::function<std::vector<FilterList>()> BlockingLists::reader() const {
  std::vector<std::filesystem::path> files;
  for (const auto& list : content_.value().lists) {
    if (list.enabled) files.push_back(copyOf(list.id));
  }
  return [own = content_.value().ownList, files = std::move(files)] {
    std::vector<FilterList> lists;
    if (own) lists.push_back(FilterList::parse(ownFilters));
    for (const auto& file : files) {
      const auto text = readFile(file, largestFile);
      if (text) {
        lists.push_back(FilterList::parse(*text));
      } else {
        log::warning("A filter list is left out. {}", text.error().message);
      }
    }
    return lists;
  };
}

void BlockingLists::save() {
  if (file_) file_->save();
}

}  // namespace vale
