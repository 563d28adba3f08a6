#include "agents/GitProject.h"

#include "common/PrivateFiles.h"
#include "common/Text.h"

#include <fmt/format.h>
#include <openssl/evp.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <memory>
#include <ranges>
#include <utility>

namespace vale {
namespace {

/// Enough for the names of a million files.
constexpr std::size_t listLimit = 256 << 20;

EnvironmentVariables quietEnvironment(const EnvironmentVariables& environment) {
  EnvironmentVariables result{
      {"LC_ALL", "C"},
      {"GIT_OPTIONAL_LOCKS", "0"},
      {"GIT_TERMINAL_PROMPT", "0"},
      // A repository that lacks objects would run what its configuration names to get them.
      {"GIT_ALLOW_PROTOCOL", "none"},
      {"GIT_NO_LAZY_FETCH", "1"},
  };
  for (const std::string name : {"PATH", "HOME", "XDG_CONFIG_HOME"}) {
    if (const auto found = environment.find(name); found != environment.end()) result.insert(*found);
  }
  return result;
}

/// What git prints with -z, without the last line feed that is no part of it.
std::vector<std::string> namesIn(std::string_view output) {
  std::vector<std::string> names;
  for (std::size_t end; (end = output.find('\0')) != std::string_view::npos; output.remove_prefix(end + 1)) {
    names.emplace_back(output.substr(0, end));
  }
  return names;
}

/// As git wants a folder in a list that ":" parts.
std::string quotedFolder(const std::string& folder) {
  std::string quoted = "\"";
  for (const char byte : folder) {
    if (byte == '\n') {
      quoted += "\\n";
      continue;
    }
    if (byte == '"' || byte == '\\') quoted += '\\';
    quoted += byte;
  }
  return quoted + "\"";
}

Error failure(const std::filesystem::path& project, const ShortCommand::Outcome& outcome) {
  const std::string reason = outcome.timedOut  ? "it took too long"
                             : outcome.tooLong ? "there are too many"
                                               : singleLine(outcome.diagnostic);
  return Error(fmt::format("Git could not list the files of “{}”: {}.",
                           singleLine(validUtf8(project.native())), reason));
}

}  // namespace

GitProject::GitProject(std::filesystem::path folder, const EnvironmentVariables& environment,
                       CheckpointLimits limits)
    : folder_(std::move(folder)), limits_(limits), environment_(quietEnvironment(environment)) {
  if (const auto path = environment_.find("PATH"); path != environment_.end()) {
    git_ = ShortCommand::find("git", path->second);
  }
}

ShortCommand::Outcome GitProject::ask(const std::filesystem::path& project,
                                      std::vector<std::string> arguments) const {
  std::vector<std::string> all{"--no-pager", "--literal-pathspecs", "-c", "core.fsmonitor=false", "-c",
                               "core.hooksPath=/dev/null",
                               // Another user's repository is only listed: nothing that it names is run.
                               "-c", "safe.directory=*"};
  all.insert(all.end(), std::make_move_iterator(arguments.begin()), std::make_move_iterator(arguments.end()));
  return ShortCommand::run(
      {.executable = *git_, .arguments = std::move(all), .directory = project, .environment = environment_},
      {}, listLimit, limits_.commandTime);
}

std::optional<std::string> GitProject::answer(const std::filesystem::path& project,
                                              std::vector<std::string> arguments) const {
  auto outcome = ask(project, std::move(arguments));
  if (!outcome.succeeded()) return std::nullopt;
  if (outcome.output.ends_with('\n')) outcome.output.pop_back();
  return std::move(outcome.output);
}

std::expected<std::optional<GitListing>, Error> GitProject::list(const std::filesystem::path& project) const {
  if (!git_) return std::nullopt;
  if (answer(project, {"rev-parse", "--is-inside-work-tree"}) != "true") {
    if (answer(project, {"rev-parse", "--is-bare-repository"}) != "true") return std::nullopt;
    return std::unexpected(Error(fmt::format("“{}” is a bare repository, without files that could be kept.",
                                             singleLine(validUtf8(project.filename().native())))));
  }
  GitListing listing;
  auto& repository = listing.repository;
  repository.prefix = answer(project, {"rev-parse", "--show-prefix"}).value_or("");
  repository.objectFormat = answer(project, {"rev-parse", "--show-object-format"}).value_or("sha1");
  const auto objects = answer(project, {"rev-parse", "--git-path", "objects"});
  if (!objects) return std::nullopt;
  repository.objects = (project / *objects).lexically_normal().native();
  repository.head = answer(project, {"rev-parse", "--verify", "--quiet", "HEAD"});
  // A folder that the repository around it ignores would come out empty: it is a project of its own.
  if (!repository.prefix.empty() && ask(project, {"check-ignore", "--quiet", "."}).status == 0) {
    return std::nullopt;
  }

  const auto names = ask(project, {"ls-files", "-z", "--cached", "--others", "--exclude-standard"});
  if (!names.succeeded()) return std::unexpected(failure(project, names));
  for (auto& path : namesIn(names.output)) {
    if (path.ends_with('/')) {
      path.pop_back();
      listing.nestedRepositories.push_back(std::move(path));
    } else {
      listing.paths.push_back(std::move(path));
    }
  }
  std::ranges::sort(listing.paths);
  // An unmerged file is there once for each side.
  const auto repeated = std::ranges::unique(listing.paths);
  listing.paths.erase(repeated.begin(), repeated.end());
  listing.committed = committed(repository);
  return listing;
}

ShortCommand::Outcome GitProject::askObjects(const ProjectRepository& repository,
                                             std::vector<std::string> arguments, std::string_view input,
                                             std::size_t outputLimit) const {
  const bool sha256 = repository.objectFormat == "sha256";
  const auto reader = folder_ / (sha256 ? "Reader-sha256" : "Reader-sha1");
  PrivateFiles::makeFolder(reader / "objects");
  PrivateFiles::makeFolder(reader / "refs");
  PrivateFiles::writeIfChanged("ref: refs/heads/none\n", reader / "HEAD");
  PrivateFiles::writeIfChanged(sha256 ? "[core]\n\trepositoryformatversion = 1\n\tbare = true\n"
                                        "[extensions]\n\tobjectformat = sha256\n"
                                      : "[core]\n\trepositoryformatversion = 0\n\tbare = true\n",
                               reader / "config");
  auto environment = environment_;
  environment["GIT_DIR"] = reader.native();
  environment["GIT_ALTERNATE_OBJECT_DIRECTORIES"] = quotedFolder(repository.objects);
  environment["GIT_CONFIG_NOSYSTEM"] = "1";
  environment["GIT_CONFIG_GLOBAL"] = "/dev/null";
  arguments.insert(arguments.begin(), {"--no-pager", "-c", "safe.directory=*"});
  return ShortCommand::run({.executable = *git_,
                            .arguments = std::move(arguments),
                            .directory = reader,
                            .environment = std::move(environment)},
                           input, outputLimit, limits_.commandTime);
}

std::map<std::string, GitBlob> GitProject::committed(const ProjectRepository& repository) const {
  std::map<std::string, GitBlob> blobs;
  if (!repository.head) return blobs;
  std::string prefix = repository.prefix;
  if (prefix.ends_with('/')) prefix.pop_back();
  const auto outcome =
      askObjects(repository, {"ls-tree", "-r", "-l", "-z", *repository.head + ":" + prefix}, {}, listLimit);
  // Without them (the folder is not in the commit, say) every file is copied.
  if (!outcome.succeeded()) return blobs;
  for (const auto& line : namesIn(outcome.output)) {
    // "100644 blob NAME    SIZE\tPATH"; the size is "-" or "BAD" for what cannot be read.
    const auto tab = line.find('\t');
    std::array<std::string_view, 4> fields;
    std::size_t count = 0;
    for (const auto& part : std::string_view(line).substr(0, tab) | std::views::split(' ')) {
      if (!part.empty() && count < fields.size()) fields[count++] = std::string_view(part);
    }
    GitBlob blob{.name = std::string(fields[2])};
    const auto* end = fields[3].data() + fields[3].size();
    if (tab == std::string::npos || fields[1] != "blob" || fields[3].empty() ||
        std::from_chars(fields[3].data(), end, blob.size).ptr != end) {
      continue;
    }
    blobs.emplace(line.substr(tab + 1), std::move(blob));
  }
  return blobs;
}

std::map<std::string, std::string> GitProject::read(const ProjectRepository& repository,
                                                    const std::vector<GitBlob>& blobs) const {
  std::map<std::string, std::string> contents;
  if (!git_ || blobs.empty()) return contents;
  std::string names;
  std::size_t limit = 0;
  for (const auto& blob : blobs) {
    names += blob.name + "\n";
    limit += std::size_t(blob.size) + 2 * blob.name.size() + 64;
  }
  const auto outcome = askObjects(repository, {"cat-file", "--batch"}, names, limit);
  // "NAME blob SIZE\nCONTENT\n", or "NAME missing\n".
  std::string_view rest = outcome.output;
  for (const auto& blob : blobs) {
    const auto end = rest.find('\n');
    if (end == std::string_view::npos) break;
    const bool present = rest.substr(0, end) == fmt::format("{} blob {}", blob.name, blob.size);
    rest.remove_prefix(end + 1);
    if (!present) continue;
    std::string bytes(rest.substr(0, std::size_t(blob.size)));
    rest.remove_prefix(std::min(rest.size(), std::size_t(blob.size) + 1));
    if (blobName(bytes, repository.objectFormat) == blob.name) contents[blob.name] = std::move(bytes);
  }
  return contents;
}

std::string GitProject::blobName(std::string_view bytes, std::string_view objectFormat) {
  const std::unique_ptr<EVP_MD_CTX, void (*)(EVP_MD_CTX*)> context(EVP_MD_CTX_new(), EVP_MD_CTX_free);
  const auto header = fmt::format("blob {}", bytes.size());
  std::array<unsigned char, EVP_MAX_MD_SIZE> digest;
  unsigned size = 0;
  // The header's own NUL parts it from the content.
  if (!context ||
      EVP_DigestInit_ex(context.get(), objectFormat == "sha256" ? EVP_sha256() : EVP_sha1(), nullptr) != 1 ||
      EVP_DigestUpdate(context.get(), header.c_str(), header.size() + 1) != 1 ||
      EVP_DigestUpdate(context.get(), bytes.data(), bytes.size()) != 1 ||
      EVP_DigestFinal_ex(context.get(), digest.data(), &size) != 1) {
    throw Error("The system's cryptography library refuses to name a file's content.");
  }
  return fmt::format("{:02x}", fmt::join(digest.begin(), digest.begin() + size, ""));
}

}  // namespace vale
