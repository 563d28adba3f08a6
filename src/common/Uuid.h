#pragma once

#include <boost/uuid/uuid.hpp>

#include <compare>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace vale {

/// An identifier: RFC 4122, printed in upper case, parsed in either case.
class Uuid {
 public:
  /// The nil UUID.
  Uuid() = default;

  /// A fresh random (version 4) identifier. Safe on every thread.
  static Uuid random();

  /// Reads the canonical form of 36 characters, and no other.
  static std::optional<Uuid> parse(std::string_view text);

  std::string text() const;

  bool operator==(const Uuid& other) const { return value_ == other.value_; }
  std::strong_ordering operator<=>(const Uuid& other) const {
    return value_ == other.value_  ? std::strong_ordering::equal
           : value_ < other.value_ ? std::strong_ordering::less
                                   : std::strong_ordering::greater;
  }
  std::size_t hash() const { return boost::uuids::hash_value(value_); }

 private:
  boost::uuids::uuid value_{};
};

}  // namespace vale

template <> struct std::hash<vale::Uuid> {
  std::size_t operator()(const vale::Uuid& uuid) const { return uuid.hash(); }
};
