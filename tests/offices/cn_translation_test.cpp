// The Chinese translation: number parts, the encoder and decoder, the readers where markers
// are missing, and whole translations against the simulated site and proxy.
#include "foundation/general.h"
#include "office_fixture.h"
#include "offices/cn_translation.h"
#include "retrieval/retrievers.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>

TEST(CnTranslationText, NumbersEncoderDecoderAndReaders) {
    // Number, kind, search number, key; "\u00a3" counts as a digit.
    for (const QString& c :
         QString("MTCN1623014  1623014 PUN,MTCN1318662C C 1318662 PN,MTCN1234567A1 A1 1234567 PUN,"
                 "MTCN12C\u00a3 C\u00a3 12 PN,MTCN123\u00a3  123\u00a3 PUN,MTCN1MT23  123 PUN,"
                 "MTCN1CN2 N2 1C PUN,MTCNC NC C PN,MT   PUN")
             .split(',')) {
        const QStringList f = c.split(' ');
        const CnNumber n = cn_split_number(f[0]);
        EXPECT_EQ(QStringList({n.kind, n.search}), f.mid(1, 2)) << c.toStdString();
        EXPECT_EQ(cn_search_path(n),
                  "ENCommonSearch?wd=" + f[3] + "+%3CSTARTS%3E+" + f[2] + "&jsk=search_en");
    }
    // Text | encoded; beyond the code page a character is "?".
    for (const QString& c : QString("AZaz09|AZaz09,a b|a+b,-_.~|%2D%5F%2E%7E,\n\x01|%0A%01,"
                                    "x/a?b=c&d|x%2Fa%3Fb%3Dc%26d,\u00e9\u5149|%E9%3F,|")
                                .split(','))
        EXPECT_EQ(CN_UrlEncode(c.section('|', 0, 0)), c.section('|', 1)) << c.toStdString();
    // Bytes in hexadecimal | text, "?" for U+FFFD: each byte of a broken sequence stands for
    // itself, a byte-order mark at the start is dropped.
    for (const QString& c : QString("616263|abc,efbbbf61|a,61efbbbf|a\ufeff,e58589|\u5149,61ff62|"
                                    "a?b,61e585|a??,e58561|??a,c0af|??,|")
                                .split(','))
        EXPECT_EQ(CN_ConvertUtf8BytesToString(QByteArray::fromHex(c.section('|', 0, 0).toLatin1())),
                  c.section('|', 1).replace('?', QChar::ReplacementCharacter))
            << c.toStdString();
    // The readers where markers are missing.
    EXPECT_EQ(read_cn_record_link("nothing"), std::nullopt);
    // Only the input lines of the first block count, each value as it stands.
    EXPECT_EQ(read_cn_detail_address("<div name=\"fristdiv\" >\r\n<form action=\"/Search/D\">\r\n"
                                     "<input name=\"k\" value=\"a b\">\r\n<p name=\"n\">\r\n"
                                     "<input value=\"v\"></div><input name=\"x\" value=\"1\">"),
              "D?k=a b&=v&");
    EXPECT_EQ(read_cn_detail_address("<form action=\"/Search/D\">"), "?");
    // The first quoted value of the tag, whatever attribute it is; none behind the caption.
    const CnTextLinks links =
        read_cn_text_links("Publication Text <a href=\"p\"> <a x=\"yz\" href=\"gX\">Granted Text");
    EXPECT_EQ(QStringList({links.publication, links.granted}), QStringList({"", "y"}));
    const CnTranslationPage bare = read_cn_translation_page("__VIEWSTATE <iframe src=\"x");
    EXPECT_TRUE(bare.arrived && !bare.viewState && !bare.eventValidation && !bare.frameSource);
}

// The simulated search site and proxy: the proxy's translation server decodes what is posted
// and turns pages only for a view state that came back intact. The translations are read
// back from their files.
class CnTranslation : public OfficeTest {
protected:
    void SetUp() override {
        OfficeTest::SetUp();
        startSimulator();
    }
    QString translate(QString number) {
        call_retriever(ctx, "cn_translation_download", number, "REF");
        return number;
    }
    QByteArray bytes(const QString& number) { return read_file(pdf + "REF/" + number + ".htm"); }
    // The pieces of text in a file, in order: "C P 1" for claims page 1 of the publication.
    QString pieces(const QString& number) {
        static const QRegularExpression re("(C)laim of CN\\d+ (P|G) page (\\d)|(D)escription of "
                                           "CN\\d+ (P|G) page (\\d)");
        QStringList found;
        for (auto it = re.globalMatch(QString::fromUtf8(bytes(number))); it.hasNext();) {
            const QStringList m = it.next().capturedTexts().mid(1);
            found << m.filter(QRegularExpression(".")).join(' ');
        }
        return found.join(',');
    }
};

TEST_F(CnTranslation, ClaimsAndDescriptionPageByPage) {
    EXPECT_EQ(translate("mtcn-1623014"), "MTCN1623014");
    translate("MTCN1318662C"); // kind C: the granted text
    EXPECT_EQ(logRecords(), QStringList({"MTCN1623014|REF|Translated (CN1623014 )",
                                         "MTCN1318662C|REF|Translated (CN1318662C )"}));
    EXPECT_EQ(pieces("MTCN1623014"), "C P 1,C P 2,D P 1,D P 2,D P 3");
    EXPECT_EQ(pieces("MTCN1318662C"), "C G 1,C G 2,C G 3,D G 1,D G 2");
    const QString page = QString::fromUtf8(bytes("MTCN1623014"));
    EXPECT_TRUE(page.startsWith("\ufeff<html><head><title>CN1623014</title>"));
    EXPECT_TRUE(page.contains("<p>Claim of CN1623014 P page 1 at 20\u00b0C.</p>"));
    EXPECT_TRUE(page.contains("Claim(s):</td>\r\n</tr><tr><td height=\"20\""));
    EXPECT_TRUE(page.endsWith("3 \u2013 \u5149.</p></td></tr></table></body></html>"));
}

// Each page's form fails to arrive a number of times: four are survived, the fifth ends the
// text. What arrived is written all the same, and the description's word wins.
TEST_F(CnTranslation, PagesThatFailToArrive) {
    const struct {
        int failures;
        bool claimsOnly; // the failures end where the description begins
        const char* result;
        const char* pieces;
    } cases[] = {{4, false, "Translated (CN1623014 )", "C P 1,C P 2,D P 1,D P 2,D P 3"},
                 {5, false, "Translation failed.", ""},
                 {5, true, "Translation failed", "D P 1,D P 2,D P 3"}};
    for (const auto& c : cases) {
        SCOPED_TRACE(std::to_string(c.failures) + (c.claimsOnly ? " in the claims" : ""));
        QDir(pdf).removeRecursively();
        closeConnections();
        Simulator::Options options;
        options.pageFailures = c.failures;
        startSimulator(options);
        host.onStatus = [&](const QString& text) {
            if (c.claimsOnly && text.endsWith(" Getting description..."))
                sim->options().pageFailures = 0;
        };
        translate("MTCN1623014");
        EXPECT_EQ(logRecords(), QStringList{QString("MTCN1623014|REF|") + c.result});
        EXPECT_EQ(pieces("MTCN1623014"), c.pieces);
    }
    EXPECT_TRUE(host.statusHistory.contains("CN1623014 Translation retry: 5"));
}

TEST_F(CnTranslation, OutcomesWithoutATranslation) {
    translate("MTCN9999999");
    QDir().mkpath(pdf + "REF/MTCN1318662.htm"); // a folder where the file should go
    translate("MTCN1318662");
    EXPECT_EQ(logRecords(), QStringList({"MTCN9999999|REF|Patent Not Found",
                                         "MTCN1318662|REF|Error saving file"}));
    EXPECT_EQ(files(pdf + "REF"), QStringList());
    // A cancel does not stop a translation; it keeps it out of the log.
    ctx.state.order_cancelled = true;
    translate("MTCN1623014");
    EXPECT_EQ(pieces("MTCN1623014"), "C P 1,C P 2,D P 1,D P 2,D P 3");
    EXPECT_EQ(logRecords().size(), 2);
    EXPECT_EQ(host.status(), "Job cancelled");
}
