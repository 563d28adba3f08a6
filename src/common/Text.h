#pragma once

#include <cstddef>
#include <string>
#include <string_view>

/// Unicode text in UTF-8. A "character" is what a person sees as one: an extended grapheme cluster (Unicode
/// Standard Annex #29), such as "é", a flag, or CR LF. Bytes that are no UTF-8 are taken, each ill-formed
/// sequence counting as U+FFFD. Safe on every thread.
namespace vale {

std::size_t characterCount(std::string_view text);

/// The first `count` characters, or the whole text when it has no more. Never cuts inside a character. Stops
/// reading where the result ends.
std::string_view firstCharacters(std::string_view text, std::size_t count);

/// Without the white space and newlines (Unicode's White_Space) at both ends.
std::string_view trimmed(std::string_view text);

/// True when nothing else is in it, as in the empty text.
bool onlyWhiteSpace(std::string_view text);

bool isValidUtf8(std::string_view bytes);

/// The text with U+FFFD for every ill-formed sequence (as the Encoding Standard decodes); valid text comes
/// back as it is, moved and not copied.
std::string validUtf8(std::string bytes);

/// Unicode's full case folding: texts that differ only in case have the same one. For comparison, not for
/// display.
std::string foldedCase(std::string_view text);

/// For display in one line: every control character, line or paragraph separator and bidirectional formatting
/// character becomes a space, so that hostile text can neither break the line nor reorder what stands around
/// it.
std::string singleLine(std::string_view text);

}  // namespace vale
