#include "projects/LocalServers.h"

#include "common/FileDescriptor.h"
#include "support/ProjectsTest.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace vale::test {
namespace {

namespace fs = std::filesystem;

/// A /proc of listening sockets and the processes that hold them.
struct LocalServers : ProjectsTest {
  void listen(std::string_view address, int port, int inode, std::string_view state = "0A",
              uid_t user = geteuid()) {
    auto& table = address.size() > 8 ? table6_ : table4_;
    table += fmt::format(
        "   0: {}:{:04X} 00000000:0000 {} 00000000:00000000 00:00000000 00000000 {:5}        0 {} 1 "
        "0000000000000000 100 0 0 10 0\n",
        address, port, state, user, inode);
    write(proc / "net/tcp", "  sl  local_address rem_address   st\n" + table4_);
    write(proc / "net/tcp6", "  sl  local_address\ngarbage\n" + table6_);
  }
  void process(int pid, std::string_view folder, std::initializer_list<int> inodes,
               std::string_view command = "node") {
    const auto at = proc / std::to_string(pid);
    fs::create_directories(at / "fd");
    write(at / "comm", fmt::format("{}\n", command));
    fs::create_symlink(folder, at / "cwd");
    int number = 3;
    for (const int inode : inodes)
      fs::create_symlink(fmt::format("socket:[{}]", inode), at / "fd" / std::to_string(number++));
  }
  std::string projectOf(std::string_view address) const {
    const auto found =
        vale::LocalServers(proc).serving(address, {"/home/u/shop", "/home/u/shop/admin", "/home/u/sho"});
    return found ? found->projectID : "";
  }

  fs::path proc = folder / "proc";

 private:
  std::string table4_, table6_;
};

constexpr std::string_view loopback = "0100007F", any = "00000000";
constexpr std::string_view any6 = "00000000000000000000000000000000",
                           loopback6 = "00000000000000000000000001000000";

TEST_F(LocalServers, aPageBelongsToTheProjectItsServerWorksIn) {
  listen(loopback, 5173, 11);
  listen(any, 3000, 12);
  listen(any6, 8080, 13);
  listen(loopback6, 4000, 14);
  listen(loopback, 80, 15);
  listen(loopback, 6000, 16, "01");
  listen(any, 7000, 17, "0A", geteuid() + 1);
  listen("0200A8C0", 7100, 18);
  listen(loopback, 5174, 19);
  process(100, "/home/u/shop/web", {11, 16, 17, 18}, "no\"de\x1b[2J");
  process(101, "/home/u/shop/admin/x", {12, 13});
  process(102, "/home/u/shop", {14, 15});
  process(103, "/home/u/shop (deleted)", {19});
  const std::vector<std::pair<std::string_view, std::string_view>> cases = {
      {"http://localhost:5173/cart?a#b", "/home/u/shop"},
      {"https://LOCALHOST:5173", "/home/u/shop"},
      {"http://127.0.0.1:5173/", "/home/u/shop"},
      {"http://[::1]:5173/", ""},
      {"http://app.localhost:3000/", "/home/u/shop/admin"},
      {"http://127.0.0.1:8080/", "/home/u/shop/admin"},
      {"http://[::1]:4000/", "/home/u/shop"},
      {"http://127.0.0.1:4000/", ""},
      {"http://localhost/", "/home/u/shop"},
      {"http://localhost:6000/", ""},
      {"http://localhost:7000/", ""},
      {"http://localhost:7100/", ""},
      {"http://localhost:5174/", ""},
      {"http://localhost:9/", ""},
      {"http://localhost:99999/", ""},
      {"http://localhost.example.org:5173/", ""},
      {"http://u@example.org:5173/", ""},
      {"file://localhost:5173/", ""},
      {"", ""}};
  for (const auto& [address, expected] : cases) EXPECT_EQ(projectOf(address), expected) << address;
  const auto server = vale::LocalServers(proc).serving("http://localhost:5173/cart", {"/home/u/shop"});
  ASSERT_TRUE(server);
  EXPECT_EQ(vale::LocalServers::fact("http://localhost:5173/cart", *server),
            "The page http://localhost:5173 is served by a process (pid 100, \"node [2J\") working in "
            "/home/u/shop/web, which is project /home/u/shop.");
}

TEST_F(LocalServers, whatIsNotCertainIsNoFact) {
  listen(loopback, 5173, 11);
  listen(loopback6, 5173, 12);
  process(100, "/home/u/shop", {11});
  process(101, "/home/u/sho", {12});
  EXPECT_EQ(projectOf("http://localhost:5173/"), "") << "each family leads elsewhere";
  EXPECT_EQ(projectOf("http://127.0.0.1:5173/"), "/home/u/shop");
  process(102, "/home/u", {11});
  EXPECT_EQ(projectOf("http://127.0.0.1:5173/"), "") << "a process outside of the projects holds it too";
}

TEST_F(LocalServers, theSystemItselfTells) {
  const FileDescriptor socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
  sockaddr_in address{.sin_family = AF_INET, .sin_addr = {.s_addr = htonl(INADDR_LOOPBACK)}};
  socklen_t size = sizeof address;
  ASSERT_EQ(bind(socket.get(), reinterpret_cast<sockaddr*>(&address), size), 0);
  ASSERT_EQ(::listen(socket.get(), 1), 0);
  ASSERT_EQ(getsockname(socket.get(), reinterpret_cast<sockaddr*>(&address), &size), 0);
  const auto page = fmt::format("http://127.0.0.1:{}/", ntohs(address.sin_port));
  const auto here = fs::current_path();
  const auto server = vale::LocalServers().serving(page, {here.native(), "/elsewhere"});
  ASSERT_TRUE(server);
  EXPECT_EQ(server->pid, getpid());
  EXPECT_EQ(server->folder, here);
}

}  // namespace
}  // namespace vale::test
