#include "foundation/general.h"
#include "foundation/web_control.h"
#include "loopback_server.h"
#include "recording_shell.h"
#include "settings_fixture.h"
#include "test_env.h"
#include "tools/equivalents.h"
#include "tools/family_search.h"
#include "tools/help_tips.h"
#include "tools/version_check.h"

#include <QDir>
#include <QNetworkAccessManager>

#include <gtest/gtest.h>

namespace {

TEST(FamilySearch, NumbersAsTheServiceWantsThem) {
    const std::pair<const char*, const char*> rows[] = {
        {"WO 01/12345", "WO0112345"},    {"WO2002/051231", "WO02051231"},
        {"WO02/51230", "WO0251230"},     {"WO2003/012345", "WO03012345"},
        {"WO9852322", "WO9852322"},      {"WO0024556A3", "WO0024556A3"},
        {"wo 2004-12345", "WO04012345"}, {"WO00/123", "WO0000123"},
        {"WO2020/123456", "WO20123456"}, {"ep 1000-001", "EP1000001"},
        {"US 4,500,000", "US4500000"},   {" \\ / ", ""},
    };
    for (const auto& [text3, number] : rows)
        EXPECT_EQ(family_number(text3), number) << text3;
}

TEST(VersionCheck, AnswersOfTheVersionFile) {
    const std::pair<const char*, VersionReply> rows[] = {
        {"3.0.373", VersionReply::Newer},
        {"3.0.372", VersionReply::NotNewer},
        {"4.0.1", VersionReply::NotNewer},
        {"3.0.373\r\n", VersionReply::Newer},
        {"3.0", VersionReply::Newer},
        {"3.0.x", VersionReply::Newer},
        {"3.0.99999999999", VersionReply::Newer},
        {"", VersionReply::Ignored},
        {"3.0.373.............", VersionReply::Newer}, // 20 characters
        {"3.0.373..............", VersionReply::Ignored},
    };
    for (const auto& [answer, reply] : rows)
        EXPECT_EQ(read_version_reply(answer, 372), reply) << answer;
}

TEST(Equivalents, RowsAndMessagesOfTheService) {
    const Equivalents e = read_equivalents(
        "Some title@@EP1000009<br>no row here<br>@@US1<br>A@@B@@C<br>Tab\tin@@JP2<br>");
    EXPECT_EQ(e.entries, QStringList({"EP1000009\tSome title", "US1\t", "B\tA", "JP2\tTab\tin"}));
    EXPECT_EQ(ticked_numbers(e.entries), "EP1000009\r\nUS1\r\nB\r\nJP2\r\n");
    EXPECT_EQ(read_equivalents("No equivalents found").message, "No equivalents found");
    EXPECT_EQ(read_equivalents("").message, "Error connecting to the server");
    EXPECT_TRUE(read_equivalents("a@b<br>").entries.isEmpty());
}

TEST(Equivalents, PasteKeepsExactlyOneLineEndBeforeTheNumbers) {
    const std::pair<const char*, const char*> rows[] = {
        {"", "N\r\n"},
        {"EP1", "EP1\r\nN\r\n"},
        {"EP1\r\n", "EP1\r\nN\r\n"},
        {"EP1\r\n\r\n", "EP1\r\nN\r\n"},
        {"EP1\r\n\r\n\r\n", "EP1\r\n\r\nN\r\n"},
        {"EP1\n\n", "EP1\r\nN\r\n"},
    };
    for (const auto& [text1, result] : rows)
        EXPECT_EQ(paste_into(text1, "N\r\n"), result) << text1;
    EXPECT_EQ(paste_into("EP1\r\n", ""), "EP1\r\n"); // nothing ticked: one empty line end
}

class ServiceRequests : public RunTest {
protected:
    void SetUp() override {
        pdf = test_root() + "/svc-pdf/";
        QDir(pdf).removeRecursively();
        set_settings({{"PDFDIR", pdf},
                      {"TEMPDIR", test_root() + "/svc-tmp"},
                      {"PROXYUSERID", "u:p@"},
                      {"CustomerNumber", "4711"},
                      {"CustomerCode", "93"}});
        point_roles({"CompanyServicesHost", "CompanyWebHost"}, server.host());
    }
    void TearDown() override {
        for (WebControl* c : {&ctx.Inet1, &ctx.Inet3, &ctx.Inet2[0]})
            c->manager()->clearConnectionCache();
    }
    QString pdf;
    LoopbackServer server;
};

TEST_F(ServiceRequests, FamilyPageIsStoredUnderTheReferenceAndOpened) {
    server.on("/Desktop_BQ/famlegalmulti.asp",
              [](const auto&) { return LoopbackServer::Answer::text("<HTML>family</HTML>"); });
    const QString file = family_search(ctx, "WO 01/12345", " A/B 1.2 ");
    EXPECT_EQ(file, pdf + "AB_12/WO0112345.htm");
    EXPECT_EQ(read_file(file), "<HTML>family</HTML>");
    EXPECT_EQ(shell.opened, QStringList({file}));
    ASSERT_EQ(server.requestCount(), 1u);
    EXPECT_EQ(server.targets()[0], "/Desktop_BQ/famlegalmulti.asp?PN=WO0112345&u=4711&Kk=93");
    EXPECT_EQ(server.requests()[0].header("Authorization"), "Basic dTpw");

    // Nobody answers: the offline page takes the place of the family page.
    server.on("/Desktop_BQ/famlegalmulti.asp",
              [](const auto&) { return LoopbackServer::Answer::drop(); });
    EXPECT_EQ(read_file(family_search(ctx, "WO0112345", "")), family_offline_page());
    EXPECT_EQ(shell.opened.last(), pdf + "WO0112345.htm");

    const size_t asked = server.requestCount();
    EXPECT_EQ(family_search(ctx, " / ", "Case"), QString()); // an empty box asks nothing
    EXPECT_EQ(server.requestCount(), asked);
    EXPECT_EQ(shell.opened.size(), 2);
}

TEST_F(ServiceRequests, EquivalentsVersionHelpAndUpdater) {
    server.on("/desktop_bq/ti.asp",
              [](const auto&) { return LoopbackServer::Answer::text("t@@EP1<br>"); });
    EXPECT_EQ(equivalents_lookup(ctx, "  ep 1&x "), "t@@EP1<br>");
    server.on("/bqdver.txt", [](const auto&) { return LoopbackServer::Answer::text("3.0.373"); });
    check_version(ctx);
    EXPECT_EQ(host.messages,
              QStringList({"A newer version is available\r\nPlease update your software"}));
    EXPECT_EQ(host.title(), "Bright Quill - Desktop edition");
    EXPECT_EQ(server.targets(),
              std::vector<std::string>({"/desktop_bq/ti.asp?pn=ep%201&x", "/bqdver.txt"}));
    EXPECT_EQ(ctx.Inet2[0].RequestTimeout, 10);

    open_help(ctx);
    const QString help = application_folder() + "help.htm";
    EXPECT_TRUE(read_file(help).contains("document.location='http://" + server.host().toLatin1() +
                                         "/help/'"));
    EXPECT_EQ(shell.opened, QStringList({help}));

    start_updater(shell, "/opt/bq/brightquill");
    EXPECT_EQ(shell.started, QStringList({"/opt/bq/bqup5 [/opt/bq/brightquill]"}));
}

} // namespace
