#include "projects/DataLine.h"

#include "common/Text.h"

namespace vale {

std::string dataLine(std::string_view text, std::size_t characters) {
  // A single character can be a letter with a million accents.
  constexpr std::size_t longestCharacter = 32;
  const auto bounded = trimmed(text).substr(0, characters * longestCharacter);
  const auto line = singleLine(validUtf8(std::string(firstCharacters(bounded, characters))));
  return std::string(trimmed(line));
}

}  // namespace vale
