#include "app/gtk/CommandLine.h"

#include "common/SupportFolder.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <charconv>
#include <sstream>
#include <system_error>

namespace vale::gtk {

namespace {

constexpr int smallestSide = 100;
constexpr int largestSide = 8192;

std::optional<WindowSize> readSize(const std::string& text) {
  WindowSize size;
  const char* end = text.data() + text.size();
  const auto width = std::from_chars(text.data(), end, size.width);
  if (width.ec != std::errc() || width.ptr == end || *width.ptr != 'x') return std::nullopt;
  const auto height = std::from_chars(width.ptr + 1, end, size.height);
  if (height.ec != std::errc() || height.ptr != end) return std::nullopt;
  const auto fits = [](int side) { return side >= smallestSide && side <= largestSide; };
  return fits(size.width) && fits(size.height) ? std::optional(size) : std::nullopt;
}

CommandLineAnswer mistake(const std::string& sentence) {
  return {std::nullopt, fmt::format("vale: {}\nRun “vale --help” for the options.\n", sentence), 2};
}

/// A picture's folder has to be there before a window is opened for it.
std::optional<std::string> pictureProblem(const std::filesystem::path& file) {
  std::error_code ignored;
  if (std::filesystem::is_directory(file, ignored)) return fmt::format("{} is a folder.", file.native());
  const auto folder = std::filesystem::absolute(file, ignored).parent_path();
  if (file.empty() || !std::filesystem::is_directory(folder, ignored)) {
    return fmt::format("There is no folder {} to save the picture in.", folder.native());
  }
  return std::nullopt;
}

}  // namespace

CommandLineAnswer readCommandLine(int count, const char* const* arguments, const InputOf& inputOf) {
  CommandLine result;
  std::vector<std::string> texts;
  std::string size, screenshot, picture, support;
  CLI::App app("Vale, a web browser that is also a hub for coding agents.", "vale");
  app.set_version_flag("--version", fmt::format("vale {}", version()));
  app.add_option("URL", texts, "Addresses, files or words to search for; each gets a tab");
  app.add_flag("--new-window", result.newWindow, "Open them in a new window");
  app.add_flag("--private", result.isPrivate, "Open them in a private window, which leaves no traces");
  app.add_option("--support", support, "Keep everything in this folder, not in the user's own")
      ->type_name("DIR");
  app.add_option("--screenshot", screenshot, "Open one URL, save a picture of the window as PNG, exit")
      ->type_name("FILE");
  app.add_option("--picture", picture, "Save a picture of the window as PNG after every load")
      ->type_name("FILE");
  app.add_option("--size", size, "Size of new windows")->type_name("WxH");
  app.add_flag("--automation", result.automation, "Let a WebDriver take control");
  try {
    app.parse(count, arguments);
  } catch (const CLI::ParseError& error) {
    std::ostringstream out, problems;
    const bool asked = app.exit(error, out, problems) == 0;
    return asked ? CommandLineAnswer{std::nullopt, out.str(), 0} : mistake(error.what());
  }
  if (app.count("--size")) {
    const auto read = readSize(size);
    if (!read) {
      return mistake(fmt::format("“{}” is no window size. Write it like 1200x800, with sides from {} to {}.",
                                 size, smallestSide, largestSide));
    }
    result.size = *read;
  }
  if (app.count("--support")) {
    if (support.empty()) return mistake("--support takes a folder.");
    result.support = std::filesystem::absolute(support);
  }
  if (app.count("--screenshot")) result.screenshot = screenshot;
  if (app.count("--picture")) result.picture = picture;
  for (const auto& file : {result.screenshot, result.picture}) {
    if (!file) continue;
    if (const auto problem = pictureProblem(*file)) return mistake(*problem);
  }
  if (result.screenshot && texts.size() != 1) return mistake("--screenshot takes one FILE and one URL.");
  if (result.screenshot && (result.picture || result.automation)) {
    return mistake("--screenshot goes neither with --picture nor with --automation.");
  }
  const auto input = inputOf(result.support);
  for (const auto& text : texts) {
    std::error_code ignored;
    const bool file = std::filesystem::exists(text, ignored);
    const auto request =
        input.interpret(file ? std::filesystem::absolute(text, ignored).lexically_normal().native() : text);
    if (request.kind == AddressRequest::Kind::refused) return mistake(request.message);
    if (request.kind == AddressRequest::Kind::nothing) return mistake("An empty text is no address.");
    result.addresses.push_back(request.address);
  }
  return {std::move(result), {}, 0};
}

}  // namespace vale::gtk
