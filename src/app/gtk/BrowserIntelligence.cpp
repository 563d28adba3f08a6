#include "app/gtk/BrowserIntelligence.h"

#include "agents/AgentEnvironment.h"
#include "app/pages/Pages.h"
#include "browser/BuiltInAddresses.h"
#include "common/SupportFolder.h"
#include "common/WebAddress.h"
#include "history/ValeLibrary.h"

#include <utility>

namespace vale::gtk {

namespace {

/// Of pages with such fields the newest so many are remembered.
constexpr std::size_t mostSensitive = 2'000;

Task<std::string> answered(std::shared_ptr<StartPageAnswers> answers, std::string question) {
  co_return answers->answer(question);
}

}  // namespace

BrowserIntelligence::BrowserIntelligence(const std::filesystem::path& supportFolder, Preferences& preferences,
                                         BrowserWindows& windows, const Surroundings& surroundings,
                                         std::function<void(const Uuid&)> showTab)
    : clock_(surroundings.clock), main_(surroundings.main),
      agents_({.home = homeFolder(),
               .supportFolder = supportFolder,
               .environment = AgentEnvironment::inherited()},
              surroundings.main, surroundings.workers, surroundings.clock),
      settings_(preferences),
      catalog_(AgentEnvironment::codexHome(AgentEnvironment::inherited(), homeFolder()), surroundings),
      service_({.runtime = agents_,
                .settings = settings_,
                .catalog = catalog_,
                .workingDirectory = ValeLibraryPaths::library(supportFolder),
                .surroundings = surroundings}),
      lastInput_(clock_.now()),
      grouping_({.client = service_,
                 .inputFilter = filter_,
                 .file = supportFolder / "Intelligence" / "tab-groups.json",
                 .preferences = preferences,
                 .surroundings = surroundings,
                 .inputIdleTime = [this] { return Seconds(clock_.now() - lastInput_); }}),
      answers_(std::make_shared<StartPageAnswers>(grouping_, windows, surroundings.main, std::move(showTab))),
      desk_({.supportFolder = supportFolder,
             .places = ProjectPlaces::ofThisUser(supportFolder),
             .environment = AgentEnvironment::inherited(),
             .agents = agents_,
             .client = service_,
             .provider = [this] { return service_.provider().value(); },
             .inputFilter = filter_,
             .settings = settings_,
             .catalog = catalog_,
             .surroundings = surroundings}) {
  filter_.detector = [this](const PageContext& page) {
    return page.sensitive || sensitive_.contains(normalizeURL(page.url));
  };
}

BrowserIntelligence::~BrowserIntelligence() = default;

void BrowserIntelligence::serve(BuiltInPages& pages) {
  pages.add({.address = startAddress,
             .html = pages::startHtml,
             .style = pages::startStyle,
             .script = pages::startScript,
             .name = "start",
             .answer = [answers = answers_](std::string question) {
               return answered(answers, std::move(question));
             }});
  answers_->onChange = [&pages] { pages.refresh(startAddress); };
}

void BrowserIntelligence::attach(const std::shared_ptr<BrowserModel>& model, GtkWidget* window) {
  if (!model->isPrivate()) {
    grouping_.attach(model);
    answers_->attach(model);
  }
  // Input to any window keeps the user from being idle.
  auto* input = gtk_event_controller_legacy_new();
  gtk_event_controller_set_propagation_phase(input, GTK_PHASE_CAPTURE);
  connections_.push_back(connect(input, "event", [this](GdkEvent*) -> gboolean {
    lastInput_ = clock_.now();
    return FALSE;
  }));
  gtk_widget_add_controller(window, input);
}

void BrowserIntelligence::noteVisit(const HistoryVisit& visit) {
  if (!visit.sensitive) return;
  auto address = normalizeURL(visit.url);
  if (!sensitive_.insert(address).second) return;
  sensitiveOrder_.push_back(std::move(address));
  if (sensitiveOrder_.size() <= mostSensitive) return;
  sensitive_.erase(sensitiveOrder_.front());
  sensitiveOrder_.pop_front();
}

void BrowserIntelligence::shutdown() {
  answers_->onChange = [] {};
  grouping_.shutdown();
  agents_.cancelAll();
  desk_.save();
}

}  // namespace vale::gtk
