// What goes over the wire, and what comes out of a reply.
#include <gmock/gmock.h>
#include <zlib.h>

#include <atomic>

#include "tests/real/http_session_fixture.h"

namespace qlczephra::platform {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;

using HttpMessages = HttpSessionTest;

std::string gzip(const std::string& text) {
  z_stream stream{};
  deflateInit2(&stream, 9, Z_DEFLATED, 15 + 16, 9, Z_DEFAULT_STRATEGY);
  std::string out(deflateBound(&stream, text.size()), '\0');
  stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(text.data()));  // NOLINT: zlib does not write there
  stream.avail_in = static_cast<uInt>(text.size());
  stream.next_out = reinterpret_cast<Bytef*>(out.data());
  stream.avail_out = static_cast<uInt>(out.size());
  deflate(&stream, Z_FINISH);
  out.resize(stream.total_out);
  deflateEnd(&stream);
  return out;
}

TEST_F(HttpMessages, SendsWhatWasGivenAndNothingElse) {
  struct Case {
    const char* name;
    std::string method;
    std::string path;
    HeaderList headers;
    std::optional<std::string> body;
    std::string expected;  // @ stands for the server's port
  } const cases[] = {
      {"plain GET",
       "GET",
       "/a/b",
       {},
       {},
       "GET /a/b HTTP/1.1\r\nHost: 127.0.0.1:@\r\nAccept-Encoding: gzip, deflate\r\n\r\n"},
      {"fields in order, duplicates and odd values kept",
       "GET",
       "/",
       {{"Authorization", "Bearer t"},
        {"User-Agent", "U/1 (x; y)"},
        {"X-A", "1"},
        {"x-a", "2"},
        {"If-None-Match", "W/\"a:b;\""}},
       {},
       "GET / HTTP/1.1\r\nHost: 127.0.0.1:@\r\nAccept-Encoding: gzip, deflate\r\nAuthorization: Bearer t\r\n"
       "User-Agent: U/1 (x; y)\r\nX-A: 1\r\nx-a: 2\r\nIf-None-Match: W/\"a:b;\"\r\n\r\n"},
      {"empty and blank values",
       "GET",
       "/",
       {{"X-Empty", ""}, {"X-Blank", "  "}, {"User-Agent", ""}},
       {},
       "GET / HTTP/1.1\r\nHost: 127.0.0.1:@\r\nAccept-Encoding: gzip, "
       "deflate\r\nX-Empty:\r\nX-Blank:\r\nUser-Agent:\r\n\r\n"},
      {"body with its type",
       "PATCH",
       "/",
       {{"content-type", "application/json"}},
       "{\"a\":1}",
       "PATCH / HTTP/1.1\r\nHost: 127.0.0.1:@\r\nAccept-Encoding: gzip, deflate\r\ncontent-type: application/json\r\n"
       "Content-Length: 7\r\n\r\n{\"a\":1}"},
      {"body without a type",
       "PATCH",
       "/",
       {},
       "x",
       "PATCH / HTTP/1.1\r\nHost: 127.0.0.1:@\r\nAccept-Encoding: gzip, deflate\r\nContent-Length: 1\r\n\r\nx"},
      {"body with NUL",
       "PUT",
       "/",
       {},
       std::string("a\0b", 3),
       std::string(
           "PUT / HTTP/1.1\r\nHost: 127.0.0.1:@\r\nAccept-Encoding: gzip, deflate\r\nContent-Length: 3\r\n\r\na") +
           '\0' + "b"},
      {"empty body",
       "PATCH",
       "/",
       {},
       "",
       "PATCH / HTTP/1.1\r\nHost: 127.0.0.1:@\r\nAccept-Encoding: gzip, deflate\r\nContent-Length: 0\r\n\r\n"},
      {"PATCH without a body",
       "PATCH",
       "/",
       {{"Content-Type", "application/json"}},
       {},
       "PATCH / HTTP/1.1\r\nHost: 127.0.0.1:@\r\nAccept-Encoding: gzip, deflate\r\nContent-Type: "
       "application/json\r\n\r\n"},
      {"method as it stands",
       "patch",
       "/",
       {},
       {},
       "patch / HTTP/1.1\r\nHost: 127.0.0.1:@\r\nAccept-Encoding: gzip, deflate\r\n\r\n"},
      {"path as formed",
       "GET",
       "/a/../b/./%2F%e4//c?x=%20&y=/../",
       {},
       {},
       "GET /a/../b/./%2F%e4//c?x=%20&y=/../ HTTP/1.1\r\nHost: 127.0.0.1:@\r\nAccept-Encoding: gzip, deflate\r\n\r\n"},
      {"the protocol's own fields are not the caller's",
       "PATCH",
       "/",
       {{"Host", "evil"},
        {"content-length", "99"},
        {"Transfer-Encoding", "chunked"},
        {"Connection", "close"},
        {"Expect", "100-continue"}},
       "x",
       "PATCH / HTTP/1.1\r\nHost: 127.0.0.1:@\r\nAccept-Encoding: gzip, deflate\r\nContent-Length: 1\r\n\r\nx"},
      {"large body without waiting for 100",
       "PATCH",
       "/",
       {},
       std::string(3'000'000, 'z'),
       "PATCH / HTTP/1.1\r\nHost: 127.0.0.1:@\r\nAccept-Encoding: gzip, deflate\r\nContent-Length: 3000000\r\n\r\n" +
           std::string(3'000'000, 'z')},
  };
  for (const Case& test : cases) {
    std::string seen;
    const RawServer server([&seen](RawConnection& connection) {
      seen = connection.readRequest();
      connection.write(test::okReply());
    });
    HttpRequest request{server.url(test.path), test.method, test.headers, test.body, 10s, 10min, nullptr};
    const HttpOutcome outcome = exchange(std::move(request));
    std::string expected = test.expected;
    expected.replace(expected.find('@'), 1, std::to_string(server.port()));
    EXPECT_TRUE(seen == expected) << test.name << ":\n" << seen.substr(0, 1000);
    EXPECT_EQ(statusOf(outcome), 200) << test.name;
    EXPECT_EQ(outcome.failure, std::nullopt) << test.name;
  }
}

TEST_F(HttpMessages, SendsNoCredentialsFromTheUrl) {
  std::string seen;
  const RawServer server([&seen](RawConnection& connection) {
    seen = connection.readRequest();
    connection.write(test::okReply());
  });
  EXPECT_EQ(statusOf(exchange(get(server.url("/", "user:secret@127.0.0.1")))), 200);
  EXPECT_THAT(seen, Not(HasSubstr("Authorization")));
}

TEST_F(HttpMessages, RefusesWhatCannotBeSent) {
  const RawServer server(test::answering(test::okReply()));
  const auto with = [&](HeaderList headers, std::string method = "GET") {
    return HttpRequest{server.url(), std::move(method), std::move(headers), {}, 10s, 10min, nullptr};
  };
  const HttpRequest cases[] = {
      get("ftp://127.0.0.1/"),
      get("file:///etc/passwd"),
      get("127.0.0.1/x"),
      get("http://"),
      get(""),
      get("http://127.0.0.1:99999/"),
      get(server.url() + std::string("\0/x", 3)),
      get(server.url("/\r\nX: y")),
      with({{"A", "b\r\nC: d"}}),
      with({{"A", std::string("b\0c", 3)}}),
      with({{"A:", "b"}}),
      with({{"", "b"}}),
      with({{"A\n", "b"}}),
      with({}, "GET /x"),
      with({}, ""),
  };
  for (const HttpRequest& request : cases) {
    const HttpOutcome outcome = exchange(request);
    EXPECT_FALSE(outcome.head) << request.url;
    EXPECT_TRUE(outcome.failure) << request.url;
  }
  EXPECT_EQ(server.connections(), 0);
}

TEST_F(HttpMessages, ReadsReplies) {
  const std::string zipped = gzip(std::string(100'000, 'q'));
  struct Case {
    const char* name;
    std::string reply;  // after which the server closes
    int status;
    std::string body;
    HeaderList headers;
    bool failed = false;
  } const cases[] = {
      {"fields kept in order with blanks taken off",
       "HTTP/1.1 200 OK\r\nB:  1 \r\nA:2\r\nb: 3\r\nE:\r\nContent-Length: 2\r\n\r\nhi",
       200,
       "hi",
       {{"B", "1"}, {"A", "2"}, {"b", "3"}, {"E", ""}, {"Content-Length", "2"}}},
      {"until the end of the connection", "HTTP/1.0 200 OK\r\n\r\nall of it", 200, "all of it", {}},
      {"chunked, trailers are no fields",
       "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n3;x=y\r\nabc\r\n2\r\nde\r\n0\r\nEtag: \"t\"\r\n\r\n",
       200,
       "abcde",
       {{"Transfer-Encoding", "chunked"}}},
      {"interim replies skipped",
       "HTTP/1.1 100 Continue\r\nA: 1\r\n\r\nHTTP/1.1 103 Early Hints\r\nB: 2\r\n\r\nHTTP/1.1 204 No\r\nC: 3\r\n\r\n",
       204,
       "",
       {{"C", "3"}}},
      {"a folded field", "HTTP/1.1 204 No\r\nA: 1\r\n  2\r\n\r\n", 204, "", {{"A", "1 2"}}},
      {"a second status line is neither a field nor a status",
       "HTTP/1.1 404 No\r\nHTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n",
       404,
       "",
       {},
       true},
      {"not modified, with a length",
       "HTTP/1.1 304 Not Modified\r\nEtag: \"e\"\r\nContent-Length: 10\r\n\r\n",
       304,
       "",
       {{"Etag", "\"e\""}, {"Content-Length", "10"}}},
      {"redirect not followed",
       "HTTP/1.1 302 Found\r\nLocation: /x\r\nContent-Length: 0\r\n\r\n",
       302,
       "",
       {{"Location", "/x"}, {"Content-Length", "0"}}},
      {"authentication not answered",
       "HTTP/1.1 401 No\r\nWWW-Authenticate: Basic\r\nContent-Length: 1\r\n\r\nx",
       401,
       "x",
       {{"WWW-Authenticate", "Basic"}, {"Content-Length", "1"}}},
      {"switching protocols", "HTTP/1.1 101 Switching\r\nUpgrade: h2c\r\n\r\n", 101, "", {{"Upgrade", "h2c"}}},
      {"status out of the classes",
       "HTTP/1.1 799 Odd\r\nContent-Length: 0\r\n\r\n",
       799,
       "",
       {{"Content-Length", "0"}}},
      {"gzip",
       "HTTP/1.1 200 OK\r\nContent-Encoding: gzip\r\n\r\n" + zipped,
       200,
       std::string(100'000, 'q'),
       {{"Content-Encoding", "gzip"}}},
      {"broken gzip",
       "HTTP/1.1 200 OK\r\nContent-Encoding: gzip\r\n\r\nnothing of the kind",
       200,
       "",
       {{"Content-Encoding", "gzip"}},
       true},
      {"gzip cut off",
       "HTTP/1.1 200 OK\r\nContent-Encoding: gzip\r\nContent-Length: 9999\r\n\r\n" +
           zipped.substr(0, zipped.size() / 2),
       200,
       "",
       {{"Content-Encoding", "gzip"}, {"Content-Length", "9999"}},
       true},
      {"unknown encoding",
       "HTTP/1.1 200 OK\r\nContent-Encoding: rot13\r\n\r\nuryyb",
       200,
       "",
       {{"Content-Encoding", "rot13"}},
       true},
      {"shorter than its length",
       "HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\nhalf",
       200,
       "",
       {{"Content-Length", "10"}},
       true},
      {"chunks without an end",
       "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n3\r\nabc\r\n",
       200,
       "",
       {{"Transfer-Encoding", "chunked"}},
       true},
      {"chunk of no length",
       "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\nxyz\r\nabc",
       200,
       "",
       {{"Transfer-Encoding", "chunked"}},
       true},
      {"cut off among the fields", "HTTP/1.1 503 Busy\r\nA: 1\r\nB", 503, "", {{"A", "1"}}, true},
      {"only an interim reply", "HTTP/1.1 100 Continue\r\n\r\n", 0, "", {}, true},
      {"cut off in the status line", "HTTP/1.1 20", 0, "", {}, true},
      {"nothing", "", 0, "", {}, true},
      {"not HTTP", "220 mail.example ESMTP\r\n\r\n", 0, "", {}, true},
      {"HTTP/0.9", "<html>hello</html>", 0, "", {}, true},
      {"announced larger than the limit",
       "HTTP/1.1 200 OK\r\nContent-Length: 67108865\r\n\r\nx",
       200,
       "",
       {{"Content-Length", "67108865"}},
       true},
  };
  for (const Case& test : cases) {
    const RawServer server([&test](RawConnection& connection) {
      connection.readRequest();
      connection.write(test.reply);
    });
    const HttpOutcome outcome = exchange(get(server.url()));
    EXPECT_EQ(statusOf(outcome), test.status) << test.name;
    EXPECT_EQ(outcome.failure.has_value(), test.failed) << test.name << ": " << outcome.failure.value_or("no failure");
    if (outcome.head) {
      EXPECT_EQ(outcome.head->headers, test.headers) << test.name;
    }
    if (!test.failed) {
      EXPECT_EQ(outcome.body, test.body) << test.name;
    }
    EXPECT_EQ(server.connections(), 1) << test.name;
  }
}

TEST_F(HttpMessages, EndsRepliesThatAreTooLarge) {
  const std::string bomb = gzip(std::string(maximumBodySize + 1, '\0'));
  const std::string chunk = "100000\r\n" + std::string(0x100000, 'x') + "\r\n";
  const std::string chunked = "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n";
  const std::string emptyGzip = gzip("");
  std::string manyGzips;
  while (manyGzips.size() < 0x100000) manyGzips += emptyGzip;
  struct Case {
    const char* name;
    std::string beginning;
    std::string repeated;  // for as long as the client listens
    int status;
    const char* reason;
  } const cases[] = {
      {"gzip bomb", "HTTP/1.1 200 OK\r\nContent-Encoding: gzip\r\n\r\n" + bomb, "", 200, "64 MiB"},
      {"endless chunks", chunked, chunk, 200, "64 MiB"},
      {"endless body", "HTTP/1.1 200 OK\r\n\r\n", chunk, 200, "64 MiB"},
      {"an endless chunk extension", chunked + "1;", std::string(0x100000, 'x'), 200, "80 MiB"},
      {"too many fields", "HTTP/1.1 200 OK\r\n", "Field: " + std::string(1000, 'f') + "\r\n", 200, "256 KiB"},
      {"endless interim replies", "", "HTTP/1.1 100 Continue\r\n\r\n", 0, "256 KiB"},
      {"endless trailers", chunked + "0\r\n", "Field: value\r\n", 200, "256 KiB"},
      {"one endless field", "HTTP/1.1 200 OK\r\nField: ", std::string(1000, 'f'), 200, ""},
      {"an endless status line", "HTTP/1.1 200 ", std::string(1000, 'f'), 0, ""},
  };
  for (const Case& test : cases) {
    const RawServer server([&test](RawConnection& connection) {
      connection.readRequest();
      connection.write(test.beginning);
      while (!test.repeated.empty() && connection.write(test.repeated)) {
      }
    });
    const HttpOutcome outcome = exchange(get(server.url()));
    EXPECT_EQ(statusOf(outcome), test.status) << test.name;
    EXPECT_THAT(outcome.failure.value_or("no failure"), HasSubstr(test.reason)) << test.name;
    EXPECT_TRUE(outcome.failure) << test.name;
  }
}

TEST_F(HttpMessages, TakesTheLargestBodyThatIsAllowed) {
  const std::string zipped = gzip(std::string(maximumBodySize, 'x'));
  const RawServer server(test::answering("HTTP/1.1 200 OK\r\nContent-Encoding: gzip\r\nContent-Length: " +
                                         std::to_string(zipped.size()) + "\r\n\r\n" + zipped));
  const HttpOutcome outcome = exchange(get(server.url()));
  EXPECT_EQ(outcome.failure, std::nullopt);
  EXPECT_EQ(outcome.body.size(), maximumBodySize);
}

}  // namespace
}  // namespace qlczephra::platform
