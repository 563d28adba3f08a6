#pragma once

#include "projects/ProjectRecord.h"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <sys/types.h>
#include <vector>

namespace vale {

/// A process of this user that serves pages on this machine.
struct LocalServer {
  pid_t pid = 0;
  std::string command;           ///< its short name, one line; programs choose it themselves
  std::filesystem::path folder;  ///< its working folder
  std::string projectID;

  bool operator==(const LocalServer&) const = default;
};

/// Which project's development server a page on this machine comes from, as the system itself knows it: the
/// socket that listens at the port, the process that holds it, and where that works (proc(5)). Reads the
/// disk.
class LocalServers {
 public:
  explicit LocalServers(std::filesystem::path proc = "/proc") : proc_(std::move(proc)) {}

  /// The port of an address of this machine ("http://localhost:5173/cart", 127.0.0.1, [::1], a name below
  /// ".localhost"); none for every other address.
  static std::optional<std::uint16_t> localPort(std::string_view address);

  /// The server of the page, if processes of this user alone listen there, and all of them work in one of
  /// the projects, or in folders of it. None otherwise: what is not certain is no fact.
  std::optional<LocalServer> serving(std::string_view address,
                                     const std::vector<std::string>& projectIDs) const;

  /// The fact in a sentence: what serves the page, where it works and which project that is.
  static std::string fact(std::string_view address, const LocalServer& server);

 private:
  std::optional<std::vector<std::string>> socketsAt(std::string_view address, std::uint16_t port) const;
  std::vector<LocalServer> holders(const std::vector<std::string>& sockets) const;

  std::filesystem::path proc_;
};

}  // namespace vale
