#include "projects/ProjectManifests.h"

#include "common/Json.h"
#include "common/Text.h"
#include "projects/PlainFiles.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <optional>

namespace vale {
namespace {

/// How a manifest says its name and description.
enum class Form { none, json, toml, yaml, xml, module };

struct Kind {
  std::string_view name;  ///< a whole file name, or with a leading "*" its end
  std::string_view technology;
  Form form = Form::none;
};

constexpr auto kinds = std::to_array<Kind>({
    {"package.json", "Node.js", Form::json},
    {"Cargo.toml", "Rust", Form::toml},
    {"pyproject.toml", "Python", Form::toml},
    {"go.mod", "Go", Form::module},
    {"pubspec.yaml", "Dart", Form::yaml},
    {"composer.json", "PHP", Form::json},
    {"pom.xml", "Java, Maven", Form::xml},
    {"build.gradle", "Gradle"},
    {"build.gradle.kts", "Gradle"},
    {"settings.gradle", "Gradle"},
    {"settings.gradle.kts", "Gradle"},
    {"build.sbt", "Scala"},
    {"Package.swift", "Swift"},
    {"Gemfile", "Ruby"},
    {"*.gemspec", "Ruby"},
    {"*.sln", ".NET"},
    {"*.csproj", "C#, .NET"},
    {"*.fsproj", "F#, .NET"},
    {"*.xcodeproj", "Xcode"},
    {"CMakeLists.txt", "C/C++, CMake"},
    {"meson.build", "C/C++, Meson"},
    {"MODULE.bazel", "Bazel"},
    {"mix.exs", "Elixir"},
    {"deno.json", "Deno", Form::json},
    {"tsconfig.json", "TypeScript"},
    {"requirements.txt", "Python"},
    {"setup.py", "Python"},
    {"build.zig", "Zig"},
    {"stack.yaml", "Haskell"},
    {"*.cabal", "Haskell"},
    {"dune-project", "OCaml"},
    {"deps.edn", "Clojure"},
    {"project.clj", "Clojure"},
    {"flake.nix", "Nix"},
    {"Dockerfile", "Docker"},
    {"docker-compose.yml", "Docker"},
    {"compose.yaml", "Docker"},
    {"Makefile", "Make"},
    {"Justfile", "just"},
});

/// Packages that say what a project is, by the manifest's own word for them.
constexpr auto packages =
    std::to_array<std::pair<std::string_view, std::string_view>>({{"typescript", "TypeScript"},
                                                                  {"react", "React"},
                                                                  {"react-native", "React Native"},
                                                                  {"next", "Next.js"},
                                                                  {"vue", "Vue"},
                                                                  {"nuxt", "Nuxt"},
                                                                  {"svelte", "Svelte"},
                                                                  {"@sveltejs/kit", "SvelteKit"},
                                                                  {"@angular/core", "Angular"},
                                                                  {"solid-js", "Solid"},
                                                                  {"astro", "Astro"},
                                                                  {"vite", "Vite"},
                                                                  {"electron", "Electron"},
                                                                  {"@tauri-apps/api", "Tauri"},
                                                                  {"expo", "Expo"},
                                                                  {"express", "Express"},
                                                                  {"@nestjs/core", "NestJS"},
                                                                  {"tailwindcss", "Tailwind CSS"},
                                                                  {"three", "three.js"},
                                                                  {"prisma", "Prisma"}});
constexpr auto words =
    std::to_array<std::pair<std::string_view, std::string_view>>({{"django", "Django"},
                                                                  {"fastapi", "FastAPI"},
                                                                  {"flask", "Flask"},
                                                                  {"torch", "PyTorch"},
                                                                  {"tokio", "Tokio"},
                                                                  {"axum", "Axum"},
                                                                  {"bevy", "Bevy"},
                                                                  {"tauri", "Tauri"},
                                                                  {"flutter", "Flutter"},
                                                                  {"rails", "Rails"},
                                                                  {"laravel/framework", "Laravel"},
                                                                  {"spring-boot", "Spring Boot"}});

bool matches(const Kind& kind, std::string_view name) {
  return kind.name.starts_with('*') ? name.ends_with(kind.name.substr(1)) : name == kind.name;
}

void add(std::vector<std::string>& stack, std::string_view technologies) {
  while (!technologies.empty()) {
    const auto end = std::min(technologies.find(", "), technologies.size());
    const auto one = technologies.substr(0, end);
    if (std::ranges::find(stack, one) == stack.end()) stack.emplace_back(one);
    technologies.remove_prefix(std::min(end + 2, technologies.size()));
  }
}

void keepFirst(std::string& place, std::optional<std::string_view> text) {
  if (place.empty() && text) place = trimmed(*text);
}

void readJson(std::string_view text, ProjectManifest& manifest) {
  const auto value = tryParseJson(text);
  const auto* object = value ? value->if_object() : nullptr;
  if (!object) return;
  keepFirst(manifest.name, stringMember(*object, "name"));
  keepFirst(manifest.description, stringMember(*object, "description"));
  for (const auto* key : {"dependencies", "devDependencies", "require"}) {
    const auto* dependencies = objectMember(*object, key);
    if (!dependencies) continue;
    for (const auto& [name, technology] : packages) {
      if (dependencies->contains(name)) add(manifest.stack, technology);
    }
    for (const auto& [name, technology] : words) {
      if (dependencies->contains(name)) add(manifest.stack, technology);
    }
  }
}

/// The text of a quoted or bare value on one line.
std::string_view unquoted(std::string_view value) {
  value = trimmed(value);
  if (value.empty() || (value[0] != '"' && value[0] != '\'')) return value;
  const auto end = value.find(value[0], 1);
  return end == std::string_view::npos ? std::string_view() : value.substr(1, end - 1);
}

/// "key = value" lines of the sections that describe the package, or top-level "key: value" lines.
void readLines(std::string_view text, char separator, ProjectManifest& manifest) {
  bool inPackage = separator == ':';
  while (!text.empty()) {
    const auto end = std::min(text.find('\n'), text.size());
    const auto line = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    if (separator == '=' && line.starts_with('['))
      inPackage = line.starts_with("[package]") || line.starts_with("[project]") ||
                  line.starts_with("[tool.poetry]") || line.starts_with("[workspace.package]");
    const auto at = line.find(separator);
    if (!inPackage || at == std::string_view::npos || line.starts_with(' ')) continue;
    const auto key = trimmed(line.substr(0, at));
    const auto value = unquoted(line.substr(at + 1));
    // What stands on further lines, or in a table, is left out.
    if (value.empty() || value == ">" || value == "|" || value == ">-" || value.starts_with('{')) continue;
    if (key == "name") keepFirst(manifest.name, value);
    if (key == "description") keepFirst(manifest.description, value);
  }
}

void readXml(std::string_view text, ProjectManifest& manifest) {
  const auto element = [&](std::string_view name) -> std::optional<std::string_view> {
    const auto opening = "<" + std::string(name) + ">";
    const auto begin = text.find(opening);
    const auto end = begin == std::string_view::npos ? begin : text.find('<', begin + 1);
    if (end == std::string_view::npos) return std::nullopt;
    return text.substr(begin + opening.size(), end - begin - opening.size());
  };
  keepFirst(manifest.name, element("name"));
  keepFirst(manifest.description, element("description"));
}

void readModule(std::string_view text, ProjectManifest& manifest) {
  constexpr std::string_view opening = "module ";
  if (!text.starts_with(opening)) return;
  auto path = trimmed(text.substr(opening.size(), text.find('\n') - opening.size()));
  keepFirst(manifest.name, path.substr(path.rfind('/') + 1));
}

/// Technologies that the text of a manifest names as a word.
void addWords(std::string_view text, ProjectManifest& manifest) {
  const auto isPart = [](char c) {
    return c == '-' || c == '_' || std::isalnum(static_cast<unsigned char>(c));
  };
  for (const auto& [word, technology] : words) {
    for (auto at = text.find(word); at != std::string_view::npos; at = text.find(word, at + 1)) {
      const auto end = at + word.size();
      if ((at > 0 && isPart(text[at - 1])) || (end < text.size() && isPart(text[end]) && text[end] != '-'))
        continue;
      add(manifest.stack, technology);
      break;
    }
  }
}

}  // namespace

namespace ProjectManifests {

std::vector<std::string> among(const std::vector<std::string>& names) {
  std::vector<std::string> found;
  for (const auto& kind : kinds) {
    // Of ten solutions the first will do.
    std::optional<std::string> first;
    for (const auto& name : names) {
      if (matches(kind, name) && (!first || name < *first)) first = name;
    }
    if (first) found.push_back(std::move(*first));
  }
  return found;
}

ProjectManifest read(const std::filesystem::path& folder, const std::vector<std::string>& names) {
  ProjectManifest manifest;
  for (const auto& name : names) {
    const auto kind = std::ranges::find_if(kinds, [&](const Kind& one) { return matches(one, name); });
    if (kind == kinds.end()) continue;
    add(manifest.stack, kind->technology);
    if (kind->form == Form::none && name != "requirements.txt" && name != "Gemfile") continue;
    const auto text = PlainFiles::beginning(folder / name, largestManifest);
    if (!text) continue;
    switch (kind->form) {
    case Form::json:
      readJson(*text, manifest);
      continue;
    case Form::toml:
      readLines(*text, '=', manifest);
      break;
    case Form::yaml:
      readLines(*text, ':', manifest);
      break;
    case Form::xml:
      readXml(*text, manifest);
      break;
    case Form::module:
      readModule(*text, manifest);
      break;
    case Form::none:
      break;
    }
    addWords(*text, manifest);
  }
  return manifest;
}

}  // namespace ProjectManifests
}  // namespace vale
