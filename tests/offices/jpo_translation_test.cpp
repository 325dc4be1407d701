// Japanese translation: the number asked, the judgement, the cleaning, MT numbers ordered.
#include "foundation/general.h"
#include "offices/jpo_translation.h"
#include "order_fixture.h"

TEST(JpoTranslationText, JudgementAndCleaning) {
    const QString patent74 = "Patent " + QString(67, 'x');
    EXPECT_FALSE(translation_found(patent74));
    EXPECT_TRUE(translation_found(patent74 + "x"));
    EXPECT_FALSE(translation_found(QString(500, 'x')));
    EXPECT_EQ(translation_number(" mtjp2004mt012345 "), "JP2004012345");
    EXPECT_EQ(clean_translation_html("x<HR>y (19) [Publication country] <A HREF=l>J</A><SCRIPT>s"
                                     " [Translation done.] [Claims]"),
              "<HR>(19) <strong>Publication country</strong> <IA HREF=l>J</IA>");
}

using JpoTranslation = OrderTest;

// Found, too short (74 characters with "Patent "), cached.
TEST_F(JpoTranslation, OrderedNumbersBecomePages) {
    startSimulator();
    write_file(samples + "/translation/JP2005000074.htm", "Patent " + QByteArray(67, 'x'));
    int timeout = 0;
    host.onStatus = [&](const QString& s) {
        if (s.endsWith(" Translating claims and descriptions"))
            timeout = ctx.Inet1.RequestTimeout;
    };
    const QString list = "MTJP2004012345\r\nJP2004012345MT\r\nMTCN1623014\r\nMTJP2005000074";
    order(list);
    order("MTCN1623014");
    EXPECT_EQ(logRecords(), (QStringList{"MTJP2004012345|REF|Translated (JP2004012345 )",
                                         "JP2004012345MT|REF|Translated (JP2004012345 )",
                                         "MTCN1623014|REF|Translated (CN1623014 )",
                                         "MTJP2005000074|REF|JP2005000074 Translation not found",
                                         "MTCN1623014|REF|Translated (CN1623014 cached)"}));
    EXPECT_EQ(sim->requests("CompanyImageHost").size(), 4u);
    EXPECT_EQ(files(pdf + "REF"),
              (QStringList{"JP2004012345MT.htm", "MTCN1623014.htm", "MTJP2004012345.htm"}));
    EXPECT_EQ(read_file(pdf + "REF/MTCN1623014.htm"),
              read_file(samples + "/translation/CN1623014.htm"));
    EXPECT_EQ(timeout, 9999);

    // A huge answer without a translation in it, as any failure, keeps no file.
    sim->options().hugeBytes = 1'000'000;
    sim->set_fault("CompanyImageHost", Simulator::Fault::Huge);
    QString number = "mtjp-2005000075";
    jpo_translation_download(ctx, number, "");
    EXPECT_EQ(logRecords().last(), "MTJP2005000075||JP2005000075 Translation not found");
    EXPECT_EQ(files(pdf), QStringList{"bnslog.csv"});
}
