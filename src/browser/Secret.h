#pragma once

#include <openssl/crypto.h>

#include <string>
#include <string_view>
#include <utility>

namespace vale {

/// A password on its way: its bytes are wiped when it goes, and nothing prints or encodes it.
class Secret {
 public:
  Secret() = default;
  explicit Secret(std::string text) : text_(std::move(text)) {}
  ~Secret() { wipe(); }
  Secret(const Secret&) = default;
  Secret(Secret&& other) noexcept : text_(std::move(other.text_)) { other.wipe(); }
  Secret& operator=(Secret other) noexcept {
    std::swap(text_, other.text_);
    return *this;
  }

  const std::string& text() const { return text_; }
  bool empty() const { return text_.empty(); }
  bool operator==(const Secret&) const = default;

 private:
  void wipe() noexcept {
    // The whole buffer: a short text may have been a longer one.
    text_.resize(text_.capacity());
    OPENSSL_cleanse(text_.data(), text_.size());
    text_.clear();
  }

  std::string text_;
};

}  // namespace vale
