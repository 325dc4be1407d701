// Japan: the office's number form, the lookup answer, JP numbers through the order run.
#include "foundation/general.h"
#include "offices/japan.h"
#include "order_fixture.h"
#include "settings_fixture.h"

#include <QDir>

TEST(JapanNumbers, OfficeFormAndLookupAnswer) {
    // Each row: Espacenet form > office form. The kind rules in their order, the era years.
    for (const QString& row :
         QString("JP2004012345>2004-012345@A|JP11000049U2>H11-000049@U|JP60501838T>S60-501838@A|"
                 "JP3504610B2>3504610@B|JP8012345>H08-012345@A|JP123456789>H12-3456789@A|"
                 "JP2004012345A3>2004012345@A3|JP123A5>123A5@| jp 13-000,049 u1>S13-000049@U1|"
                 "JP01000049A>H01-000049@A|JP2004012345A2>2004-012345@A|JP2004012345A1>"
                 "2004012345@A1|JP2004012345A4>2004012345@A4|MTJP7123B1>7123@B")
             .split('|'))
        EXPECT_EQ(espace2jpo(row.section('>', 0, 0)), row.section('>', 1)) << row.toStdString();
    EXPECT_EQ(jp_document_address("x https://h/a?u=https://g/b", "u:p@"),
              "https://u:p@h/a?u=https://u:p@g/b");
    EXPECT_EQ(jp_document_address("http://h/a.pdf https:/", "u:p@"), "");
}

using Japan = OrderTest;

// After Espacenet the lookup is asked with the kind put back.
TEST_F(Japan, OrderedAndFetched) {
    startSimulator();
    sim->set_observer([this](const QString&, const std::string& t) {
        if (t.rfind("/bnsinfo.asp", 0) == 0 || t.rfind("/jp.asp", 0) == 0)
            note(QString::fromStdString(t).section('=', 1) + "@" + t.substr(1, 2).c_str());
    });
    const std::tuple<const char*, const char*, const char*> chains[] = {
        {"JP2003123456B2", "Downloaded (4 Pages )", "JP2003123456B2@bn JP2003123456B2@jp"},
        {"JP2005234567", "Downloaded (2 Pages )", "JP2005234567@bn JP2005234567@jp"},
    };
    for (const auto& [number, log, chain] : chains) {
        const qsizetype before = events().size();
        delete_file(pdf + "bnslog.csv");
        order(number);
        EXPECT_EQ(events().mid(before), QString(chain).split(' '));
        EXPECT_EQ(logRecords(), QStringList{QString(number) + "|REF|" + log});
    }

    // Whatever the document host answers is the document; a lookup without a link isn't logged.
    LoopbackServer elsewhere(true);
    elsewhere.onAny([](const auto&) { return LoopbackServer::Answer::bytes("not a pdf"); });
    server.onAny([&](const auto&) {
        return LoopbackServer::Answer::text("see https://" + elsewhere.host().toStdString() +
                                            "/x.pdf");
    });
    using F = Simulator::Fault;
    const std::tuple<const char*, F, qint64, const char*> rows[] = {
        {"CompanyLookupHost", F::Html, -1, ""},
        {"elsewhere", F::None, 9, "0.00 MB"},
    };
    const QString doc = pdf + "JP2003123456B2.pdf";
    for (const auto& [role, fault, size, words] : rows) {
        for (const QString& f : {doc, pdf + "bnslog.csv"})
            delete_file(f);
        closeConnections(); // a server that stops waits for kept-alive connections
        sim->set_fault(role, fault);
        if (QString(role) == "elsewhere")
            point_roles({"CompanyLookupHost"}, server.host());
        QString number = "jp-2003123456b2";
        jpo_download(ctx, number, "");
        sim->set_fault(role, F::None);
        EXPECT_EQ(file_exists(doc) ? file_length(doc) : -1, size) << role;
        EXPECT_EQ(logRecords().join(""), *words ? number + "||Downloaded (" + words + " )" : "");
    }
    EXPECT_EQ(QDir(root).entryList(QDir::AllDirs | QDir::NoDotAndDotDot),
              (QStringList{"pdf", "samples", "tmp"}));
    closeConnections();
}
