#include "app/gtk/EngineSettings.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <optional>
#include <system_error>

namespace vale::gtk {

namespace {

constexpr std::array keys{EngineSettings::trackingKey, EngineSettings::spellingKey,
                          EngineSettings::spellingLanguageKey, EngineSettings::fontSizeKey,
                          EngineSettings::smallestFontSizeKey};

constexpr const char* dictionaryFolder = "/usr/share/hunspell";
constexpr double usualFontSize = 16;

guint32 size(std::optional<double> value, double usual, double least) {
  return static_cast<guint32>(std::clamp(value.value_or(usual), least, 72.0));
}

std::vector<std::string> installedDictionaries() {
  std::vector<std::string> names;
  std::error_code problem;
  for (std::filesystem::directory_iterator at(dictionaryFolder, problem), end; !problem && at != end;
       at.increment(problem)) {
    if (at->path().extension() == ".dic") names.push_back(at->path().stem());
  }
  std::ranges::sort(names);
  return names;
}

/// The one for the desktop's language, or the nearest to it; the engine itself looks for none.
std::string usualDictionary(const std::vector<std::string>& names) {
  for (auto* language = g_get_language_names(); *language; ++language) {
    const auto fits = [&](const std::string& name) { return name.starts_with(*language); };
    if (const auto found = std::ranges::find_if(names, fits); found != names.end()) return *found;
  }
  return names.front();
}

}  // namespace

EngineSettings::EngineSettings(Preferences& preferences, WebEngine& engine, const Surroundings& surroundings)
    : preferences_(preferences), engine_(engine),
      changes_(preferences.changed().connect([this](const std::string& key) {
        if (std::ranges::find(keys, key) != keys.end()) apply();
      })),
      self_(std::make_shared<EngineSettings*>(this)) {
  apply();
  surroundings.workers.post([main = surroundings.main, weak = std::weak_ptr(self_)] {
    main.post([weak, names = installedDictionaries()] {
      const auto self = weak.lock();
      if (!self) return;
      (*self)->dictionaries_.set(names);
      (*self)->applySpelling();
    });
  });
}

void EngineSettings::apply() {
  webkit_network_session_set_itp_enabled(engine_.session(), preferences_.boolean(trackingKey).value_or(true));
  webkit_settings_set_default_font_size(engine_.settings(),
                                        size(preferences_.number(fontSizeKey), usualFontSize, 6));
  webkit_settings_set_minimum_font_size(engine_.settings(),
                                        size(preferences_.number(smallestFontSizeKey), 0, 0));
  applySpelling();
}

void EngineSettings::applySpelling() {
  const auto& names = dictionaries_.value();
  const bool checks = !names.empty() && preferences_.boolean(spellingKey).value_or(true);
  webkit_web_context_set_spell_checking_enabled(engine_.context(), checks);
  if (!checks) return;
  auto name = preferences_.string(spellingLanguageKey).value_or("");
  if (std::ranges::find(names, name) == names.end()) name = usualDictionary(names);
  const char* const languages[] = {name.c_str(), nullptr};
  webkit_web_context_set_spell_checking_languages(engine_.context(), languages);
}

}  // namespace vale::gtk
