#pragma once

#include <boost/json/error.hpp>
#include <boost/json/storage_ptr.hpp>
#include <boost/json/value.hpp>

#include <string_view>

namespace vale {

/// Boost.JSON's parser, mended in two places: numbers are exact to the last bit, and half a surrogate pair
/// that was escaped alone becomes U+FFFD instead of an error. At most 64 levels deep; nothing may follow the
/// value. A value that is only read from can lie in a `storage` that is given back at once; mind that a copy
/// of a part of it, unless assigned to a value that is there already, lies there too.
boost::json::value parseAnyJson(std::string_view text, boost::json::error_code& error,
                                boost::json::storage_ptr storage = {});

}  // namespace vale
