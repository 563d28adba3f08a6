#include "app/gtk/WindowPart.h"

#include "app/gtk/AgentPanel.h"
#include "app/gtk/BlockingHere.h"
#include "app/gtk/BookmarkPart.h"
#include "app/gtk/BrowserServices.h"
#include "app/gtk/DownloadsButton.h"
#include "app/gtk/FindBar.h"
#include "app/gtk/FullscreenControl.h"
#include "app/gtk/LinkStatusLabel.h"
#include "app/gtk/PageTools.h"
#include "app/gtk/PrivacyPart.h"
#include "app/gtk/Screenshots.h"
#include "app/gtk/SiteInformation.h"
#include "app/gtk/ZoomButton.h"

namespace vale::gtk {

std::vector<std::unique_ptr<WindowPart>> makeWindowParts(const WindowPlace& place) {
  std::vector<std::unique_ptr<WindowPart>> parts;
  parts.push_back(std::make_unique<PageTools>(place, place.services.sources));
  parts.push_back(std::make_unique<Screenshots>(place));
  parts.push_back(std::make_unique<FindBar>(place));
  parts.push_back(std::make_unique<ZoomButton>(place, place.services.zoomFor(place.context->model->mode)));
  parts.push_back(std::make_unique<LinkStatusLabel>(place));
  parts.push_back(std::make_unique<FullscreenControl>(place));
  parts.push_back(std::make_unique<SiteInformation>(place));
  if (place.services.base.intelligence) parts.push_back(std::make_unique<AgentPanel>(place));
  if (auto& downloads = place.services.downloads) {
    parts.push_back(std::make_unique<DownloadsButton>(place, *downloads));
  }
  parts.push_back(makeBlockingHere(place, *place.services.blocking));
  parts.push_back(makeBookmarkPart(place));
  parts.push_back(std::make_unique<PrivacyPart>(place));
  return parts;
}

}  // namespace vale::gtk
