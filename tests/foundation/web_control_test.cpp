#include "foundation/web_control.h"
#include "loopback_server.h"

#include <QElapsedTimer>

#include <chrono>
#include <thread>

#include <gtest/gtest.h>

namespace {

using Answer = LoopbackServer::Answer;

// The body that came back, or "unchanged" when the request answered nothing.
QByteArray fetch(WebControl& w, const QString& url) {
    return w.OpenURL(url).value_or("unchanged");
}

TEST(WebControl, AnswersBodiesWhateverTheStatusAndFollowsRedirects) {
    LoopbackServer server;
    server.on("/missing", [](const auto&) { return Answer::text("<html>gone</html>", 404); });
    server.on("/oops", [](const auto&) { return Answer::text("server trouble", 500); });
    server.on("/moved", [&](const auto&) { return Answer::redirect("/target"); });
    server.on("/target", [](const auto&) { return Answer::text("arrived"); });
    server.on("/empty", [](const auto&) { return Answer::text(""); });
    const std::pair<const char*, const char*> cases[] = {{"/missing", "<html>gone</html>"},
                                                         {"/oops", "server trouble"},
                                                         {"/moved", "arrived"},
                                                         {"/empty", ""}};
    WebControl w;
    for (const auto& [path, body] : cases)
        EXPECT_EQ(fetch(w, server.url(path)), body) << path;
}

TEST(WebControl, NamedProxyCarriesTheRequest) {
    LoopbackServer origin;
    origin.on("/doc", [](const auto&) { return Answer::text("direct"); });
    LoopbackServer proxy;
    proxy.onAny([](const auto&) { return Answer::text("via proxy"); });

    WebControl w;
    w.AccessType = 2;
    w.Proxy = proxy.host();
    EXPECT_EQ(fetch(w, origin.url("/doc")), "via proxy");
    EXPECT_EQ(proxy.targets(), std::vector<std::string>{origin.url("/doc").toStdString()});
    EXPECT_EQ(origin.requestCount(), 0u);
    w.AccessType = 1; // direct again
    EXPECT_EQ(fetch(w, origin.url("/doc")), "direct");
}

TEST(WebControl, HttpsIsTrustedOnlyWithTheNamedAuthority) {
    LoopbackServer server(true);
    server.on("/doc", [](const auto&) { return Answer::text("secret"); });
    WebControl w;
    qunsetenv("BRIGHTQUILL_CA_FILE");
    EXPECT_EQ(fetch(w, server.url("/doc")), "unchanged");
    qputenv("BRIGHTQUILL_CA_FILE", LoopbackServer::ca_file().toLocal8Bit());
    EXPECT_EQ(fetch(w, server.url("/doc")), "secret");
    qunsetenv("BRIGHTQUILL_CA_FILE");
}

} // namespace

namespace {

// The limits a runaway server meets: a body past the answer cap (announced or only
// streamed), an endless redirect loop and, with the test hook's time-out cap, a server that
// never answers: each ends as a failed request, in about the capped time.
TEST(WebControl, RunawayAnswersEndAsFailedRequests) {
    constexpr qint64 cap = 64 << 10;
    web_test_limits(cap, 1);
    LoopbackServer server;
    server.on("/fits", [](const auto&) { return Answer::bytes(std::string(cap, 'a')); });
    server.on("/over", [](const auto&) { return Answer::bytes(std::string(cap + 1, 'a')); });
    server.on("/loop", [](const auto&) { return Answer::redirect("/loop"); });
    server.on("/late", [](const auto&) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1500)); // past the capped second
        return Answer::text("late");
    });
    const std::pair<const char*, qsizetype> cases[] = {
        {"/fits", cap}, {"/over", -1}, {"/loop", -1}, {"/late", -1}};
    WebControl w;
    w.RequestTimeout = 60;
    for (const auto& [path, size] : cases) {
        QElapsedTimer clock;
        clock.start();
        const std::optional<QByteArray> answer = w.OpenURL(server.url(path));
        EXPECT_EQ(answer ? answer->size() : -1, size) << path;
        EXPECT_LT(clock.elapsed(), 2500) << path;
    }
    web_test_limits(0, 0);
}

} // namespace
