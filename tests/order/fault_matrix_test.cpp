// Every route of the program through every fault of the simulator, as whole orders: a good
// number first, then the number of the route while its server misbehaves. Each cell must end
// in the route's own log word, leave under the document's name only what the route keeps,
// leave no job file, keep every earlier log line and PDF as they were, and end in time.
#include "foundation/general.h"
#include "foundation/web_control.h"
#include "order_fixture.h"

#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>

namespace {

using Fault = Simulator::Fault;

constexpr int kTimeoutCap = 2; // seconds: every request's time-out in these orders
constexpr qint64 kAnswerCap = 4 << 20;

// The faults by what reaches the retriever: no answer (refused, cut, stalled past the
// time-out, redirected for ever, or past the answer cap), an error page, half the answer
// announced as all of it, or the whole answer late.
enum Kind { NoAnswer, ErrorPage, Half, Late };
constexpr std::pair<Fault, Kind> kFaults[] = {
    {Fault::Refused, NoAnswer}, {Fault::Reset, NoAnswer},        {Fault::WrongLength, NoAnswer},
    {Fault::Stall, NoAnswer},   {Fault::RedirectLoop, NoAnswer}, {Fault::Huge, NoAnswer},
    {Fault::Html, ErrorPage},   {Fault::Status500, ErrorPage},   {Fault::ShortBody, Half},
    {Fault::Slow, Late}};

// What a cell leaves, as one text: first what stands under the document's name ('-'
// nothing, '0' an empty file, '+' a file with bytes in it), then its log word ("%1": the
// number as logged; none: no log line, only a status line that says so).
struct Route {
    const char* name;
    const char* number;      // as ordered
    const char* logged;      // as logged and stored
    const char* roles;       // the faulted roles, blank-separated
    const char* stem;        // only paths below this misbehave ("": all)
    const char* outcomes[4]; // by Kind
};

constexpr const char* kNotFound = "-Not found (Patent not found)";
// The offices that keep whatever came, unchecked: an empty file when nothing did.
constexpr const char* kKeptEmpty = "0Downloaded (0.00 MB )";
constexpr const char* kKeptPage = "+Downloaded (0.00 MB )";

// clang-format off
const Route kRoutes[] = {
    {"Cache", "JP2001123456", "JP2001123456", "CompanyWebHost", "/cache/", {kNotFound, kNotFound,
     "+Retrieved from cache (2 Pages )", "+Retrieved from cache (3 Pages )"}},
    {"Lookup", "EP1000001", "EP1000001", "CompanyLookupHost", "/bnsinfo.asp",
     {kNotFound, kNotFound, kNotFound, "+Downloaded (6 Pages )"}},
    {"Pages", "EP1000001", "EP1000001", "CompanyLookupHost", "/bns.asp",
     {kNotFound, kNotFound, kNotFound, "+Downloaded (6 Pages )"}},
    {"Wipo", "WO2004012345", "WO04012345", "CompanyServicesHost", "",
     {kNotFound, kNotFound, kNotFound, "+Downloaded (4 Pages )"}},
    {"EspacenetPieces", "FR2812345B1", "FR2812345B1", "CompanyMirrorHost", "",
     {kNotFound, kNotFound, kNotFound, "+Downloaded (3 Pages )"}},
    {"ChainToDepatis", "EP1777777B1", "EP1777777B1", "CompanyImageHost", "", {kNotFound,
     kNotFound, "+Downloaded (Depatisnet) (2 Pages )", "+Downloaded (Depatisnet) (2 Pages )"}},
    {"Depatis", "#DE4446098C2", "DE4446098C2", "CompanyImageHost", "",
     {"-", "-", "+Downloaded (Depatisnet) (2 Pages )", "+Downloaded (Depatisnet) (3 Pages )"}},
    {"Uspto", "4500000", "US4500000", "UsptoPdfPatentHost", "",
     {kKeptEmpty, "-%1 Error in download", "-%1 Error in download", "+Downloaded (2 Pages )"}},
    // The document comes from the lookup server, its certificate pages from the viewer.
    {"Certificate", "US5123456", "US5123456",
     "UsptoPatentViewerHost1 UsptoPatentViewerHost2 UsptoPatentViewerHost3", "",
     {"+Downloaded (3 Pages )", "+Downloaded (3 Pages )", "+Downloaded (3 Pages )",
      "+Downloaded (5 Pages )"}},
    {"Converter", "CN1145230B", "CN1145230B", "CompanyWebHost CompanyMirrorHost", "/cnpto.lib",
     {kNotFound, kNotFound, kNotFound, "+Downloaded (5 Pages )"}},
    {"China", "CN1145230B", "CN1145230B", "SipoPatentHost", "",
     {kNotFound, kNotFound, kNotFound, "+Downloaded (5 Pages )"}},
    {"Epoline", "FWEP19990402065", "FWEP19990402065", "EpolineHost", "", {"-%1 Not found",
     "-%1 Not found", "+ Downloaded (File Wrapper)", "+ Downloaded (File Wrapper)"}},
    {"Inpi", "FR2900001", "FR2900001", "InpiHost", "",
     {kNotFound, kNotFound, kNotFound, "+Downloaded (INPI)"}},
    {"Japan", "JP2003123456B2", "JP2003123456B2", "JpoDocumentHost", "",
     {kKeptEmpty, kKeptPage, "+Downloaded (3 Pages )", "+Downloaded (4 Pages )"}},
    {"JapanTranslation", "MTJP2004012345", "MTJP2004012345", "CompanyImageHost", "",
     {"-JP2004012345 Translation not found", "-JP2004012345 Translation not found",
      "+Translated (JP2004012345 )", "+Translated (JP2004012345 )"}},
    {"Russia", "RU2258034", "RU2258034", "FipsHost", "", {"-Download error (%1)",
     "-Download error (%1)", "+Downloaded (2 Pages )", "+Downloaded (3 Pages )"}},
    {"Korea", "KR100703201B1", "KR100703201", "KiprisHost", "",
     {kKeptEmpty, kKeptEmpty, kKeptEmpty, "+Downloaded (3 Pages )"}},
    {"Spain", "ES2123456T3", "ES2123456T3", "OepmHost", "",
     {kKeptEmpty, kKeptPage, "+Downloaded (2 Pages )", "+Downloaded (2 Pages )"}},
    {"Canada", "CA2172863", "CA2172863", "CipoHost", "",
     {"-Timeout @ the CIPO server (Patent not found)", "- (Patent not found)",
      "-Download error (%1)", "+Downloaded (9 Pages )"}},
    {"Australia", "AUA199662135", "AUA199662135", "IpAustraliaHost", "",
     {"-%1 Timeout @ the Australian server", "-%1 (Patent not found) ",
      "-%1 (Patent not found) ", "+Downloaded (3 Pages )"}},
};
// clang-format on

void PrintTo(const Route& r, std::ostream* os) {
    *os << r.name;
}

class FaultMatrix : public OrderTest, public ::testing::WithParamInterface<Route> {
protected:
    void SetUp() override {
        OrderTest::SetUp();
        web_test_limits(kAnswerCap, kTimeoutCap);
    }
    void TearDown() override {
        web_test_limits(0, 0);
        OrderTest::TearDown();
    }
    void fault(const Route& r, Fault f) {
        for (const QString& role : QString(r.roles).split(' '))
            sim->set_fault(role, f, r.stem);
        closeConnections();
    }
};

TEST_P(FaultMatrix, EveryFaultEndsInTheRoutesOwnOutcome) {
    const Route& r = GetParam();
    Simulator::Options options;
    options.stallMs = (kTimeoutCap + 1) * 1000;
    startSimulator(options);
    const QString good = QString(r.logged) == "EP1000001" ? "JP2001123456" : "EP1000001";
    order(good);
    const QByteArray goodPdf = read_file(file(good));
    ASSERT_EQ(logRecords().size(), 1);
    ASSERT_FALSE(goodPdf.isEmpty());
    for (const auto& [f, kind] : kFaults) {
        SCOPED_TRACE(testing::Message() << "fault " << int(f));
        const char left = r.outcomes[kind][0];
        const QStringList before = logRecords();
        fault(r, f);
        QElapsedTimer clock;
        clock.start();
        order(r.number);
        // The page loop tries each page ten times; nothing else waits longer.
        EXPECT_LT(clock.elapsed(), 15 * kTimeoutCap * 1000);
        fault(r, Fault::None);

        const QStringList after = logRecords();
        const QString word = QString(r.outcomes[kind] + 1).replace("%1", r.logged);
        ASSERT_EQ(after.size(), before.size() + (word.isEmpty() ? 0 : 1));
        EXPECT_EQ(after.mid(0, before.size()), before);
        if (word.isEmpty())
            EXPECT_EQ(host.status(), QString(r.logged) + " not found");
        else
            EXPECT_EQ(after.last(), QString(r.logged) + "|REF|" + word);
        EXPECT_EQ(read_file(file(good)), goodPdf);
        EXPECT_EQ(files(), QStringList()); // no job file stays behind
        QStringList mine = files(pdf + "REF");
        mine.removeAll(good + ".pdf");
        EXPECT_EQ(mine.size(), left == '-' ? 0 : 1) << mine.join(',').toStdString();
        if (left != '-' && mine.size() == 1) { // a PDF, or a translation's page
            EXPECT_EQ(QFileInfo(mine[0]).completeBaseName(), QString(r.logged));
            EXPECT_EQ(file_length(pdf + "REF/" + mine[0]) == 0, left == '0');
        }
        // The next cell starts with nothing on the disk for the number, nor a converter.
        for (const QString& name : mine)
            QFile::remove(pdf + "REF/" + name);
        QFile::remove(converter("uspto.lib"));
        QFile::remove(converter("cnpto.lib"));
    }
}

INSTANTIATE_TEST_SUITE_P(Routes, FaultMatrix, ::testing::ValuesIn(kRoutes),
                         [](const auto& info) { return std::string(info.param.name); });

} // namespace
