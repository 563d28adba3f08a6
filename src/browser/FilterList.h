#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vale {

/// The sites that a filter is for: those named and what lies below them, or all but those named.
struct FilterSites {
  std::vector<std::string> only;
  std::vector<std::string> allBut;  ///< empty where there are some in `only`

  bool operator==(const FilterSites&) const = default;
};

/// What a filter of requests is about, as bits.
enum class FilterType : std::uint32_t {
  script = 1 << 0,
  image = 1 << 1,
  stylesheet = 1 << 2,
  font = 1 << 3,
  media = 1 << 4,
  fetch = 1 << 5,
  frame = 1 << 6,
  webSocket = 1 << 7,
  ping = 1 << 8,
  other = 1 << 9,
  popup = 1 << 10,
  page = 1 << 11,           ///< the page itself; of an exception, everything in it
  hiding = 1 << 12,         ///< an exception: hides nothing in the page
  genericHiding = 1 << 13,  ///< an exception: hides in the page only what is meant for it
};

/// What a page loads.
inline constexpr std::uint32_t resourceTypes = (1 << 10) - 1;

enum class FilterParty { any, first, third };

/// Blocks or lets through requests.
struct RequestFilter {
  enum class Effect { block, blockAlways, allow };

  Effect effect = Effect::block;
  std::vector<std::string> expressions;
  bool isCaseSensitive = false;
  std::uint32_t types = resourceTypes;
  FilterParty party = FilterParty::any;
  FilterSites sites;

  bool operator==(const RequestFilter&) const = default;
};

/// Hides elements of pages, or is an exception from that.
struct HidingFilter {
  std::string selector;
  FilterSites sites;
  bool isException = false;

  bool operator==(const HidingFilter&) const = default;
};

/// What an EasyList file says, or a hosts file. A value; pure. Any bytes are taken: lines that cannot be
/// converted for the engine are counted.
struct FilterList {
  static constexpr std::size_t mostFilters = 300'000;
  static constexpr std::size_t longestLine = 32 * 1024;

  std::string title;  ///< as the list calls itself; one line of text, or empty
  std::vector<RequestFilter> requests;
  std::vector<HidingFilter> hidings;
  std::size_t notUnderstood = 0;
  std::size_t leftOut = 0;  ///< understood, but beyond the limit

  std::size_t used() const { return requests.size() + hidings.size(); }

  static FilterList parse(std::string_view text);
};

/// "41,234 rules used, 812 not understood"
std::string describeFilters(std::size_t used, std::size_t notUnderstood);

}  // namespace vale
