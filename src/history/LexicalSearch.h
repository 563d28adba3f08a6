#pragma once

#include "common/Queues.h"
#include "history/HistoryVisit.h"

#include <cstddef>
#include <filesystem>
#include <string_view>
#include <vector>

namespace vale {

/// Plain text search over the archives in `historyFolder`: every word of the query occurs in the address, the
/// title or the excerpt, in any order and any case (Unicode case folding), a quoted phrase as one. The newest
/// visits first, at most `limit`. With `workers` the archives are scanned by several threads, of which the
/// calling one is always one, since it may itself be the pool's last free thread. Lines that cannot be read
/// are passed over: another program may be in the middle of writing one.
std::vector<HistoryVisit> lexicalSearch(const std::filesystem::path& historyFolder, std::string_view query,
                                        std::size_t limit, WorkerPool* workers);

}  // namespace vale
