#pragma once

#include <memory>
#include <string>

namespace vale {

/// A page's icon as the bytes of a PNG file; null when it has none. Shared, never changed.
using PageIcon = std::shared_ptr<const std::string>;

}  // namespace vale
