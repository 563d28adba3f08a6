#pragma once

#include "app/AddressSuggestions.h"
#include "browser/BrowserModel.h"
#include "common/Queues.h"

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vale::gtk {

/// A session that an earlier start found, as the window lists it.
struct EarlierSession {
  std::string name;
  Date savedAt;
  std::size_t windows = 0;
  std::size_t tabs = 0;
};

/// What a window asks of the application, on the main thread. What is left out does nothing.
struct WindowHost {
  /// With an empty tab, or with one for the address.
  std::function<void(BrowsingMode, const std::string& address)> newWindow = [](BrowsingMode,
                                                                               const std::string&) {};
  std::function<void(const Uuid& model)> closeWindow = [](const Uuid&) {};
  /// The later of this window's last closed tab and the last closed window.
  std::function<void(BrowserModel&)> reopenClosed = [](BrowserModel&) {};
  /// Into a window of its own.
  std::function<void(const Uuid& tab)> detachTab = [](const Uuid&) {};
  std::function<void(const Uuid& tab, BrowserModel& target, std::size_t index)> moveTab =
      [](const Uuid&, BrowserModel&, std::size_t) {};
  std::function<void(const Uuid& model)> noteFront = [](const Uuid&) {};
  /// What text in the address entry of a window may mean.
  std::function<std::vector<AddressSuggestion>(std::string_view typed, const BrowserModel&)> suggestions =
      [](std::string_view, const BrowserModel&) { return std::vector<AddressSuggestion>(); };
  /// Selects a tab of any window and brings that window to the front.
  std::function<void(const Uuid& tab)> showTab = [](const Uuid&) {};
  /// Reads off the main thread and answers on it, newest first.
  std::function<void(std::function<void(std::vector<EarlierSession>)>)> earlierSessions =
      [](const auto& answer) { answer({}); };
  /// Opens the windows of a session beside those that are open; answers with a sentence when it could not.
  std::function<void(const std::string& name, std::function<void(std::optional<std::string>)>)>
      restoreSession = [](const std::string&, const auto& answer) { answer(std::nullopt); };
  /// Opens the settings over the window that shows this model.
  std::function<void(const Uuid& model)> showSettings = [](const Uuid&) {};
};

/// What the parts of one window share.
struct WindowContext {
  std::shared_ptr<BrowserModel> model;
  WindowHost host;
  MainQueue main;

  /// Runs `work` after the event that is being handled: what closes a tab may take the very widget along.
  template <typename Work> void later(Work work) const {
    main.post([model = std::weak_ptr(model), work = std::move(work)] {
      if (const auto held = model.lock()) work(*held);
    });
  }
};

using SharedContext = std::shared_ptr<const WindowContext>;

}  // namespace vale::gtk
