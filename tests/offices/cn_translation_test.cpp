// The Chinese translation: number parts, the encoder and decoder, the readers of the site's
// pages, and whole translations against the simulated site and proxy.
#include "foundation/general.h"
#include "office_fixture.h"
#include "offices/cn_translation.h"
#include "retrieval/retrievers.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>

TEST(CnTranslationNumbers, PartsAndSearch) {
    const struct {
        const char* number;
        const char* plain;
        const char* kind;
        const char* search;
        const char* key;
    } cases[] = {
        {"MTCN1623014", "CN1623014", "", "1623014", "PUN"},
        {"MTCN1318662C", "CN1318662C", "C", "1318662", "PN"},
        {"MTCN1234567A1", "CN1234567A1", "A1", "1234567", "PUN"},
        {"CN1234567B", "CN1234567B", "B", "1234567", "PUN"},
        {"MTCN12C\u00a3", "CN12C\u00a3", "C\u00a3", "12", "PN"}, // the pound sign is a digit
        {"MTCN123\u00a3", "CN123\u00a3", "", "123\u00a3", "PUN"},
        {"MTCN1MT23", "CN123", "", "123", "PUN"},
        {"MTCN1CN2", "CN1CN2", "N2", "1C", "PUN"},
        {"MTCNC", "CNC", "NC", "C", "PN"},
        {"MTC", "C", "C", "", "PN"},
        {"MT", "", "", "", "PUN"},
    };
    for (const auto& c : cases) {
        const CnNumber n = cn_split_number(QString::fromUtf8(c.number));
        EXPECT_EQ(QStringList({n.plain, n.kind, n.search}),
                  QStringList({QString::fromUtf8(c.plain), QString::fromUtf8(c.kind),
                               QString::fromUtf8(c.search)}))
            << c.number;
        EXPECT_EQ(cn_search_path(n), QString("ENCommonSearch?wd=%1+%3CSTARTS%3E+%2&jsk=search_en")
                                         .arg(c.key, QString::fromUtf8(c.search)))
            << c.number;
    }
}

TEST(CnTranslationText, EncoderAndDecoder) {
    const std::pair<const char*, const char*> encoded[] = {
        {"AZaz09", "AZaz09"},
        {"a b", "a+b"},
        {"-_.~", "%2D%5F%2E%7E"},
        {"\n\x01", "%0A%01"},
        {"http://x/a?b=c&d", "http%3A%2F%2Fx%2Fa%3Fb%3Dc%26d"},
        {"\u00e9\u5149", "%E9%3F"}, // beyond the code page: "?"
        {"", ""},
    };
    for (const auto& [text, out] : encoded)
        EXPECT_EQ(CN_UrlEncode(QString::fromUtf8(text)), out) << text;

    const QString bad(QChar::ReplacementCharacter);
    // Bytes in hexadecimal. Each byte of a broken sequence stands for itself.
    const std::pair<const char*, QString> decoded[] = {
        {"616263", "abc"},
        {"efbbbf616263", "abc"},
        {"61efbbbf", "a\uFEFF"},
        {"e58589", "\u5149"},
        {"61ff62", "a" + bad + "b"},
        {"61e585", "a" + bad + bad},
        {"e58561", bad + bad + "a"},
        {"c0af", bad + bad},
        {"610062", QString("a") + QChar(0) + "b"},
        {"", ""},
    };
    for (const auto& [hex, text] : decoded)
        EXPECT_EQ(CN_ConvertUtf8BytesToString(QByteArray::fromHex(hex)), text) << hex;
}

TEST(CnTranslationPages, Readers) {
    EXPECT_EQ(read_cn_record_link("<a href=\"EnViewVOL.aspx?id=1&db=EN\">"),
              "EnViewVOL.aspx?id=1&db=EN");
    EXPECT_EQ(read_cn_record_link("nothing"), std::nullopt);
    EXPECT_EQ(read_cn_record_link("EnViewVOL.aspx?id=1"), "");

    const QString record =
        "<div>x</div><div name=\"fristdiv\" >\r\n<form action=\"/Search/Detail.aspx\">"
        "\r\n<input name=\"id\" value=\"CN1\">\r\n<input type=\"hidden\" "
        "name=\"k\" value=\"a b\">\r\n<p name=\"no\" value=\"input\">\r\n</div>"
        "<input name=\"after\" value=\"1\">";
    EXPECT_EQ(read_cn_detail_address(record), "Detail.aspx?id=CN1&k=a b&");
    EXPECT_EQ(read_cn_detail_address("<form action=\"/Search/D\">"), "?");

    const QString head =
        "<td width=\"176\" height=\"20\" bgcolor=\"#C8D6EE\">Application Number:</td>";
    const QString claims = "<td height=\"20\" colspan=\"4\" bgcolor=\"#C8D6EE\">Claim(s):</td>";
    EXPECT_EQ(read_cn_biblio("x" + claims + head + "<td>1</td>" + claims + "\r\nrest"),
              head + "<td>1</td>" + claims + "\r\n");
    EXPECT_EQ(read_cn_biblio(head + "<td>no claims</td>"), "");

    const QString detail = "<a href=\"p1X\">Publication Text</a> <a x=\"yz\" href=\"g1X\">"
                           "Granted Text</a>";
    const CnTextLinks links = read_cn_text_links(detail);
    EXPECT_EQ(links.publication, "p1");
    EXPECT_EQ(links.granted, "y"); // the first quoted value of the tag, whatever it is
    EXPECT_EQ(cn_text_link(links, "C"), "y");
    EXPECT_EQ(cn_text_link(links, "A1"), "p1");
    EXPECT_EQ(cn_text_link(read_cn_text_links("<a href=\"p2X\">Publication Text</a>"), "C"), "p2");
    EXPECT_EQ(read_cn_text_links("Publication Text <a href=\"late\">").publication, "");

    const CnTranslationPage page = read_cn_translation_page(
        "<input name=\"__VIEWSTATE\" id=\"__VIEWSTATE\" value=\"v+/=\" /><input "
        "name=\"__EVENTVALIDATION\" value=\"e1\" /><iframe id=\"f\" src=\"../../T.aspx?p=1\">");
    EXPECT_TRUE(page.arrived);
    EXPECT_EQ(page.viewState, "v+/=");
    EXPECT_EQ(page.eventValidation, "e1");
    EXPECT_EQ(page.frameSource, "T.aspx?p=1");
    const CnTranslationPage bare = read_cn_translation_page("__VIEWSTATE <iframe src=\"x");
    EXPECT_TRUE(bare.arrived);
    EXPECT_FALSE(bare.viewState || bare.eventValidation || bare.frameSource);
    EXPECT_EQ(cn_next_page_args("v+/=", "e 1"),
              "&__EVENTTARGET=lnkNextPage&__EVENTARGUMENT=&__VIEWSTATE=v%2B%2F%3D&"
              "__EVENTVALIDATION=e+1");
}

// The simulated search site and the proxy; the translations are read back from the file.
class CnTranslation : public OfficeTest {
protected:
    void SetUp() override {
        OfficeTest::SetUp();
        startSimulator();
    }
    QString translate(const QString& typed, const QString& reference = "REF") {
        QString number = typed;
        call_retriever(ctx, "cn_translation_download", number, reference);
        return number;
    }
    // The file as text, and whether it starts with a byte-order mark.
    QString page(const QString& number, bool* bom = nullptr) {
        const QByteArray bytes = read_file(pdf + "REF/" + number + ".htm");
        if (bom)
            *bom = bytes.startsWith("\xEF\xBB\xBF");
        return QString::fromUtf8(bytes);
    }
    // The pieces of text in the page, in order: "C P 1" for claims page 1 of the publication.
    static QStringList pieces(const QString& page) {
        static const QRegularExpression re("(Claim|Description) of CN\\d+ (P|G) page (\\d+)");
        QStringList found;
        for (auto it = re.globalMatch(page); it.hasNext();) {
            const auto m = it.next();
            found << m.captured(1).left(1) + " " + m.captured(2) + " " + m.captured(3);
        }
        return found;
    }
};

TEST_F(CnTranslation, ClaimsAndDescriptionPageByPage) {
    EXPECT_EQ(translate("mtcn-1623014"), "MTCN1623014");
    translate("MTCN1318662C");
    EXPECT_EQ(logRecords(), QStringList({"MTCN1623014|REF|Translated (CN1623014 )",
                                         "MTCN1318662C|REF|Translated (CN1318662C )"}));
    bool bom = false;
    const QString first = page("MTCN1623014", &bom);
    EXPECT_TRUE(bom);
    EXPECT_EQ(pieces(first), QString("C P 1,C P 2,D P 1,D P 2,D P 3").split(','));
    // The granted text, for a number with kind C.
    EXPECT_EQ(pieces(page("MTCN1318662C")), QString("C G 1,C G 2,C G 3,D G 1,D G 2").split(','));
    EXPECT_TRUE(first.startsWith("\uFEFF<html><head><title>CN1623014</title>"));
    EXPECT_TRUE(first.contains("<p>Claim of CN1623014 P page 1 at 20\u00b0C.</p>"));
    EXPECT_TRUE(first.contains("Description of CN1623014 P page 3 \u2013 \u5149."));
    EXPECT_TRUE(first.contains("<td>\u5317\u4eac\u5149\u534e\u79d1\u6280 (Beijing"));
    EXPECT_TRUE(first.contains("Claim(s):</td>\r\n</tr><tr><td height=\"20\""));
    EXPECT_TRUE(first.endsWith("\u5149.</p></td></tr></table></body></html>"));
    EXPECT_EQ(host.title(), "Bright Quill - Desktop edition");

    // A second order finds the file.
    const QByteArray before = read_file(pdf + "REF/MTCN1623014.htm");
    QFile::remove(pdf + "bnslog.csv");
    translate("MTCN1623014");
    EXPECT_EQ(logRecords(), QStringList{"MTCN1623014|REF|Translated (CN1623014 cached)"});
    EXPECT_EQ(read_file(pdf + "REF/MTCN1623014.htm"), before);
}

// Each page's form fails to arrive a number of times: four are survived, the fifth ends the
// text. What arrived is still written, and the description's word wins.
TEST_F(CnTranslation, PagesThatFailToArrive) {
    const struct {
        int failures;
        bool claimsOnly; // the failures end when the description begins
        const char* result;
        const char* pieces;
    } cases[] = {
        {4, false, "Translated (CN1623014 )", "C P 1,C P 2,D P 1,D P 2,D P 3"},
        {5, false, "Translation failed.", ""},
        {5, true, "Translation failed", "D P 1,D P 2,D P 3"},
    };
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
        host.statusHistory.clear();
        translate("MTCN1623014");
        EXPECT_EQ(logRecords(), QStringList{QString("MTCN1623014|REF|") + c.result});
        EXPECT_EQ(pieces(page("MTCN1623014")), QString(c.pieces).split(',', Qt::SkipEmptyParts));
        EXPECT_EQ(host.statusHistory.filter("Translation retry: 5").size(),
                  c.failures == 5 && !c.claimsOnly ? 1 : 0);
    }
}

TEST_F(CnTranslation, OutcomesWithoutATranslation) {
    // Not found: no file.
    translate("MTCN9999999");
    EXPECT_TRUE(host.statusHistory.contains("CN9999999 Patent Not Found."));
    // The file can't be written where a folder has its name.
    QDir().mkpath(pdf + "REF/MTCN1318662.htm");
    translate("MTCN1318662");
    EXPECT_TRUE(host.statusHistory.contains("CN1318662 Error saving file, check ADODB Stream."));
    EXPECT_EQ(logRecords(), QStringList({"MTCN9999999|REF|Patent Not Found",
                                         "MTCN1318662|REF|Error saving file"}));
    EXPECT_EQ(files(pdf + "REF"), QStringList());
    // A cancel does not stop the translation; it keeps it out of the log.
    ctx.state.order_cancelled = true;
    translate("MTCN1623014");
    EXPECT_EQ(pieces(page("MTCN1623014")).size(), 5);
    EXPECT_EQ(logRecords().size(), 2);
    EXPECT_EQ(host.status(), "Job cancelled");
}
