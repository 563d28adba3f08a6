#pragma once

#include "projects/ProjectRecord.h"

#include <string>
#include <string_view>

/// The files of the project index as agents read them. Pure.
namespace vale::ProjectIndexText {

/// "INDEX.md": a section a project, headed by "## " and its id, in the order given; last the folders that no
/// longer exist. No text of a project can make a heading: each stands in a list's line or behind "> ".
std::string markdown(const ProjectIndexRecord& index);

/// "projects.json": one object with a line for each project.
std::string json(const ProjectIndexRecord& index);

/// "AGENTS.md": what agents are told of the two.
std::string_view instructions();

}  // namespace vale::ProjectIndexText
