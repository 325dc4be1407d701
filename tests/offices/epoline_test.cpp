// EP file inspection: the dossier page's addresses and reading, the book test, and orders of
// "FW" and "PW" numbers against the simulated file inspection.
#include "foundation/general.h"
#include "offices/epoline.h"
#include "order_fixture.h"

#include <QDir>

TEST(EpolineNumbers, DossierPageAndBook) {
    const QString call = "updateTotalDownloadSize(", doc = call + "this.checked,";
    // The page, the book's "sels", the pages and the estimate. Pieces that are not a document,
    // not a number or without ")" add a "1" each, and no pages.
    const std::tuple<QString, const char*, qint64, qint64> cases[] = {
        {"", "111", 0, 0},
        {doc + "1)", "1111", 1, 37},
        {doc + "2)" + doc + "3)" + doc + " 5 )", "111111", 10, 378},
        {"x" + call + "this.form,4)" + doc + "abc)" + doc + "7", "111111", 0, 0},
    };
    for (const auto& [page, sels, pages, estimate] : cases) {
        const EpolineDossier d = read_epoline_dossier(page);
        EXPECT_EQ(epoline_book_path("EP1", d.selection),
                  QString("/download/ShowPdfBook?lang=EN&dosnum=EP1&sels=") + sels);
        EXPECT_EQ(std::pair(d.pages, d.estimate), std::pair(pages, estimate)) << sels;
    }
    EXPECT_EQ(epoline_dossier_path("FWEP1"), "/view/GetDossier?dosnum=EP1&lang=EN");
    EXPECT_EQ(epoline_dossier_path("PWEP1"), "/view/GetDossier?pubnum=EP1&lang=EN");
    const QByteArray x(1000, 'x');
    EXPECT_FALSE(epoline_book_is_document(x.left(999)));
    EXPECT_TRUE(epoline_book_is_document(x));
    EXPECT_FALSE(epoline_book_is_document(x + "<Html>"));
}

class Epoline : public OrderTest {};

TEST_F(Epoline, OrdersAgainstTheFileInspection) {
    startSimulator();
    sim->options().hugeBytes = 51000000;
    using F = Simulator::Fault;
    const QString fw = " Downloaded (File Wrapper)", gone = "Record not found";
    const char* const empty = "FWEP20030001234 File wrapper not found";
    // The number, the fault, the bytes of an older file of the name (written over without
    // truncating: its tail passes the book test with the new bytes, or fails it with them and
    // goes), the result word, a status, the pages of the file left (-1: none, 0: not a PDF).
    const std::tuple<const char*, F, int, QString, const char*, int> cases[] = {
        {"FWEP19990402065", F::None, 0, fw,
         "FWEP19990402065 Downloading please wait! (6 pages 226kb )", 6},
        {"PWEP1000009", F::None, 0, fw, "PWEP1000009 Done", 6},
        {"FWWO1998US04141", F::None, 0, fw, "FWWO1998US04141 Done", 3},
        {"FWEP20030001234", F::None, 0, gone, empty, -1},
        {"FWEP20030001234", F::None, 5000, fw, "FWEP20030001234 Done", 0},
        {"FWEP20030001234", F::None, 900, gone, empty, -1},
        {"FWEP19999999999", F::None, 0, "FWEP19999999999 Not found", "", -1},
        {"FWEP19990402065", F::Huge, 0, "FWEP19990402065 Not found", "", -1},
    };
    for (const auto& [number, fault, bytes, result, status, pages] : cases) {
        SCOPED_TRACE(std::string(number) + " fault " + std::to_string(int(fault)));
        QDir(pdf).removeRecursively();
        const QByteArray older(bytes, 'o');
        if (bytes && QDir().mkpath(pdf + "REF"))
            write_file(file(number), older);
        sim->set_fault("EpolineHost", fault);
        closeConnections();
        host.statusHistory.clear();
        order(number);
        EXPECT_EQ(logRecords(), QStringList{QString(number) + "|REF|" + result});
        EXPECT_TRUE(host.statusHistory.contains(status) || !*status) << status;
        EXPECT_EQ(QFile::exists(file(number)), pages >= 0);
        if (pages > 0) {
            EXPECT_EQ(pageLabels(file(number)).size(), pages);
        } else if (pages == 0) {
            EXPECT_EQ(read_file(file(number)), "No documents selected." + older.mid(22));
        }
    }
}
