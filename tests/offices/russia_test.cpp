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

    // A file on the disk is judged the same way, and costs no request.
    write_file(pdf + "RU2000003.pdf", QByteArray(7999, '%'));
    QString number = "RU2000003";
    rupto_download(ctx, number, "");
    EXPECT_EQ(logRecords().last(), "RU2000003||Download error (RU2000003)");
    EXPECT_FALSE(file_exists(pdf + "RU2000003.pdf"));
    EXPECT_EQ(sim->requests("FipsHost").size(), 8u);
}
