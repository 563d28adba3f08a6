#include "projects/LocalServers.h"

#include "common/FileDescriptor.h"
#include "common/Text.h"
#include "common/WebAddress.h"
#include "projects/ProjectFolders.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <initializer_list>
#include <set>
#include <sys/stat.h>
#include <unistd.h>

namespace vale {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t largestTable = 16 << 20;

template <typename Number> std::optional<Number> number(std::string_view text, int base = 10) {
  Number value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, base);
  if (error != std::errc{} || end != text.data() + text.size() || text.empty()) return std::nullopt;
  return value;
}

/// The bytes of /proc/net/tcp's addresses are printed as words of the machine, which is little-endian here.
constexpr std::string_view loopback4 = "0100007F";
constexpr std::string_view any4 = "00000000";
constexpr std::string_view loopback6 = "00000000000000000000000001000000";
constexpr std::string_view mapped4 = "0000000000000000FFFF00000100007F";
constexpr std::string_view any6 = "00000000000000000000000000000000";

/// A listening socket of a table of the system, see proc(5).
struct Row {
  std::string_view address;
  std::uint16_t port = 0;
  std::string_view inode;
  uid_t user = 0;
};

std::optional<Row> listeningRow(std::string_view line) {
  std::array<std::string_view, 10> fields;
  for (auto& field : fields) {
    const auto begin = line.find_first_not_of(' ');
    if (begin == std::string_view::npos) return std::nullopt;
    const auto end = std::min(line.find(' ', begin), line.size());
    field = line.substr(begin, end - begin);
    line.remove_prefix(end);
  }
  constexpr std::string_view listening = "0A";
  const auto colon = fields[1].find(':');
  if (fields[3] != listening || colon == std::string_view::npos) return std::nullopt;
  const auto port = number<std::uint16_t>(fields[1].substr(colon + 1), 16);
  const auto user = number<uid_t>(fields[7]);
  if (!port || !user) return std::nullopt;
  return Row{.address = fields[1].substr(0, colon), .port = *port, .inode = fields[9], .user = *user};
}

/// The sockets of one table that a connection to `exact` or, where there is none, to any address reaches.
struct Listeners {
  std::vector<std::string> exact{};
  std::vector<std::string> any{};
  bool others = false;  ///< another user listens there too

  const std::vector<std::string>& reached() const { return exact.empty() ? any : exact; }
};

Listeners listenersIn(const std::string& table, std::uint16_t port,
                      std::initializer_list<std::string_view> exact, std::string_view any) {
  Listeners found;
  std::string_view rest = table;
  while (!rest.empty()) {
    const auto end = std::min(rest.find('\n'), rest.size());
    const auto row = listeningRow(rest.substr(0, end));
    rest.remove_prefix(std::min(end + 1, rest.size()));
    if (!row || row->port != port) continue;
    const bool isExact = std::ranges::find(exact, row->address) != exact.end();
    if (!isExact && row->address != any) continue;
    found.others = found.others || row->user != geteuid();
    (isExact ? found.exact : found.any).emplace_back(row->inode);
  }
  return found;
}

std::optional<std::string> linkTarget(const fs::path& link) {
  std::error_code error;
  auto target = fs::read_symlink(link, error);
  return error ? std::nullopt : std::optional(std::move(target).native());
}

std::string commandOf(const fs::path& process) {
  auto text = readFile(process / "comm", 4'096).value_or("");
  text = singleLine(validUtf8(std::move(text)));
  std::erase(text, '"');
  return std::string(firstCharacters(trimmed(text), 40));
}

/// The innermost of the projects around a folder, or empty.
std::string projectAround(const fs::path& folder, const std::vector<std::string>& projectIDs) {
  std::string innermost;
  for (const auto& id : projectIDs) {
    if (id.size() > innermost.size() && ProjectFolders::isWithin(folder, id)) innermost = id;
  }
  return innermost;
}

}  // namespace

std::optional<std::uint16_t> LocalServers::localPort(std::string_view address) {
  const auto origin = webOrigin(address);
  const auto name = host(address);
  if (origin.empty() ||
      (name != "localhost" && name != "127.0.0.1" && name != "[::1]" && !name.ends_with(".localhost")))
    return std::nullopt;
  const auto authority = std::string_view(origin).substr(origin.find("://") + 3);
  if (authority.size() > name.size() && authority[name.size()] == ':')
    return number<std::uint16_t>(authority.substr(name.size() + 1));
  return origin.starts_with("https:") ? 443 : 80;
}

std::optional<std::vector<std::string>> LocalServers::socketsAt(std::string_view address,
                                                                std::uint16_t port) const {
  const auto name = host(address);
  std::vector<std::string> sockets;
  bool others = false;
  const auto take = [&](const Listeners& found) {
    sockets.insert(sockets.end(), found.reached().begin(), found.reached().end());
    others = others || found.others;
  };
  const auto table4 = readFile(proc_ / "net/tcp", largestTable).value_or("");
  const auto table6 = readFile(proc_ / "net/tcp6", largestTable).value_or("");
  // "localhost" may lead to either family: then both must agree. IPv6's "any" serves IPv4 as well.
  if (name != "[::1]") {
    take(listenersIn(table4, port, {loopback4}, any4));
    if (sockets.empty()) take(listenersIn(table6, port, {mapped4}, any6));
  }
  if (name != "127.0.0.1") take(listenersIn(table6, port, {loopback6}, any6));
  if (others || sockets.empty()) return std::nullopt;
  return sockets;
}

std::vector<LocalServer> LocalServers::holders(const std::vector<std::string>& sockets) const {
  std::set<std::string> targets;
  for (const auto& inode : sockets) targets.insert("socket:[" + inode + "]");
  std::vector<LocalServer> found;
  std::error_code error;
  fs::directory_iterator process(proc_, error);
  for (const fs::directory_iterator end; !error && process != end; process.increment(error)) {
    const auto pid = number<pid_t>(process->path().filename().native());
    struct stat status = {};
    if (!pid || stat(process->path().c_str(), &status) != 0 || status.st_uid != geteuid()) continue;
    std::error_code unreadable;
    fs::directory_iterator descriptor(process->path() / "fd", unreadable);
    for (; !unreadable && descriptor != end; descriptor.increment(unreadable)) {
      const auto target = linkTarget(descriptor->path());
      if (!target || !targets.contains(*target)) continue;
      found.push_back({.pid = *pid,
                       .command = commandOf(process->path()),
                       .folder = linkTarget(process->path() / "cwd").value_or("")});
      break;
    }
  }
  std::ranges::sort(found, {}, &LocalServer::pid);
  return found;
}

std::optional<LocalServer> LocalServers::serving(std::string_view address,
                                                 const std::vector<std::string>& projectIDs) const {
  const auto port = localPort(address);
  const auto sockets = port ? socketsAt(address, *port) : std::nullopt;
  if (!sockets) return std::nullopt;
  auto servers = holders(*sockets);
  for (auto& server : servers) {
    server.projectID = projectAround(server.folder, projectIDs);
    if (server.projectID.empty() || server.projectID != servers.front().projectID) return std::nullopt;
  }
  return servers.empty() ? std::nullopt : std::optional(servers.front());
}

std::string LocalServers::fact(std::string_view address, const LocalServer& server) {
  return fmt::format(
      "The page {} is served by a process (pid {}, \"{}\") working in {}, which is project {}.",
      webOrigin(address), server.pid, server.command, singleLine(server.folder.native()), server.projectID);
}

}  // namespace vale
