#include "history/AddressIndex.h"

#include "common/Text.h"
#include "common/WebAddress.h"
#include "history/SearchQuery.h"

#include <unicode/uchar.h>
#include <unicode/utf8.h>

#include <algorithm>
#include <cmath>

namespace vale {
namespace {

using std::chrono::sys_seconds;

constexpr std::chrono::duration<double> halfLife = std::chrono::days(30);
constexpr double typedWeight = 3;
constexpr double hostBeginBonus = 4;
constexpr double hostWordBonus = 2;
constexpr double titleWordBonus = 1;

/// So many visits wait until all are put in order again, which takes some milliseconds.
constexpr std::size_t maximumUnranked = 2'000;

double weightOf(const AddressIndexRow& row) {
  const double visits =
      double(std::max<std::int64_t>(row.visitCount, 1)) + typedWeight * double(row.typedCount);
  return std::log2(visits) + row.lastVisitedAt.time_since_epoch() / halfLife;
}

/// How much of an address or of typed text is a scheme that nobody looks for.
std::size_t schemeLength(std::string_view folded) {
  for (const std::string_view scheme : {"https://", "http://"}) {
    if (folded.starts_with(scheme)) return scheme.size();
  }
  return 0;
}

std::string foldedText(const AddressIndexRow& row) {
  const auto url = foldedCase(row.url);
  std::string text = url.substr(schemeLength(url)) + '\n' + foldedCase(row.title);
  // A line feed parts the two, and one entry from the next.
  std::replace(text.begin() + std::ptrdiff_t(url.size() - schemeLength(url)) + 1, text.end(), '\n', ' ');
  return text + '\n';
}

/// True where a word begins: behind anything but a letter or digit, and anywhere in a script that is written
/// without spaces.
bool beginsWord(std::string_view text, std::size_t at) {
  if (at == 0) return true;
  auto position = std::int32_t(at);
  UChar32 before = 0;
  U8_PREV(text.data(), 0, position, before);
  if (before < 0x80) return before < 0 || !u_isalnum(before);
  const auto lineBreak = u_getIntPropertyValue(before, UCHAR_LINE_BREAK);
  return !u_isalnum(before) || lineBreak == U_LB_IDEOGRAPHIC || lineBreak == U_LB_COMPLEX_CONTEXT;
}

std::size_t findWord(std::string_view text, std::string_view word, std::size_t from = 0) {
  auto at = text.find(word, from);
  while (at != text.npos && !beginsWord(text, at)) at = text.find(word, at + 1);
  return at;
}

/// What one word is worth in an entry; none when it is not there.
std::optional<double> bonus(std::string_view entry, std::string_view word) {
  const auto found = findWord(entry, word);
  if (found == entry.npos) return std::nullopt;
  constexpr std::string_view www = "www.";
  const std::size_t hostBegin = entry.starts_with(www) ? www.size() : 0;
  if (found == 0 || found == hostBegin || entry.substr(hostBegin).starts_with(word)) return hostBeginBonus;
  const auto urlEnd = entry.find('\n');
  if (found < std::min(entry.find('/'), urlEnd)) return hostWordBonus;
  return found > urlEnd || findWord(entry, word, urlEnd + 1) != entry.npos ? titleWordBonus : 0;
}

/// Where words stand in a text as it is displayed. Folding can change lengths, so that the bytes of the
/// folded text are counted back.
std::vector<MatchRange> rangesOf(std::string_view text, const std::vector<SearchWord>& words,
                                 std::size_t skipped) {
  std::string folded;
  std::vector<std::size_t> origins;
  for (auto at = std::int32_t(skipped); at < std::int32_t(text.size());) {
    const auto begin = std::size_t(at);
    U8_FWD_1(text.data(), at, std::int32_t(text.size()));
    folded += foldedCase(text.substr(begin, std::size_t(at) - begin));
    origins.resize(folded.size(), begin);
  }
  std::vector<MatchRange> ranges;
  for (const auto& word : words) {
    const auto found = findWord(folded, word.folded());
    if (found == folded.npos) continue;
    auto end = std::int32_t(origins[found + word.folded().size() - 1]);
    U8_FWD_1(text.data(), end, std::int32_t(text.size()));
    ranges.push_back({origins[found], std::size_t(end) - origins[found]});
  }
  std::ranges::sort(ranges, {}, &MatchRange::begin);
  std::vector<MatchRange> joined;
  for (const auto& range : ranges) {
    if (!joined.empty() && range.begin <= joined.back().begin + joined.back().length) {
      const auto end = std::max(joined.back().begin + joined.back().length, range.begin + range.length);
      joined.back().length = end - joined.back().begin;
    } else {
      joined.push_back(range);
    }
  }
  return joined;
}

std::vector<SearchWord> wordsOf(std::string_view text) {
  std::vector<SearchWord> words;
  std::string folded = foldedCase(trimmed(text));
  folded.erase(0, schemeLength(folded));
  for (std::string_view rest = folded; !rest.empty();) {
    const auto word = rest.substr(0, rest.find_first_of(" \t\n"));
    rest.remove_prefix(std::min(rest.size(), word.size() + 1));
    if (!word.empty()) words.emplace_back(std::string(word));
  }
  std::ranges::stable_sort(words, {}, &SearchWord::commonness);
  return words;
}

/// The best of what it is given, at most `limit`.
class Best {
 public:
  struct One {
    double score = 0;
    std::size_t entry = 0;
  };

  explicit Best(std::size_t limit) : limit_(limit) {}

  /// False when an entry of this score would not be among them.
  bool takes(double score) const {
    return ones_.size() < limit_ || (limit_ > 0 && score > ones_.back().score);
  }

  void add(One one) {
    if (!takes(one.score)) return;
    ones_.insert(std::ranges::upper_bound(ones_, one.score, std::greater(), &One::score), one);
    if (ones_.size() > limit_) ones_.pop_back();
  }

  const std::vector<One>& ones() const { return ones_; }

 private:
  std::size_t limit_;
  std::vector<One> ones_;
};

}  // namespace

AddressIndex::AddressIndex(std::vector<AddressIndexRow> rows) {
  entries_.reserve(rows.size());
  byAddress_.reserve(rows.size());
  for (auto& row : rows) {
    const auto [found, isNew] = byAddress_.try_emplace(normalizeURL(row.url));
    if (isNew) add(std::move(row), *found);
  }
  rank();
}

void AddressIndex::add(AddressIndexRow row, Address& address) {
  address.second = entries_.size();
  const double weight = weightOf(row);
  auto folded = foldedText(row);
  entries_.push_back({std::move(row), weight, std::move(folded), &address});
}

/// Puts all entries in order, which all but the latest are in.
void AddressIndex::rank() {
  const auto byWeight = [](const Entry& a, const Entry& b) { return a.weight > b.weight; };
  const auto latest = entries_.begin() + std::ptrdiff_t(begins_.size());
  std::sort(latest, entries_.end(), byWeight);
  std::inplace_merge(entries_.begin(), latest, entries_.end(), byWeight);
  std::erase_if(entries_, [](const Entry& entry) { return !entry.address; });
  text_.clear();
  begins_.clear();
  begins_.reserve(entries_.size());
  for (std::size_t i = 0; i < entries_.size(); ++i) {
    entries_[i].address->second = i;
    begins_.push_back(text_.size());
    text_ += entries_[i].folded;
  }
  text_.reserve(text_.size() + searchPadding);
}

void AddressIndex::record(std::string_view url, std::string_view title,
                          std::optional<VisitTransition> transition, sys_seconds at) {
  const auto [found, isNew] = byAddress_.try_emplace(normalizeURL(url));
  AddressIndexRow row{.lastVisitedAt = at};
  if (!isNew) {
    auto& old = entries_[found->second];
    row = std::move(old.row);
    old.address = nullptr;
  }
  row.url = url;
  if (!title.empty()) row.title = title;
  ++row.visitCount;
  if (transition == VisitTransition::typed) ++row.typedCount;
  row.lastVisitedAt = std::max(row.lastVisitedAt, at);
  add(std::move(row), *found);
  if (entries_.size() - begins_.size() > maximumUnranked) rank();
}

void AddressIndex::remove(std::string_view url) {
  const auto found = byAddress_.find(normalizeURL(url));
  if (found == byAddress_.end()) return;
  auto& entry = entries_[found->second];
  entry.address = nullptr;
  entry.row = {};
  byAddress_.erase(found);
}

std::vector<AddressCompletion> AddressIndex::complete(std::string_view text, std::size_t limit) const {
  const auto words = wordsOf(text);
  Best best(limit);
  const auto consider = [&](std::size_t number, std::string_view folded) {
    const auto& entry = entries_[number];
    if (!entry.address) return;
    const double share = 1 / double(std::max<std::size_t>(words.size(), 1));
    double score = entry.weight + (words.empty() ? 0 : hostBeginBonus);
    for (const auto& word : words) {
      if (!best.takes(score)) return;
      const auto worth = bonus(folded, word.folded());
      if (!worth) return;
      score -= (hostBeginBonus - *worth) * share;
    }
    best.add({score, number});
  };
  for (auto number = begins_.size(); number < entries_.size(); ++number)
    consider(number, entries_[number].folded);
  for (std::size_t number = 0; number < begins_.size(); ++number) {
    if (!words.empty()) {
      const auto at = words.front().findPossible(text_, begins_[number]);
      if (at == text_.size()) break;
      // Mostly it is one of the next.
      const auto first = begins_.begin() + std::ptrdiff_t(number);
      const auto near = first + std::min<std::ptrdiff_t>(8, begins_.end() - first);
      auto next = std::upper_bound(first, near, at);
      if (next == near) next = std::upper_bound(near, begins_.end(), at);
      number = std::size_t(next - begins_.begin()) - 1;
    }
    // Those that follow weigh no more.
    if (!best.takes(entries_[number].weight + (words.empty() ? 0 : hostBeginBonus))) break;
    // The text is at hand where the last was, the entry's own is not.
    consider(number, std::string_view(text_).substr(begins_[number], entries_[number].folded.size()));
  }
  std::vector<AddressCompletion> completions;
  for (const auto& one : best.ones()) {
    const auto& row = entries_[one.entry].row;
    completions.push_back(
        {row, rangesOf(row.url, words, schemeLength(foldedCase(row.url))), rangesOf(row.title, words, 0)});
  }
  return completions;
}

}  // namespace vale
