#include "browser/FindMatches.h"

#include <fmt/format.h>

namespace vale {

void FindMatches::looking(Look look) { look_ = look; }

void FindMatches::found(unsigned count) {
  const bool counts = look_ != Look::next && look_ != Look::previous;
  if (counts) total_ = count;
  switch (look_) {
  case Look::fromTop:
    position_ = 1;
    break;
  case Look::fromEnd:
    position_ = count <= most ? std::optional(count) : std::nullopt;
    break;
  case Look::fromSelection:
    position_ = count == 1 ? std::optional(1U) : std::nullopt;
    break;
  case Look::next:
    if (position_) ++*position_;
    break;
  case Look::previous:
    if (position_) --*position_;
    break;
  }
  // The page has changed meanwhile.
  if (position_ && (*position_ < 1 || *position_ > total_.value_or(0))) position_.reset();
}

std::optional<FindMatches::Look> FindMatches::notFound() {
  const bool around = total_.value_or(0) > 0;
  if (around && (look_ == Look::next || look_ == Look::fromSelection)) return Look::fromTop;
  if (around && look_ == Look::previous) return Look::fromEnd;
  if (look_ == Look::fromSelection) return Look::fromTop;
  total_ = 0;
  position_.reset();
  return std::nullopt;
}

void FindMatches::counted(unsigned count) {
  if (total_ != count) position_.reset();
  total_ = count;
}

void FindMatches::forget() {
  total_.reset();
  position_.reset();
}

std::string FindMatches::text() const {
  if (!total_) return {};
  if (*total_ == 0) return "No results";
  const auto all = *total_ > most ? fmt::format("more than {}", most) : std::to_string(*total_);
  if (position_) return fmt::format("{} of {}", *position_, all);
  return *total_ == 1 ? "1 match" : all + " matches";
}

}  // namespace vale
