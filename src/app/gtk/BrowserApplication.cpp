#include "app/gtk/BrowserApplication.h"

#include "app/HistoryAnswers.h"
#include "app/LinkPlace.h"
#include "app/NewTabPage.h"
#include "app/gtk/SettingsWindow.h"
#include "app/gtk/WindowActions.h"
#include "app/pages/Pages.h"
#include "browser/LinuxMemoryPressure.h"
#include "common/Error.h"
#include "common/Log.h"
#include "common/SupportFolder.h"
#include "history/ValeLibrary.h"

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <exception>
#include <glib-unix.h>
#include <utility>

namespace vale::gtk {

namespace {

constexpr const char* applicationId = "org.vale.Browser";
constexpr Seconds screenshotLimit{45};

/// How long pages may take at the end to say what they show.
constexpr Seconds lastWordLimit{2};

constexpr double usualSleepCheck = 60;

constexpr std::string_view newWindowWord = "--new-window";
constexpr std::string_view privateWord = "--private";

Task<std::string> answered(std::shared_ptr<HistoryAnswers> answers, std::string question) {
  co_return co_await answers->answer(std::move(question));
}

bool isSteered(const CommandLine& commandLine) {
  return commandLine.automation || commandLine.screenshot || commandLine.picture || commandLine.support;
}

}  // namespace

BrowserApplication::BrowserApplication(CommandLine commandLine, std::filesystem::path home)
    : commandLine_(std::move(commandLine)), home_(std::move(home)) {
  const auto flags =
      G_APPLICATION_HANDLES_COMMAND_LINE | (isSteered(commandLine_) ? G_APPLICATION_NON_UNIQUE : 0);
  application_ = GObjectPointer<AdwApplication>::adopt(
      adw_application_new(applicationId, static_cast<GApplicationFlags>(flags)));
  connections_.push_back(connect(application_.get(), "startup", [this] { startUp(); }));
  connections_.push_back(connect(application_.get(), "command-line",
                                 [this](GApplicationCommandLine* arguments) { return openFrom(arguments); }));
}

BrowserApplication::~BrowserApplication() {
  for (const auto signal : signals_) g_source_remove(signal);
}

int BrowserApplication::run() {
  // Complete addresses only, so that a first `vale` needs to know nothing of a second one's folder.
  std::vector<std::string> arguments{"vale"};
  if (commandLine_.isPrivate) arguments.emplace_back(privateWord);
  if (commandLine_.newWindow) arguments.emplace_back(newWindowWord);
  arguments.insert(arguments.end(), commandLine_.addresses.begin(), commandLine_.addresses.end());
  std::vector<char*> pointers;
  for (auto& argument : arguments) pointers.push_back(argument.data());
  pointers.push_back(nullptr);
  const int status = g_application_run(G_APPLICATION(application_.get()), static_cast<int>(arguments.size()),
                                       pointers.data());
  if (windows_) windows_->terminating = true;
  finishHistory();
  save();
  pictures_.clear();
  // What the windows show ends before what it is about.
  if (windows_) windows_->forgetWindows();
  sleep_.reset();
  projects_.reset();
  intelligence_.reset();
  builtIn_.reset();
  recorder_.reset();
  addresses_.reset();
  windows_.reset();
  services_.reset();
  return status == 0 ? status_ : status;
}

// ---------------------------------------------------------------------------------------------------------
// Starting

void BrowserApplication::startUp() {
  const auto action = GObjectPointer<GSimpleAction>::adopt(g_simple_action_new("quit", nullptr));
  g_action_map_add_action(G_ACTION_MAP(application_.get()), G_ACTION(action.get()));
  connections_.push_back(connect(action.get(), "activate", [this](GVariant*) {
    const bool may = !services_ || !services_->closing || services_->closing->mayEnd([this] { quit(); });
    if (may) quit();
  }));
  setAccelerators(GTK_APPLICATION(application_.get()));
  gtk_window_set_default_icon_name(applicationId);
  // The end of the desktop session, or of the terminal: everything is written before this process goes.
  for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
    signals_.push_back(g_unix_signal_add(
        signal,
        [](gpointer self) -> gboolean {
          static_cast<BrowserApplication*>(self)->quit();
          return G_SOURCE_CONTINUE;
        },
        this));
  }
  try {
    place_.emplace(commandLine_);
  } catch (const Error& error) {
    return endWith(error.message);
  }
  preferences_ =
      std::make_unique<Preferences>(place_->folder() / "preferences.json", main_, workers_, clock_);
  searchEngines_ = std::make_unique<SearchEngines>(*preferences_);
  input_ = std::make_unique<AddressInput>(
      home_, [this](std::string_view words) { return searchEngines_->list().value().search(words); });
  startEngine();
  startSession();
  startHistory();
  startIntelligence();
  services_ = std::make_unique<BrowserServices>(
      BrowserServices::Base{.surroundings = {.main = main_, .workers = workers_, .clock = clock_},
                            .supportFolder = place_->folder(),
                            .preferences = *preferences_,
                            .session = *session_,
                            .windows = *windows_,
                            .engine = *engine_,
                            .searchEngines = *searchEngines_,
                            .history = history_.get(),
                            .intelligence = intelligence_.get(),
                            .builtIn = builtIn_.get(),
                            .showTab = [this](const Uuid& tab) { showTab(tab); }});
  services_->cleaner->onHistoryChange = [weak = std::weak_ptr(addresses_)] {
    if (const auto addresses = weak.lock()) addresses->load();
  };
}

void BrowserApplication::startEngine() {
  const auto control = commandLine_.automation ? WebEngine::Control::automation : WebEngine::Control::user;
  const bool kept = place_->isKept() && !commandLine_.automation;
  try {
    engine_ =
        std::make_unique<WebEngine>(kept ? std::optional(place_->folder() / "web") : std::nullopt, control);
  } catch (const Error& error) {
    log::error("{} Cookies and site data will be forgotten when Vale ends.", error.message);
    engine_ = std::make_unique<WebEngine>(std::nullopt, control);
  }
  if (!commandLine_.automation) return;
  connections_.push_back(
      connect(engine_->context(), "automation-started", [this](WebKitAutomationSession* session) {
        auto* information = webkit_application_info_new();
        webkit_application_info_set_name(information, "vale");
        webkit_automation_session_set_application_info(session, information);
        webkit_application_info_unref(information);
        connections_.push_back(connect(session, "create-web-view::tab",
                                       [this] { return viewForDriver(TabPlace::frontWindow); }));
        connections_.push_back(connect(session, "create-web-view::window",
                                       [this] { return viewForDriver(TabPlace::newWindow); }));
      }));
}

void BrowserApplication::startSession() {
  session_ = BrowserSession::load({.supportFolder = place_->folder()}, *preferences_,
                                  {.main = main_, .workers = workers_, .clock = clock_});
  windows_ = std::make_unique<BrowserWindows>(
      *session_, *engine_, [this]() -> std::shared_ptr<PageEngine> { return engine_->newPrivateEngine(); });
  windows_->onOpen = [this](const auto& opened) { showWindows(opened); };
  windows_->onClose = [this](const auto& closed, const auto* next) { windowClosed(closed, next); };
  pressure_ = std::make_unique<DesktopMemoryPressure>(
      std::make_unique<LinuxMemoryPressure>(main_, workers_, clock_), clock_);
  const auto delay = preferences_->number(TabSleepController::delayKey);
  const Seconds interval(std::clamp(delay.value_or(usualSleepCheck), 1.0, usualSleepCheck));
  sleep_ = std::make_unique<TabSleepController>(main_, *preferences_, clock_, *pressure_, interval);
  sleep_->start();
}

void BrowserApplication::startHistory() {
  // A picture of one page leaves nothing behind, and waits for nothing.
  if (commandLine_.screenshot) return;
  history_ =
      std::make_unique<HistoryStore>(ValeLibrary(ValeLibraryPaths::library(place_->folder())), workers_);
  // For agents, who may come before the first visit; what is wrong with the folder a visit will tell.
  asio::co_spawn(main_.executor(), history_->prepare(), asio::detached);
  recorder_ = std::make_unique<HistoryRecorder>(main_, clock_, *history_);
  recorder_->keepsClosingPages = !commandLine_.automation;
  builtIn_ = std::make_unique<BuiltInPages>(engine_->context(), main_);
  const auto answers = std::make_shared<HistoryAnswers>(*history_, clock_);
  builtIn_->add(
      {.address = historyAddress,
       .html = pages::historyHtml,
       .style = pages::historyStyle,
       .script = pages::historyScript,
       .name = "history",
       .answer = [answers](std::string question) { return answered(answers, std::move(question)); }});
  addresses_ = std::make_shared<AddressBook>(main_, workers_, *history_, *session_, *input_);
  addresses_->load();
  recordedVisits_ = recorder_->onRecorded([this](const HistoryVisit& visit) {
    addresses_->record(visit);
    intelligence_->noteVisit(visit);
  });
  answers->onChange = [weak = std::weak_ptr(addresses_)] {
    if (const auto addresses = weak.lock()) addresses->load();
  };
  historyProblems_ = recorder_->problem().subscribe([this](const std::optional<std::string>& problem) {
    const auto former = std::exchange(historyProblem_, problem);
    for (const auto& entry : windows_->entries()) {
      auto& shown = entry.model->storageError;
      // Another problem's sentence stays.
      if (problem || shown.value() == former) shown.set(problem);
    }
  });
}

void BrowserApplication::startIntelligence() {
  if (commandLine_.screenshot) return;
  intelligence_ =
      std::make_unique<BrowserIntelligence>(place_->folder(), *preferences_, *windows_,
                                            Surroundings{.main = main_, .workers = workers_, .clock = clock_},
                                            [this](const Uuid& tab) { showTab(tab); });
  intelligence_->serve(*builtIn_);
  if (commandLine_.automation) return;
  projects_ =
      std::make_unique<ProjectIndexUpkeep>(ProjectPlaces::ofThisUser(place_->folder()),
                                           Surroundings{.main = main_, .workers = workers_, .clock = clock_});
}

int BrowserApplication::openFrom(GApplicationCommandLine* arguments) {
  if (!windows_) return status_;
  int count = 0;
  const std::unique_ptr<char*, decltype(&g_strfreev)> texts(
      g_application_command_line_get_arguments(arguments, &count), g_strfreev);
  std::vector<std::string> addresses;
  bool newWindow = false;
  bool isPrivate = false;
  for (int i = 1; i < count; ++i) {
    const std::string_view word = texts.get()[i];
    if (word == newWindowWord) {
      newWindow = true;
    } else if (word == privateWord) {
      isPrivate = true;
    } else {
      addresses.emplace_back(word);
    }
  }
  const bool first = windows_->entries().empty();
  if (first && commandLine_.screenshot) {
    windows_->openNew();
  } else if (first && !isPrivate && !addresses.empty() && session_->savedWindows().empty() &&
             !session_->savedClosedWindow()) {
    // The page loads in its own processes while this one builds the window.
    windows_->openNew(BrowsingMode::ordinary, addresses.front());
    addresses.erase(addresses.begin());
    newWindow = false;
  } else if (first) {
    windows_->restore();
  }
  if (isPrivate) {
    windows_->openNew(BrowsingMode::isPrivate);
  } else if (newWindow || (!first && addresses.empty())) {
    windows_->openNew();
  }
  const auto place = preferences_->string(linkPlaceKey).value_or("");
  if (!first && !addresses.empty() && !isPrivate && !newWindow &&
      fromRawValue<LinkPlace>(place) == LinkPlace::window) {
    windows_->openNew();
  }
  auto& model = windowFor(isPrivate ? BrowsingMode::isPrivate : BrowsingMode::ordinary);
  for (const auto& address : addresses) open(address, model);
  if (const auto* shown = windows_->entry(model.id); shown && shown->window && !first) {
    shown->window->bringToFront();
  }
  if (commandLine_.screenshot) takeScreenshot();
  return 0;
}

/// The one in front, unless it is of the other kind: what another program hands over is not for a private
/// window that happens to be open.
BrowserModel& BrowserApplication::windowFor(BrowsingMode mode) {
  if (const auto* front = windows_->front(); front && front->model->mode == mode) return *front->model;
  const auto& all = windows_->entries();
  const auto last =
      std::find_if(all.rbegin(), all.rend(), [mode](const auto& entry) { return entry.model->mode == mode; });
  return last == all.rend() ? windows_->openNew(mode) : *last->model;
}

/// In the window's tab when that is empty, else in a new one.
void BrowserApplication::open(const std::string& address, BrowserModel& model) {
  const auto selected = model.selected();
  if (selected && selected->isStart()) {
    selected->open(address, model.engine());
  } else {
    model.open(address, {});
  }
}

// ---------------------------------------------------------------------------------------------------------
// Windows

void BrowserApplication::showWindows(const std::vector<BrowserWindows::Entry*>& opened) {
  for (auto* entry : opened) {
    auto window =
        std::make_shared<BrowserWindow>(GTK_APPLICATION(application_.get()), entry->model, hostOfWindows(),
                                        *input_, clock_, *services_, commandLine_.size);
    entry->window = window;
    sleep_->attach(entry->model);
    if (recorder_) recordVisits(entry->model, window->window());
    if (intelligence_) intelligence_->attach(entry->model, GTK_WIDGET(window->window()));
    if (intelligence_ && !commandLine_.automation) startIn(entry->model);
    if (const auto& problem = place_->problem()) entry->model->storageError.set(*problem);
    if (!commandLine_.picture) continue;
    const auto pictures = std::make_shared<PictureSaver>(*window, *commandLine_.picture, clock_, main_,
                                                         SerialQueue(workers_, "pictures"));
    const auto take = [pictures](const auto&) {
      pictures->save([](const PictureSaver::Problem& problem) {
        if (problem) log::error("{}", *problem);
      });
    };
    pictures_[entry->model->id] = std::make_unique<WindowPictures>(*entry->model, take);
    // Also of a window that waits for its first address.
    main_.post([take] { take(std::nullopt); });
  }
}

void BrowserApplication::recordVisits(const std::shared_ptr<BrowserModel>& model, GtkWindow* window) {
  recorder_->attach(model);
  builtIn_->attach(*model);
  connections_.push_back(connect(window, "notify::is-active", [this, id = model->id, window](GParamSpec*) {
    if (gtk_window_is_active(window)) {
      activeWindow_ = id;
    } else if (activeWindow_ == id) {
      activeWindow_.reset();
    }
    if (recorder_) recorder_->setFront(activeWindow_);
  }));
}

/// Shows the page of new tabs in every tab that is selected with nothing in it. Private windows start empty.
void BrowserApplication::startIn(const std::shared_ptr<BrowserModel>& model) {
  if (model->isPrivate()) return;
  const auto start = [this, weak = std::weak_ptr(model)] {
    // Later: what was asked for may come to be opened in this very tab.
    main_.post([this, weak] {
      const auto model = weak.lock();
      const auto tab = model ? model->selected() : nullptr;
      if (!tab || tab->page() || !tab->url().empty()) return;
      if (const auto address = newTabAddress(*preferences_); !address.empty()) {
        tab->open(address, model->engine());
      }
    });
  };
  starts_.push_back(model->onSelectionChange(start));
  start();
}

void BrowserApplication::showSettingsOver(const Uuid& model) {
  const auto* entry = windows_->entry(model);
  if (!intelligence_ || !entry || !entry->window) return;
  showSettings(static_cast<BrowserWindow&>(*entry->window).window(), entry->model, *services_);
}

void BrowserApplication::windowClosed(const BrowserWindows::Entry& closed,
                                      const BrowserWindows::Entry* next) {
  pictures_.erase(closed.model->id);
  if (!next && !windows_->terminating) {
    main_.post([this] { g_application_quit(G_APPLICATION(application_.get())); });
  }
}

WindowHost BrowserApplication::hostOfWindows() {
  return {
      .newWindow = [this](BrowsingMode mode,
                          const std::string& address) { windows_->openNew(mode, address); },
      .closeWindow =
          [this](const Uuid& model) {
            // Not at once: the window is still busy with this very signal.
            main_.post([this, model] { windows_->close(model); });
          },
      .reopenClosed = [this](BrowserModel& model) { reopenClosed(model); },
      .detachTab = [this](const Uuid& tab) { windows_->detachToNewWindow(tab); },
      .moveTab = [this](const Uuid& tab, BrowserModel& target,
                        std::size_t index) { windows_->moveTab(tab, target, index); },
      .noteFront = [this](const Uuid& model) { windows_->noteFront(model); },
      .suggestions = [this](std::string_view typed,
                            const BrowserModel& asking) { return suggestions(typed, asking); },
      .showTab = [this](const Uuid& tab) { showTab(tab); },
      .earlierSessions = [this](auto answer) { listEarlierSessions(std::move(answer)); },
      .restoreSession = [this](const std::string& name,
                               auto answer) { restoreEarlierSession(name, std::move(answer)); },
      .showSettings = [this](const Uuid& model) { showSettingsOver(model); },
  };
}

std::vector<AddressSuggestion> BrowserApplication::suggestions(std::string_view typed,
                                                               const BrowserModel& asking) const {
  if (!addresses_) return {};
  std::vector<std::shared_ptr<BrowserModel>> windows;
  for (const auto& entry : windows_->entries()) windows.push_back(entry.model);
  return addresses_->suggestions(typed, windows, asking);
}

void BrowserApplication::showTab(const Uuid& tab) {
  const auto* entry = windows_->entryOfTab(tab);
  if (!entry) return;
  entry->model->select(tab);
  if (entry->window) entry->window->bringToFront();
}

void BrowserApplication::reopenClosed(BrowserModel& model) {
  const auto& tabs = model.closedTabs();
  const auto window = windows_->lastClosedAt();
  if (tabs.empty() || (window && *window > tabs.back().closedAt)) {
    windows_->reopenLastClosed();
  } else {
    model.reopen(tabs.back().entryID);
  }
}

void BrowserApplication::listEarlierSessions(std::function<void(std::vector<EarlierSession>)> answer) {
  session_->listGenerations([answer = std::move(answer)](std::vector<SessionGeneration> kept) {
    std::vector<EarlierSession> sessions;
    for (auto& one : kept) {
      sessions.push_back(
          {.name = std::move(one.name), .savedAt = one.date, .windows = one.windows, .tabs = one.tabs});
    }
    answer(std::move(sessions));
  });
}

void BrowserApplication::restoreEarlierSession(const std::string& name,
                                               std::function<void(std::optional<std::string>)> answer) {
  session_->readGeneration(name, [this, answer = std::move(answer)](const auto& read) {
    if (!read) return answer(read.error().message);
    for (const auto& window : read->restoredWindows()) windows_->open(window, false);
    if (read->closedWindow) windows_->open(*read->closedWindow, false);
    answer(std::nullopt);
  });
}

// ---------------------------------------------------------------------------------------------------------
// Steered by a machine

/// The selected tab of the window that was there from the beginning, then a new one each time.
WebKitWebView* BrowserApplication::viewForDriver(TabPlace place) {
  const auto* front = windows_->front();
  const bool first = !std::exchange(driverHasWindow_, true) && front;
  auto& model = first || (place == TabPlace::frontWindow && front) ? *front->model : windows_->openNew();
  if (!first && place == TabPlace::frontWindow) model.open({}, {});
  const auto tab = model.selected();
  if (!tab->page()) tab->open("about:blank", model.engine());
  return static_cast<WebKitPage&>(*tab->page()).view();
}

void BrowserApplication::takeScreenshot() {
  const auto& entry = *windows_->front();
  auto& window = static_cast<BrowserWindow&>(*entry.window);
  const auto pictures = std::make_shared<PictureSaver>(window, *commandLine_.screenshot, clock_, main_,
                                                       SerialQueue(workers_, "pictures"));
  timeLimit_ = clock_.schedule(screenshotLimit, [this] {
    endWith(fmt::format("{} did not load and paint within {} seconds.", commandLine_.addresses.front(),
                        static_cast<int>(screenshotLimit.count())));
  });
  pictures_[entry.model->id] =
      std::make_unique<WindowPictures>(*entry.model, [this, pictures](const auto& failure) {
        if (failure) return endWith(*failure);
        pictures->save([this](const PictureSaver::Problem& problem) { endWith(problem); });
      });
}

void BrowserApplication::endWith(const std::optional<std::string>& problem) {
  if (problem) {
    std::fprintf(stderr, "vale: %s\n", problem->c_str());
    status_ = 1;
  }
  g_application_quit(G_APPLICATION(application_.get()));
}

// ---------------------------------------------------------------------------------------------------------
// Ending

void BrowserApplication::quit() {
  if (windows_) windows_->terminating = true;
  g_application_quit(G_APPLICATION(application_.get()));
}

/// Turns the main loop once more, so that what is on screen is in the history with its last text and time.
void BrowserApplication::finishHistory() {
  if (!recorder_) return;
  const auto done = std::make_shared<bool>(false);
  const auto limit = clock_.schedule(lastWordLimit, [done] { *done = true; });
  asio::co_spawn(main_.executor(), recorder_->flush(), [done](const std::exception_ptr&) { *done = true; });
  while (!*done) g_main_context_iteration(nullptr, TRUE);
}

void BrowserApplication::save() {
  if (!session_) return;
  if (services_) services_->shutdown();
  if (intelligence_) intelligence_->shutdown();
  session_->save();
  preferences_->save();
}

}  // namespace vale::gtk
