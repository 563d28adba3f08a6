#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace vale {

/// Shortens a text of more than `limit` bytes to about that: its begin and its end stay, never cut inside a
/// character, and between them a line of its own says how much is missing ("[… 12345 bytes left out …]"). For
/// a text that grows: `omitted` is what this has left out of it so far, and gets the new sum; the begin that
/// was kept then stays.
void cutMiddle(std::string& text, std::size_t limit, std::int64_t& omitted);

}  // namespace vale
