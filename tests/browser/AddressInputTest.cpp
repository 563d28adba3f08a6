#include "browser/AddressInput.h"

#include "common/Error.h"

#include <gtest/gtest.h>

namespace vale {
namespace {

using Kind = AddressRequest::Kind;

AddressRequest interpret(std::string_view typed) {
  return AddressInput("/home/ada", "https://find.example/?q={searchTerms}&s=1").interpret(typed);
}

TEST(AddressInput, opensWhatLooksLikeAnAddress) {
  const std::pair<std::string, std::string> cases[] = {
      {"https://example.org/a?b#c", "https://example.org/a?b#c"},
      {" \t\nexample.org\r\n ", "https://example.org"},
      {"example.org.", "https://example.org."},
      {"https://example.org/a b", "https://example.org/a%20b"},
      {"EXAMPLE.org/Path?q=1", "https://EXAMPLE.org/Path?q=1"},
      {"//example.org/x", "https://example.org/x"},
      {"wiki:8080/x", "https://wiki:8080/x"},
      {"localhost", "http://localhost"},
      {"LocalHost:3000/x?y", "http://LocalHost:3000/x?y"},
      {"app.localhost", "http://app.localhost"},
      {"printer.local", "http://printer.local"},
      {"127.0.0.1:8080", "http://127.0.0.1:8080"},
      {"10.1.2.3", "http://10.1.2.3"},
      {"172.31.0.1", "http://172.31.0.1"},
      {"172.32.0.1", "https://172.32.0.1"},
      {"192.168.1.1/admin", "http://192.168.1.1/admin"},
      {"169.254.1.1", "http://169.254.1.1"},
      {"8.8.8.8", "https://8.8.8.8"},
      {"[::1]:8080/x", "http://[::1]:8080/x"},
      {"[fe80::1]", "http://[fe80::1]"},
      {"[fd00::1]", "http://[fd00::1]"},
      {"[2001:db8::1]", "https://[2001:db8::1]"},
      {"münchen.de/straße", "https://münchen.de/straße"},
      {"例え.テスト", "https://例え.テスト"},
      {"about:blank", "about:blank"},
      {"vale://start", "vale://start"},
      {"data:text/html,<p>a b", "data:text/html,<p>a%20b"},
      {"gemini://example.org/", "gemini://example.org/"},
      {"/etc/hosts", "file:///etc/hosts"},
      {"/tmp/a b#c?d%é", "file:///tmp/a%20b%23c%3Fd%25%C3%A9"},
      {"~", "file:///home/ada"},
      {"~/notes.html", "file:///home/ada/notes.html"},
      {"file:///tmp/x y", "file:///tmp/x%20y"},
  };
  for (const auto& [typed, address] : cases) {
    const auto request = interpret(typed);
    EXPECT_EQ(request.kind, Kind::page) << typed;
    EXPECT_EQ(request.address, address) << typed;
  }
}

TEST(AddressInput, searchesForEverythingElse) {
  for (const std::string typed : {"weather",
                                  "what is node.js",
                                  "example.org:8443/a b",
                                  "3.14",
                                  "1.2.3.4.5",
                                  "1.2.3.999",
                                  "a..b",
                                  ".hidden",
                                  "-x.org",
                                  "etc/passwd",
                                  "...",
                                  "ada@example.org",
                                  "site:example.org",
                                  "define:word",
                                  "c++: how",
                                  "http: the definitive guide",
                                  "https://",
                                  "foo:bar",
                                  "localhost:x",
                                  "[::g]",
                                  "[::1",
                                  "~ada/x",
                                  "a:b@c.org",
                                  "example.org:99999999x",
                                  "what's an <a>.b?"}) {
    EXPECT_EQ(interpret(typed).kind, Kind::search) << typed;
  }
  EXPECT_EQ(interpret("a&b=ü #1{}").address, "https://find.example/?q=a%26b%3D%C3%BC%20%231%7B%7D&s=1");
  EXPECT_EQ(interpret("{searchTerms}").address, "https://find.example/?q=%7BsearchTerms%7D&s=1");
  EXPECT_THROW(AddressInput("/", "https://find.example/"), Error);
}

TEST(AddressInput, refusesScriptsAndHugeTextsAndIgnoresBlanks) {
  for (const std::string typed :
       {"javascript:alert(1)", " JavaScript://x%0aalert(1)", "vbscript:x", "\x01javascript:alert(1)"}) {
    EXPECT_EQ(interpret(typed).kind, Kind::refused) << typed;
    EXPECT_TRUE(interpret(typed).address.empty()) << typed;
  }
  for (const std::string typed : {"", " \t\n", "\x7f\x01", "\u3000"})
    EXPECT_EQ(interpret(typed), AddressRequest{});
  EXPECT_EQ(interpret(std::string(4096, 'x')).kind, Kind::search);
  EXPECT_EQ(interpret(std::string(4097, 'x')).kind, Kind::refused);
  EXPECT_EQ(interpret("https://x.org/" + std::string(60'000, 'x')).kind, Kind::page);
  std::string indented(100'000, ' ');
  indented.append("x.org");
  EXPECT_EQ(interpret(indented).address, "https://x.org");
  EXPECT_EQ(interpret("https://x.org/" + std::string(70'000, 'x')).kind, Kind::refused);
  // A tab or a line end inside of a scheme must not hide it from the check above and be dropped by the engine
  // later.
  EXPECT_EQ(interpret("java\tscript:alert(1)").kind, Kind::search);
}

}  // namespace
}  // namespace vale
