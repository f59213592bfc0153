#include "tools/deck/PageServer.h"

#include <gmock/gmock.h>

#include <asio/connect.hpp>
#include <asio/io_context.hpp>
#include <asio/ip/tcp.hpp>
#include <asio/read.hpp>
#include <asio/write.hpp>
#include <fstream>
#include <optional>

#include "tools/common/TemporaryFolder.h"
#include "tools/deck/Profile.h"

namespace fs = std::filesystem;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::IsSupersetOf;
using testing::SizeIs;
using testing::StartsWith;

namespace {

constexpr char kToken[] = "0123456789abcdef0123456789abcdef";

class PageServerTest : public testing::Test {
 protected:
  void serve(const char* address, const std::string& token) {
    PageServer::Options options;
    options.address = address;
    options.token = token;
    PageServer::Handlers handlers;
    handlers.file = [](const std::string& path) {
      return path == "page.html" ? std::optional(PageServer::File{"text/html", "the page"})
                                 : std::nullopt;
    };
    handlers.opened = [](PageServer::PageId) {};
    handlers.said = [](PageServer::PageId, const std::string&) {};
    server.emplace(options, handlers);
    server->start();
    goTo(server->urls().at(0));
  }

  // From now on questions go to the address of this URL.
  void goTo(const std::string& url) {
    const auto begin = url.find("//") + 2;
    host = url.substr(begin, url.find('/', begin) - begin);
    const auto colon = host.rfind(':');
    const bool hasBrackets = host.front() == '[';
    endpoint.address(
        asio::ip::make_address(hasBrackets ? host.substr(1, colon - 2) : host.substr(0, colon)));
    endpoint.port(static_cast<std::uint16_t>(std::stoi(host.substr(colon + 1))));
  }

  // The whole answer to a request, up to the head of a WebSocket's answer. Empty: the connection
  // was closed without a word.
  std::string ask(const std::string& path, const std::string& to, const std::string& more = "") {
    asio::io_context context;
    asio::ip::tcp::socket socket(context);
    socket.connect(endpoint);
    asio::write(socket,
                asio::buffer("GET " + path + " HTTP/1.1\r\nHost: " + to + "\r\n" + more + "\r\n"));
    std::string answer;
    asio::error_code ended;
    char piece[1024];
    while (!ended && answer.find(" 101 ") == std::string::npos) {
      answer.append(piece, socket.read_some(asio::buffer(piece), ended));
    }
    return answer;
  }

  std::string knock(const std::string& path, const std::string& origin) {
    return ask(path, host,
               "Connection: Upgrade\r\nUpgrade: websocket\r\nSec-WebSocket-Version: 13\r\n"
               "Sec-WebSocket-Key: dmVsb21hci1kZWNrLXRlc3Q=\r\n" +
                   (origin.empty() ? "" : "Origin: " + origin + "\r\n"));
  }

  std::optional<PageServer> server;
  std::string host;
  asio::ip::tcp::endpoint endpoint;
};

TEST_F(PageServerTest, AnswersUnderItsOwnAddressAlone) {
  serve("127.0.0.1", "");
  const std::string number = host.substr(host.find(':'));
  EXPECT_THAT(ask("/page.html", host), HasSubstr("the page"));
  EXPECT_THAT(ask("/page.html?v=1", "localhost" + number), HasSubstr("the page"));
  EXPECT_THAT(ask("/page.html", host), HasSubstr("frame-ancestors 'none'"));
  EXPECT_THAT(ask("/other.html", host), StartsWith("HTTP/1.1 404"));
  for (const std::string foreign : {"elsewhere.example", "elsewhere.example:80", "127.0.0.1"}) {
    EXPECT_THAT(ask("/page.html", foreign), StartsWith("HTTP/1.1 403")) << foreign;
  }
  EXPECT_THAT(knock("/page", "http://" + host), HasSubstr(" 101 "));
  for (const std::string origin : {"", "null", "http://elsewhere.example", "https://127.0.0.1"}) {
    EXPECT_THAT(knock("/page", origin), HasSubstr(" 403 ")) << origin;
  }
}

TEST_F(PageServerTest, SaysNothingToAPeerWithoutTheToken) {
  serve("0.0.0.0", kToken);
  const std::string root = std::string("/") + kToken + "/";
  EXPECT_THAT(ask(root + "page.html", host), HasSubstr("the page"));
  EXPECT_THAT(knock(root + "page", "http://" + host), HasSubstr(" 101 "));
  for (const std::string& path :
       {std::string("/"), std::string("/page.html"), root.substr(0, root.size() - 1),
        "/x" + root.substr(2) + "page.html", "/" + root + "page.html"}) {
    EXPECT_THAT(ask(path, host), IsEmpty()) << path;
    EXPECT_THAT(knock(path, "http://" + host), IsEmpty()) << path;
  }
  EXPECT_THAT(knock(root + "page", "http://elsewhere.example"), IsEmpty());
  EXPECT_THAT(ask(root + "page.html", "elsewhere.example"), IsEmpty());
  EXPECT_THAT(ask(root + "page.html", host), HasSubstr("the page")) << "it goes on serving";
}

TEST_F(PageServerTest, AnswersAtEachAddressOfBothFamilies) {
  try {
    serve("::", kToken);
  } catch (const std::runtime_error&) {
    GTEST_SKIP() << "this machine has no IPv6";
  }
  const auto urls = server->urls();
  EXPECT_THAT(urls, IsSupersetOf({StartsWith("http://127.0.0.1:"), StartsWith("http://[::1]:")}));
  const std::string root = std::string("/") + kToken + "/";
  for (const std::string& url : urls) {
    goTo(url);
    EXPECT_THAT(ask(root + "page.html", host), HasSubstr("the page")) << url;
    EXPECT_THAT(knock(root + "page", "http://" + host), HasSubstr(" 101 ")) << url;
    EXPECT_THAT(ask("/page.html", host), IsEmpty()) << url;
  }
}

TEST_F(PageServerTest, TakesTheNextPortIfOneIsTaken) {
  serve("127.0.0.1", "");
  PageServer::Options options;
  options.port = static_cast<std::uint16_t>(std::stoi(host.substr(host.find(':') + 1)));
  const PageServer next(options, {});
  const std::string found = next.urls().at(0);
  EXPECT_GT(std::stoi(found.substr(found.rfind(':') + 1)), options.port);
  options.address = "203.0.113.1";
  EXPECT_THROW(PageServer(options, {}), std::runtime_error) << "not this machine's";
  options.address = "house";
  EXPECT_THROW(PageServer(options, {}), std::runtime_error);
}

TEST(Profile, KeepsAsAWholeOrNotAtAllAndItsTokenForItsOwnerAlone) {
  const TemporaryFolder made;
  const std::string folder = made.path().string();
  Profile profile(folder + "/p");
  EXPECT_EQ(profile.read(), "");
  EXPECT_EQ(profile.save([] { return "one\n"; }), "");
  EXPECT_EQ(profile.save([] { return "two\n"; }), "");
  EXPECT_EQ(profile.read(), "two\n");
  const std::string token = profile.token();
  EXPECT_THAT(token, SizeIs(32));
  EXPECT_EQ(Profile(folder + "/p").token(), token);
  EXPECT_EQ(fs::status(folder + "/p.token").permissions() & fs::perms(077), fs::perms::none);
  EXPECT_NE(Profile("").token(), Profile("").token());

  EXPECT_THAT(Profile(folder + "/none/p").save([] { return ""; }), HasSubstr("No such file"));
  EXPECT_THROW((void)Profile(folder).read(), std::runtime_error);
}

}  // namespace
