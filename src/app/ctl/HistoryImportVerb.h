#pragma once

#include "app/ctl/Ctl.h"
#include "history/HistoryRecords.h"

#include <filesystem>
#include <string>

namespace vale::ctl {

/// The counters of an import, as they are printed.
json::object describe(const HistoryImportBatch& batch);

/// `valectl history import --from`: merges the visits of one profile of "firefox" or "chromium", or of all
/// that the home folder has when `profile` is empty, and prints each profile's counters as a line of JSON. A
/// profile that cannot be read is named and the others go on. Ends soon after an interrupt, what was merged
/// staying.
int importFromBrowser(const CommonOptions& options, const std::string& browser,
                      const std::filesystem::path& profile);

}  // namespace vale::ctl
