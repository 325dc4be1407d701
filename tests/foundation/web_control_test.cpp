#include "foundation/web_control.h"
#include "loopback_server.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QTcpServer>

#include <gtest/gtest.h>

namespace {

using Answer = LoopbackServer::Answer;

QByteArray fetch(WebControl& w, const QString& url, bool& answered) {
    QByteArray v = "unchanged";
    if (auto r = w.OpenURL(url)) {
        v = *r;
        answered = true;
    } else {
        answered = false;
    }
    return v;
}

TEST(WebControl, AnswersBodiesWhateverTheStatusAndFollowsRedirects) {
    LoopbackServer server;
    server.on("/missing", [](const auto&) { return Answer::text("<html>gone</html>", 404); });
    server.on("/oops", [](const auto&) { return Answer::text("server trouble", 500); });
    server.on("/moved", [&](const auto&) { return Answer::redirect("/target"); });
    server.on("/target", [](const auto&) { return Answer::text("arrived"); });
    struct Case {
        const char* path;
        const char* body;
    } cases[] = {
        {"/missing", "<html>gone</html>"}, {"/oops", "server trouble"}, {"/moved", "arrived"}};
    WebControl w;
    for (const auto& c : cases) {
        bool answered = false;
        EXPECT_EQ(fetch(w, server.url(c.path), answered), QByteArray(c.body)) << c.path;
        EXPECT_TRUE(answered) << c.path;
    }
}

TEST(WebControl, RefusedDroppedAndStalledRequestsAnswerNothing) {
    // A port that nobody listens on.
    QTcpServer probe;
    ASSERT_TRUE(probe.listen(QHostAddress::LocalHost));
    const quint16 closedPort = probe.serverPort();
    probe.close();

    LoopbackServer server;
    server.on("/drop", [](const auto&) { return Answer::drop(); });
    server.on("/stall", [](const auto&) {
        Answer a = Answer::text("late");
        a.delayMs = 5000;
        return a;
    });

    WebControl w;
    w.RequestTimeout = 1;
    bool answered = true;
    EXPECT_EQ(fetch(w, QStringLiteral("http://127.0.0.1:%1/x").arg(closedPort), answered),
              QByteArray("unchanged"));
    EXPECT_FALSE(answered);
    for (int i = 0; i < 50; ++i) { // a cut answer is never taken for a whole one
        EXPECT_EQ(fetch(w, server.url("/drop"), answered), QByteArray("unchanged"));
        EXPECT_FALSE(answered);
    }
    QElapsedTimer t;
    t.start();
    EXPECT_EQ(fetch(w, server.url("/stall"), answered), QByteArray("unchanged"));
    EXPECT_FALSE(answered);
    EXPECT_LT(t.elapsed(), 4000);
}

TEST(WebControl, NamedProxyCarriesTheRequest) {
    LoopbackServer origin;
    origin.on("/doc", [](const auto&) { return Answer::text("direct"); });
    LoopbackServer proxy;
    proxy.onAny([](const auto&) { return Answer::text("via proxy"); });

    WebControl w;
    w.AccessType = 2;
    w.Proxy = proxy.host();
    bool answered = false;
    EXPECT_EQ(fetch(w, origin.url("/doc"), answered), QByteArray("via proxy"));
    ASSERT_EQ(proxy.requestCount(), 1u);
    EXPECT_EQ(proxy.targets()[0], origin.url("/doc").toStdString());
    EXPECT_EQ(origin.requestCount(), 0u);

    w.AccessType = 1; // direct again
    EXPECT_EQ(fetch(w, origin.url("/doc"), answered), QByteArray("direct"));
}

TEST(WebControl, PrefixBeforeTheHostIsSentAsCredentials) {
    LoopbackServer server;
    server.on("/doc", [](const auto& r) { return Answer::text(r.header("Authorization")); });
    WebControl w;
    bool answered = false;
    const QString url = QStringLiteral("http://userid:password@") + server.host() + "/doc";
    EXPECT_EQ(fetch(w, url, answered),
              QByteArray("Basic ") + QByteArray("userid:password").toBase64());
}

TEST(WebControl, HttpsIsTrustedOnlyWithTheNamedAuthority) {
    LoopbackServer server(true);
    server.on("/doc", [](const auto&) { return Answer::text("secret"); });
    WebControl w;
    w.RequestTimeout = 10;
    bool answered = true;
    qunsetenv("BRIGHTQUILL_CA_FILE");
    EXPECT_EQ(fetch(w, server.url("/doc"), answered), QByteArray("unchanged"));
    EXPECT_FALSE(answered);
    qputenv("BRIGHTQUILL_CA_FILE", LoopbackServer::ca_file().toLocal8Bit());
    EXPECT_EQ(fetch(w, server.url("/doc"), answered), QByteArray("secret"));
    EXPECT_TRUE(answered);
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
