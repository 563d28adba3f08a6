#pragma once

#include "intelligence/ModelInputFilter.h"

#include <optional>
#include <string>
#include <vector>

namespace vale {

/// A page that the user attached to a request.
struct AttachedPage {
  std::string title;
  std::string url;
};

/// What the user asks for without naming a project, and what is known around it.
struct RouteRequest {
  std::string text;
  std::optional<PageContext> page = {};  ///< the one that the user is viewing
  std::vector<AttachedPage> attached = {};
  /// What the browser observed about projects; each a sentence that names its project by id.
  std::vector<std::string> facts = {};
};

}  // namespace vale
