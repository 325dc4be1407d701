// Russia: the FIPS address of each form of number, and RU numbers judged by their size.
#include "foundation/general.h"
#include "offices/russia.h"
#include "order_fixture.h"

TEST(RussiaNumbers, FipsPaths) {
    EXPECT_EQ(fips_path("RU2004111793"), "/rupatimage/NEW2004/100000/110000/111000/2004111793.pdf");
    EXPECT_EQ(fips_path("RU12345678"),
              "/rupatimage/0/1000000/1200000/1230000/1234000/12345678.pdf");
}

using Russia = OrderTest;

// 8000 bytes or more is a document; anything smaller is an error and goes, also from the disk.
TEST_F(Russia, DocumentsAreJudgedBySize) {
    startSimulator();
    write_file(samples + "/ru/RU2000001.pdf", QByteArray(7999, '%'));
    write_file(samples + "/ru/RU2000002.pdf", QByteArray(8000, '%'));
    order("RU2258034\r\nRU2004111793\r\nRU45678U1\r\nRU2100001\r\nRU2999999\r\nRU2258034C1\r\n"
          "RU2000001\r\nRU2000002");
    const QString error = "|REF|Download error (";
    EXPECT_EQ(logRecords(),
              (QStringList{
                  "RU2258034|REF|Downloaded (3 Pages )", "RU2004111793|REF|Downloaded (2 Pages )",
                  "RU45678U1|REF|Downloaded (2 Pages )", "RU2100001" + error + "RU2100001)",
                  "RU2999999" + error + "RU2999999)", "RU2258034C1" + error + "RU2258034C1)",
                  "RU2000001" + error + "RU2000001)", "RU2000002|REF|Downloaded (0.01 MB )"}));

    using F = Simulator::Fault;
    sim->options().hugeBytes = 9000;
    write_file(pdf + "RU2000003.pdf", QByteArray(7999, '%'));
    for (auto [n, fault, word] : {std::tuple{"RU2000003", F::None, "Download error (RU2000003)"},
                                  {"RU2258034", F::Huge, "Downloaded (0.01 MB )"}}) {
        closeConnections();
        sim->set_fault("FipsHost", fault);
        QString number = n;
        rupto_download(ctx, number, "");
        sim->set_fault("FipsHost", F::None);
        EXPECT_EQ(logRecords().last(), number + "||" + word);
        EXPECT_EQ(file_exists(pdf + n + ".pdf"), QString(word).startsWith("Downloaded"));
        delete_file(pdf + n + ".pdf");
    }
    EXPECT_EQ(sim->requests("FipsHost").size(), 8u + 1u); // none for the file on the disk
}
