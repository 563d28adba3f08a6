#pragma once

#include "agents/CheckpointRecords.h"
#include "agents/ProjectChanges.h"
#include "agents/ProjectLook.h"

#include <optional>
#include <string>
#include <vector>

namespace vale {

/// What there is to say of the files before a turn and at its end. Pure.
namespace CheckpointChanges {

/// The files that differ, by path. A file that is not kept differs when the system says that it was touched.
std::vector<RecordedChange> between(const CheckpointFiles& before, const ProjectLook::After& after);

FileChangeKind kind(const RecordedChange& change);

/// Why the file cannot be put back, whatever it is now: a sentence.
std::optional<std::string> obstacle(const RecordedChange& change);

}  // namespace CheckpointChanges

}  // namespace vale
