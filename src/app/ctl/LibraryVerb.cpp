#include "app/ctl/Ctl.h"
#include "history/ValeLibrary.h"

#include <fmt/format.h>

#include <cstdio>

namespace vale::ctl {

void addLibraryVerb(CLI::App& app, const CommonOptions& options, Work& work) {
  auto* verb = app.add_subcommand("library", "The library folder that agents search");
  verb->require_subcommand(1);
  auto* prepare = verb->add_subcommand("prepare", "Make the folder and its instruction files");
  auto* path = verb->add_subcommand("path", "Print where the folder is");
  prepare->callback([&] {
    work = [&] {
      ValeLibrary{ValeLibraryPaths::library(options.support)}.prepare();
      return done;
    };
  });
  path->callback([&] {
    work = [&] {
      fmt::print("{}\n", ValeLibraryPaths::library(options.support).native());
      return done;
    };
  });
}

}  // namespace vale::ctl
