#include "browser/AutomaticDownloads.h"

#include <utility>

namespace vale {

void AutomaticDownloads::noteSite(const std::string& site) {
  if (site == site_) return;
  site_ = site;
  answer_ = Answer::ask;
}

AutomaticDownloads::Answer AutomaticDownloads::request() {
  if (std::exchange(acted_, false)) return Answer::goAhead;
  return answer_;
}

}  // namespace vale
