#include "common/Sha256.h"

#include "common/Error.h"

#include <openssl/evp.h>

#include <array>

namespace vale {

std::string sha256Hex(std::string_view bytes) {
  std::array<unsigned char, EVP_MAX_MD_SIZE> digest;
  unsigned size = 0;
  if (EVP_Digest(bytes.data(), bytes.size(), digest.data(), &size, EVP_sha256(), nullptr) != 1) {
    throw Error("The system's cryptography library refuses SHA-256.");
  }
  std::string text;
  text.reserve(2 * size);
  for (unsigned i = 0; i < size; ++i) {
    constexpr std::string_view digits = "0123456789abcdef";
    text += digits[digest[i] >> 4];
    text += digits[digest[i] & 15];
  }
  return text;
}

}  // namespace vale
