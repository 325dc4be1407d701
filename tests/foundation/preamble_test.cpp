#include "foundation/general.h"
#include "foundation/web.h"
#include "recording_shell.h"
#include "settings_fixture.h"
#include "test_env.h"

#include <QDir>
#include <QRegularExpression>
#include <QSet>

#include <gtest/gtest.h>

namespace {

class Preambles : public RunTest {
protected:
    void SetUp() override {
        set_settings({{"PDFDIR", pdf}, {"TEMPDIR", tmp + "/"}, {"ACT", "1"}, {"PROXYUSERID", ""}});
    }
    QString pdf = test_root() + "/pre-pdf", tmp = test_root() + "/pre-tmp";
};

// The order folder is made of the reference; the number is upper-cased without "-" and
// titles the window with the source's label.
TEST_F(Preambles, OrderFoldersAreMadeOfTheReference) {
    const std::pair<const char*, QString> cases[] = {
        {"A/B 1.0, @x:y", "/AB_10_xy/"},
        {"...", "//"}, // nothing left: the doubled separator stands
        {"CASE 7", "/CASE_7/"},
        {"../../etc", "/etc/"}, // dots and slashes never climb out
        {"", "/"},
    };
    for (const auto& [reference, folder] : cases) {
        QString number = "ep-1234567";
        const Preamble p = fetch_preamble(ctx, number, reference, 300, " (Tarnwell)");
        EXPECT_EQ(p.pdf_folder, pdf + folder) << reference;
        EXPECT_EQ(ctx.state.order_folder, *reference ? pdf + folder : "") << reference;
        EXPECT_TRUE(QDir(pdf + folder).exists()) << reference;
        EXPECT_EQ(number, "EP1234567");
        EXPECT_EQ(host.title(), "EP1234567 (Tarnwell)");
        EXPECT_TRUE(p.temp_prefix.startsWith(tmp + "/" + p.job_id));
    }
}

TEST_F(Preambles, JobIdsDifferAndHoldNoSeparators) {
    // Two calls a hundredth of a second apart never share an id.
    QSet<QString> ids;
    const QDateTime start(QDate(2026, 3, 4), QTime(10, 0, 0));
    for (int i = 0; i < 200; ++i) {
        set_fixed_now(start.addMSecs(10 * i));
        const QString id = make_job_id(ctx);
        static const QRegularExpression separators("[/\\\\ .,@:]");
        EXPECT_FALSE(id.contains(separators)) << id.toStdString();
        ids.insert(id);
    }
    set_fixed_now({});
    EXPECT_EQ(ids.size(), 200);
}

TEST_F(Preambles, AccessTypeFollowsTheSetting) {
    const std::pair<const char*, int> cases[] = {
        {"2", 1}, {"3", 2}, {"junk", 2}, {"1", 0}, {"7", 0}};
    set_settings({{"PROXY", "proxy.example:3128"}});
    for (const auto& [act, accessType] : cases) {
        set_settings({{"ACT", act}});
        preamble_settings(ctx, 600);
        EXPECT_EQ(ctx.Inet1.AccessType, accessType) << act;
        EXPECT_EQ(ctx.Inet1.RequestTimeout, 600);
    }
    EXPECT_EQ(ctx.Inet1.Proxy, "proxy.example:3128");
}

TEST(WebHelpers, EncodingAndTimerText) {
    const std::pair<const char*, const char*> texts[] = {
        {"a b", "a+b"}, {"a&b", "a%26b"}, {"\n", "%0A"}, {"Zz09-%", "Zz09%2D%25"}, {"\xAB", "%AB"}};
    for (const auto& [text, encoded] : texts)
        EXPECT_EQ(URLEncode(QString::fromLatin1(text)), encoded);
    // Seconds since midnight with up to two decimals, trailing zeros dropped.
    const std::pair<QTime, const char*> times[] = {{QTime(23, 48, 17, 120), "85697.12"},
                                                   {QTime(1, 0, 0, 500), "3600.5"},
                                                   {QTime(0, 0, 42), "42"}};
    for (const auto& [time, text] : times) {
        set_fixed_now(QDateTime(QDate(2026, 1, 2), time));
        EXPECT_EQ(timer_text(), text);
    }
    EXPECT_EQ(time_stamp(), "&PROXY=42");
    set_fixed_now({});
}

} // namespace
