#include "app/ctl/Ctl.h"

#include <fmt/format.h>

#include <csignal>
#include <cstdio>

namespace {

int report(std::string_view message, int code) {
  fmt::print(stderr, "valectl: {}\n", message);
  return code;
}

int runCommandLine(int count, char** words) {
  using namespace vale;
  CLI::App app{"Vale from a terminal.", "valectl"};
  app.set_version_flag("--version", std::string("valectl ") + std::string(version()));
  app.require_subcommand(1);
  app.fallthrough();
  ctl::CommonOptions options;
  app.add_option("--support", options.support, "The support folder, instead of the user's own");
  app.add_flag("--json", options.json, "Answer in JSON");

  ctl::Work work;
  ctl::addAgentsVerb(app, options, work);
  ctl::addRunVerb(app, options, work);
  ctl::addAskVerb(app, options, work);
  ctl::addGroupVerb(app, options, work);
  ctl::addLibraryVerb(app, options, work);
  ctl::addHistoryVerb(app, options, work);
  ctl::addProjectsVerb(app, options, work);
  ctl::addRouteVerb(app, options, work);
  ctl::addSessionVerb(app, options, work);
  ctl::addThreadsVerb(app, options, work);
  try {
    app.parse(count, words);
  } catch (const CLI::Success& asked) {
    return app.exit(asked);
  } catch (const CLI::ParseError& error) {
    std::string sentence = error.what();
    if (!sentence.ends_with('.')) sentence += ".";
    return report(sentence + " See valectl --help.", ctl::usage);
  }
  if (options.support.empty()) {
    options.support = supportFolder();
  } else {
    options.support = std::filesystem::absolute(options.support);
  }
  return work();
}

}  // namespace

int main(int count, char** words) {
  // A file-size limit is then an error like a full disk, with a sentence.
  std::signal(SIGXFSZ, SIG_IGN);
  try {
    return runCommandLine(count, words);
  } catch (const vale::ctl::UsageError& error) {
    return report(error.message, vale::ctl::usage);
  } catch (const std::exception& error) {
    return report(error.what(), vale::ctl::failed);
  }
}
