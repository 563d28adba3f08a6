#include "benchmarks/PaintedPage.h"

#include "benchmarks/Table.h"

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/read_until.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/asio/write.hpp>
#include <fmt/format.h>

#include <string_view>

namespace vale::bench {
namespace {

namespace asio = boost::asio;
using asio::ip::tcp;

constexpr std::string_view page = R"(<!doctype html><title>Painted</title><p>A page with a line of text.
<script>requestAnimationFrame(() => requestAnimationFrame(() => fetch("/painted")))</script>
)";

asio::awaitable<void> answer(tcp::socket socket, bool& painted) {
  std::string request;
  co_await asio::async_read_until(socket, asio::dynamic_buffer(request), "\r\n\r\n", asio::use_awaitable);
  const bool isReport = request.starts_with("GET /painted ");
  const std::string_view body = request.starts_with("GET / ") ? page : std::string_view();
  const std::string reply = fmt::format("HTTP/1.1 200 OK\r\nContent-Type: text/html; charset=utf-8\r\n"
                                        "Content-Length: {}\r\nConnection: close\r\n\r\n{}",
                                        body.size(), body);
  if (isReport) painted = true;
  co_await asio::async_write(socket, asio::buffer(reply), asio::use_awaitable);
}

asio::awaitable<void> serve(tcp::acceptor& acceptor, bool& painted) {
  for (;;) {
    tcp::socket socket = co_await acceptor.async_accept(asio::use_awaitable);
    asio::co_spawn(acceptor.get_executor(), answer(std::move(socket), painted), asio::detached);
  }
}

}  // namespace

struct PaintedPage::Server {
  asio::io_context context;
  tcp::acceptor acceptor{context, {asio::ip::address_v4::loopback(), 0}};
  bool painted = false;
};

PaintedPage::PaintedPage() : server_(std::make_unique<Server>()) {
  asio::co_spawn(server_->context, serve(server_->acceptor, server_->painted), asio::detached);
}

PaintedPage::~PaintedPage() = default;

std::string PaintedPage::address() const {
  return fmt::format("http://127.0.0.1:{}/", server_->acceptor.local_endpoint().port());
}

void PaintedPage::awaitPaint(std::chrono::seconds limit) {
  const auto deadline = std::chrono::steady_clock::now() + limit;
  while (!server_->painted) {
    if (server_->context.run_one_until(deadline) == 0) {
      throw Unmeasured(fmt::format("no page was painted within {} s", limit.count()));
    }
  }
}

}  // namespace vale::bench
