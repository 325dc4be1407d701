#include "foundation/web_control.h"
#include "loopback_server.h"

#include <QCoreApplication>
#include <QElapsedTimer>

#include <QTcpServer>
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

TEST(WebControl, RefusedAndDroppedRequestsAnswerNothing) {
    // A port that nobody listens on.
    QTcpServer probe;
    ASSERT_TRUE(probe.listen(QHostAddress::LocalHost));
    const quint16 closedPort = probe.serverPort();
    probe.close();
    LoopbackServer server;
    server.on("/drop", [](const auto&) { return Answer::drop(); });

    WebControl w;
    EXPECT_EQ(fetch(w, QString("http://127.0.0.1:%1/x").arg(closedPort)), "unchanged");
    for (int i = 0; i < 50; ++i) // a cut answer is never taken for a whole one
        EXPECT_EQ(fetch(w, server.url("/drop")), "unchanged");
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

TEST(WebControl, PrefixBeforeTheHostIsSentAsCredentials) {
    LoopbackServer server;
    server.on("/doc", [](const auto& r) { return Answer::text(r.header("Authorization")); });
    WebControl w;
    EXPECT_EQ(fetch(w, "http://userid:password@" + server.host() + "/doc"),
              "Basic " + QByteArray("userid:password").toBase64());
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

TEST(WebControl, ExecuteAndChunksDeliverTheWholeAnswer) {
    LoopbackServer server;
    std::string big(70000, 'x');
    for (size_t i = 0; i < big.size(); ++i)
        big[i] = char(i % 251);
    server.on("/big", [&](const auto&) { return Answer::bytes(big); });
    WebControl w;
    w.Execute(server.url("/big"));
    EXPECT_TRUE(w.StillExecuting());
    while (w.StillExecuting())
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    QByteArray all;
    for (QByteArray c = w.GetChunk(1000); !c.isEmpty(); c = w.GetChunk(1000))
        all += c;
    EXPECT_EQ(all, QByteArray::fromStdString(big));
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
