#pragma once

#include "app/gtk/WebEngine.h"
#include "common/Preferences.h"
#include "common/Published.h"
#include "common/Surroundings.h"

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace vale::gtk {

/// Hands the user's settings to the web engine, at once and whenever they change. Main thread only.
class EngineSettings {
 public:
  static constexpr std::string_view trackingKey = "ValePreventTracking";
  static constexpr std::string_view spellingKey = "ValeCheckSpelling";
  /// The name of a dictionary, such as "de_AT"; without it that of the desktop's language.
  static constexpr std::string_view spellingLanguageKey = "ValeSpellingLanguage";
  static constexpr std::string_view fontSizeKey = "ValeFontSize";
  static constexpr std::string_view smallestFontSizeKey = "ValeSmallestFontSize";

  /// Both must outlive the object.
  EngineSettings(Preferences& preferences, WebEngine& engine, const Surroundings& surroundings);
  EngineSettings(const EngineSettings&) = delete;
  EngineSettings& operator=(const EngineSettings&) = delete;

  /// The dictionaries for spelling that are installed, by their names; empty until they are known.
  const Published<std::vector<std::string>>& dictionaries() const { return dictionaries_; }

 private:
  void apply();
  void applySpelling();

  Preferences& preferences_;
  WebEngine& engine_;
  Published<std::vector<std::string>> dictionaries_;
  Subscription changes_;
  std::shared_ptr<EngineSettings*> self_;
};

}  // namespace vale::gtk
