#include "offices/uspto.h"
#include "pdf/page_count.h"
#include "retrieval/espace.h"
#include "simulator.h"
#include "uspto_fixture.h"

// The demo: the simulated USPTO answers every form of number from its samples, its viewer
// pages fail twice before they come, and the patent with certificates gets them appended
// when the company's lookup server delivers it.
TEST_F(UsptoTest, SimulatorServesTheSampleDocuments) {
    Simulator::Options options;
    options.pageFailures = 2;
    Simulator sim(test_root() + "/samples", options);
    add_all_roles(sim);
    sim.start();
    sim.write_host_roles(settings_key);

    const std::pair<QString, QString> documents[] = {
        {"US4500000", "2 Pages"}, {"US5123456", "3 Pages"},     {"USD339456", "1 Pages"},
        {"USPP8901", "2 Pages"},  {"USRE35312", "2 Pages"},     {"USH1523", "1 Pages"},
        {"UST109201", "1 Pages"}, {"US20010000044", "2 Pages"},
    };
    for (auto [number, pages] : documents) {
        uspto_download(ctx, number, "");
        EXPECT_EQ(pdfnumpages(pdfdir + number + ".pdf"), pages) << number.toStdString();
    }
    // The form of the tips loses "A2" with the kind codes and misses the document.
    QString tips = "USA20010000044";
    uspto_download(ctx, tips, "");
    EXPECT_FALSE(QFile::exists(pdfdir + tips + ".pdf"));

    EXPECT_EQ(uspto_cartificate(ctx, "US20010000044", 2), "");
    EXPECT_EQ(host.status(), "US20010000044 Certificate of correction not found");
    const QString cc = uspto_cartificate(ctx, "USPP8901", 2);
    EXPECT_EQ(pdfnumpages(cc), "1 Pages");
    QFile::remove(cc);

    set_settings({{"ADDBOOKMARKS", "1"}});
    const QString target = pdfdir + "order/US5123456.pdf";
    QDir().mkpath(pdfdir + "order");
    EXPECT_EQ(espace_bns_download(ctx, "US5123456", target, tempdir + "job"), target);
    EXPECT_EQ(pdfnumpages(target), "5 Pages");
    EXPECT_TRUE(read_file(target).contains("/Title (Correction)"));
    EXPECT_EQ(files(pdfdir).filter("CC"), QStringList());
    EXPECT_EQ(files(tempdir), QStringList());
}
