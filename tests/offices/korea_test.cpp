// Korea: the record read and put into KIPRIS's form, KR numbers ordered and fetched.
#include "foundation/general.h"
#include "offices/korea.h"
#include "order_fixture.h"

TEST(KoreaRecords, ApplicationNumberInKiprisForm) {
    EXPECT_EQ(kipris_lookup_number(" kr 100,703-201b1 "), "KR100703-201B");
    const std::pair<const char*, const char*> rows[] = {
        {"<B211EP TYPE=\"original\">1020070057977</B211EP>", "1020070057977"},
        {"<B211EP TYPE=\"original\">20070057977</B211EP>", "1020070057977"},
        {"<B211EP TYPE=\"original\">10202005799</B211EP>", "1010202005799"},
        {"<B131EP>Y</B131EP><B211EP TYPE=\"original\">\r\n 2020060001234 \r\n</B211EP>",
         "2020060001234"},
        {"<B211EP TYPE=\"original\">2006 0001234</B211EP><B131EP>U</B131EP>", "2020060001234"},
        {"<B211EP TYPE=\"original\">1020070057977", "10"}, // never closed
        {"<B211EP TYPE=\"docdb\">KR1</B211EP><B211EP>", "-"},
    };
    for (const auto& [record, application] : rows) {
        const KiprisRecord r = read_kipris_record(record);
        EXPECT_EQ(r.found ? kipris_application(r) : "-", application) << record;
    }
}

using Korea = OrderTest;

// Only a missing record is "Not found"; the quiet failures (no full text, too small an answer)
// log an empty download and leave an empty file. Called directly, the number stays as it came.
TEST_F(Korea, OrderedAndFetched) {
    startSimulator();
    order("KR100703201B1\r\nKR100812345\r\nKR200412345Y1\r\nKR100555555\r\nKR100666666\r\n"
          "KR100999999");
    EXPECT_EQ(logRecords(),
              (QStringList{"KR100703201|REF|Downloaded (3 Pages )",
                           "KR100812345|REF|Downloaded (2 Pages )",
                           "KR200412345Y1|REF|Downloaded (2 Pages )",
                           "KR100555555|REF|Downloaded (0.00 MB )",
                           "KR100666666|REF|Downloaded (0.00 MB )", "KR100999999|REF|Not found"}));
    EXPECT_EQ(file_length(file("KR100555555")) + file_length(file("KR100666666")), 0);
    EXPECT_TRUE(sim->requests("KiprisOldHost").empty());

    // Number, bytes on the disk before and of the PDF answer (-1: as they are), the log word,
    // and bytes on the disk after (-1: none).
    const qint64 office = file_length(samples + "/kr/KR100703201B1.pdf");
    const std::tuple<const char*, qint64, qint64, const char*, qint64> rows[] = {
        {"kr-100703201b1", -1, -1, "Downloaded (3 Pages )", office},
        {"kr-100703201b1", 800, -1, "Downloaded (0.00 MB )", 800},
        {"kr-100703201b1", 799, -1, "Download error (kr-100703201b1)", -1},
        {"KR100812345", -1, 8001, "Downloaded (0.00 MB )", 0},
        {"KR100812345", -1, 8002, "Downloaded (0.01 MB )", 8002},
    };
    for (const auto& [n, onDisk, answer, word, after] : rows) {
        const QString doc = pdf + n + ".pdf";
        delete_file(doc);
        if (onDisk >= 0)
            write_file(doc, QByteArray(onDisk, '%'));
        if (answer >= 0)
            write_file(samples + "/kr/KR100812345B1.pdf", QByteArray(answer, '%'));
        QString number = n;
        kipris_download(ctx, number, "");
        EXPECT_EQ(logRecords().last(), QString(n) + "||" + word);
        EXPECT_EQ(file_exists(doc) ? file_length(doc) : -1, after);
    }
    // The biblio page after every record found, the PDF only when it isn't on the disk.
    EXPECT_EQ(sim->requests("KiprisHost").size(), (5u + 4u) + (2u + 1u + 1u + 2u + 2u));
}
