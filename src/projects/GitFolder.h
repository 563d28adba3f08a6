#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace vale {

/// Where the repository of a work tree keeps its data: ".git", or what a file of this name points to. What is
/// in it is read as plain files; nothing that it configures is run. A value.
struct GitFolder {
  std::filesystem::path folder;  ///< of this work tree: HEAD and its log
  std::filesystem::path common;  ///< what all work trees of the repository share: config, references

  /// Of a work tree's root, or of a bare repository's own folder. None when there is no repository, or parts
  /// of it belong to someone else.
  static std::optional<GitFolder> of(const std::filesystem::path& root);

  /// Of a linked work tree the main one's root; none for others.
  std::optional<std::filesystem::path> mainWorkTree() const;

  /// The files of which one changes with every commit, with the branch and with the remotes.
  std::vector<std::filesystem::path> watched() const;

  /// The address of "origin", or else of the first remote, without any credentials; none when there is no
  /// remote or its address has a form that could hide some.
  std::optional<std::string> remote() const;
};

/// The address of a git remote without user names, passwords, tokens and queries; none when it is of no form
/// that is known to be free of them then.
std::optional<std::string> withoutCredentials(std::string_view remote);

}  // namespace vale
