#include "common/Json.h"
#include "history/HistoryLineReader.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>

namespace {

void check(bool holds) {
  if (!holds) std::abort();
}

}  // namespace

/// Any bytes as an archive: what is read as a visit is JSON, comes back from its own line as it is, and is
/// the same wherever its line stands.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const vale::ArchiveBytes archive(std::string(reinterpret_cast<const char*>(data), size));
  vale::HistoryLineReader reader;
  vale::HistoryVisit visit;
  std::size_t position = 0;
  while (const auto line = archive.nextLine(position)) {
    const bool readable = reader.read(*line, archive, visit);
    const auto alone = vale::decodeVisit(*line);
    check(readable == alone.has_value());
    if (!readable) continue;
    check(visit == *alone && vale::tryParseJson(*line).has_value());
    check(vale::decodeVisit(vale::jsonLine(visit)) == visit);
  }
  return 0;
}
