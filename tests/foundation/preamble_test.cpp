#include "foundation/general.h"
#include "foundation/host.h"
#include "foundation/run_context.h"
#include "foundation/web.h"
#include "recording_shell.h"
#include "settings_fixture.h"
#include "test_env.h"

#include <QDir>
#include <QSet>

#include <gtest/gtest.h>

namespace {

class Preambles : public RunTest {
protected:
    void SetUp() override {
        pdf = test_root() + "/pre-pdf";
        tmp = test_root() + "/pre-tmp";
        set_settings({{"PDFDIR", pdf}, {"TEMPDIR", tmp + "/"}, {"ACT", "1"}, {"PROXYUSERID", ""}});
    }
    QString pdf, tmp;
};

TEST_F(Preambles, OrderFoldersAreMadeOfTheReference) {
    struct Case {
        const char* reference;
        QString folder;
    } cases[] = {
        {"A/B 1.0, @x:y", pdf + "/AB_10_xy/"},
        {"...", pdf + "//"}, // nothing left: the doubled separator stands
        {"CASE 7", pdf + "/CASE_7/"},
        {"../../etc", pdf + "/etc/"}, // dots and slashes never climb out
    };
    for (const Case& c : cases) {
        QString number = "ep-1234567";
        const Preamble p =
            fetch_preamble(ctx, number, QString::fromLatin1(c.reference), 300, " (Tarnwell)");
        EXPECT_EQ(p.pdf_folder, c.folder) << c.reference;
        EXPECT_EQ(ctx.state.order_folder, c.folder) << c.reference;
        EXPECT_TRUE(QDir(c.folder).exists()) << c.reference;
        EXPECT_EQ(number, "EP1234567");
    }
    QString number = "x";
    const Preamble p = fetch_preamble(ctx, number, "", 300, " (USPTO)");
    EXPECT_EQ(p.pdf_folder, pdf + "/");
    EXPECT_EQ(ctx.state.order_folder, "");
    EXPECT_EQ(host.title(), "X (USPTO)");
    EXPECT_EQ(host.status(), "X Checking if patent exists");
    EXPECT_TRUE(p.temp_prefix.startsWith(tmp + "/"));
    EXPECT_FALSE(p.temp_prefix.endsWith("/"));
}

TEST_F(Preambles, JobIdsDifferAndHoldNoSeparators) {
    // Two calls a hundredth of a second apart never share an id.
    QSet<QString> ids;
    const QDateTime start(QDate(2026, 3, 4), QTime(10, 0, 0));
    for (int i = 0; i < 200; ++i) {
        set_fixed_now(start.addMSecs(10 * i));
        const QString id = make_job_id(ctx);
        for (QChar c : {u'/', u'\\', u' ', u'.', u',', u'@', u':'})
            EXPECT_FALSE(id.contains(c)) << id.toStdString();
        ids.insert(id);
    }
    set_fixed_now({});
    EXPECT_EQ(ids.size(), 200);
}

TEST_F(Preambles, AccessTypeFollowsTheSetting) {
    struct Case {
        const char* act;
        int accessType;
    } cases[] = {{"2", 1}, {"3", 2}, {"junk", 2}, {"1", 0}, {"7", 0}};
    set_settings({{"PROXY", "proxy.example:3128"}});
    for (const Case& c : cases) {
        set_settings({{"ACT", QString::fromLatin1(c.act)}});
        preamble_settings(ctx, 600);
        EXPECT_EQ(ctx.Inet1.AccessType, c.accessType) << c.act;
        EXPECT_EQ(ctx.Inet1.RequestTimeout, 600);
    }
    EXPECT_EQ(ctx.Inet1.Proxy, "proxy.example:3128");
}

TEST(WebHelpers, EncodingAndHex) {
    EXPECT_EQ(URLEncode("a b"), "a+b");
    EXPECT_EQ(URLEncode("a&b"), "a%26b");
    EXPECT_EQ(URLEncode("\n"), "%0A");
    EXPECT_EQ(URLEncode("Zz09-%"), "Zz09%2D%25");
    EXPECT_EQ(Hex2(10), "0A");
    EXPECT_EQ(Hex2(171), "AB");
    EXPECT_EQ(Hex2(16), "10");
}

TEST(WebHelpers, TimerTextIsSecondsSinceMidnight) {
    set_fixed_now(QDateTime(QDate(2026, 1, 2), QTime(23, 48, 17, 120)));
    EXPECT_EQ(timer_text(), "85697.12");
    set_fixed_now(QDateTime(QDate(2026, 1, 2), QTime(1, 0, 0, 500)));
    EXPECT_EQ(timer_text(), "3600.5");
    set_fixed_now(QDateTime(QDate(2026, 1, 2), QTime(0, 0, 42)));
    EXPECT_EQ(timer_text(), "42");
    EXPECT_EQ(time_stamp(), "&PROXY=42");
    set_fixed_now({});
}

} // namespace
