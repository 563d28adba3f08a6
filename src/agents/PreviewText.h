#pragma once

#include <boost/json/fwd.hpp>

#include <cstddef>
#include <string>
#include <string_view>

namespace vale {

/// Agents' and commands' text made fit for showing. Never cut inside a character; "…" stands last where
/// something was left out. Hostile text costs no more than its shown part.

/// At most `characters` characters. Line breaks and tabs stay; terminal sequences and other control
/// characters go; what would reorder the text around it becomes U+FFFD, so that a command cannot look like
/// another.
std::string previewText(std::string_view text, std::size_t characters = 4000);

/// The same in one line.
std::string previewLine(std::string_view text, std::size_t characters);

/// The JSON text of a value, cut like the others.
std::string previewJson(const boost::json::value& value, std::size_t characters = 4000);

}  // namespace vale
